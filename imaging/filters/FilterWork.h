#pragma once
// Work memory of the template filters: grows to the largest size asked for and is kept
// between runs, so that frames of one size allocate nothing.
#include "base/Exceptions.h"

#include <cstddef>
#include <new>
#include <vector>

class ClFilterWork
{
public:
  template <class T>
  T* Get(size_t nCount)
  {
    const size_t nWords = (nCount * sizeof(T) + sizeof(double) - 1) / sizeof(double) + 1;
    if (m_aWords.size() < nWords) {
      try {
        m_aWords.resize(nWords);
      } catch (const std::bad_alloc&) {
        throw ClExBadAlloc();
      }
    }
    return reinterpret_cast<T*>(m_aWords.data());
  }

private:
  std::vector<double> m_aWords;
};
