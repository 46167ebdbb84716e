#pragma once
// Owning arrays: TpArrayStatic holds exactly as many elements as its last Resize asked
// for; TpArrayDynamic grows by a step fixed at compile time. Class elements are made with
// an array new (constructed on Resize, destroyed on Clear); plain ones are raw memory.
// Every failed allocation throws ClExBadAlloc, "Memory allocation failed", -102.
#include "base/Exceptions.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

template <class T>
class TpArrayStatic
{
public:
  TpArrayStatic() = default;
  TpArrayStatic(const TpArrayStatic& other) { CopyFrom(other, other.m_nSize); }
  TpArrayStatic(TpArrayStatic&& other) noexcept { SwapWith(other); }
  TpArrayStatic& operator=(const TpArrayStatic& other)
  {
    if (this != &other) {
      TpArrayStatic copy(other);
      SwapWith(copy);
    }
    return *this;
  }
  TpArrayStatic& operator=(TpArrayStatic&& other) noexcept
  {
    if (this != &other) {
      TpArrayStatic::Clear();
      SwapWith(other);
    }
    return *this;
  }
  virtual ~TpArrayStatic() { Release(); }

  // Number of usable elements (the low 32 bits of the capacity here).
  virtual uint32_t Size() const { return static_cast<uint32_t>(m_nSize); }
  // Drops the present elements and allocates exactly nNewSize new ones. After a failed
  // allocation m_pData is null and m_nSize is unchanged until the next good Resize.
  virtual void Resize(uint64_t nNewSize)
  {
    Release();
    if (nNewSize == 0) {
      m_nSize = 0;
      return;
    }
    m_pData = Allocate(nNewSize);
    m_nSize = nNewSize;
  }
  virtual void Clear()
  {
    Release();
    m_nSize = 0;
  }

  // No bounds check.
  T& operator[](size_t i) { return m_pData[i]; }
  const T& operator[](size_t i) const { return m_pData[i]; }
  T* Data() { return m_pData; }
  const T* Data() const { return m_pData; }
  uint64_t Capacity() const { return m_nSize; }

protected:
  static constexpr bool s_bClassType = std::is_class<T>::value || std::is_union<T>::value;

  static T* Allocate(uint64_t nCount)
  {
    // An overflowing byte count asks for the impossible, which fails like any other.
    if (nCount > SIZE_MAX / sizeof(T))
      throw ClExBadAlloc();
    T* p = nullptr;
    if constexpr (s_bClassType) {
      try {
        p = new T[static_cast<size_t>(nCount)];
      } catch (const std::bad_alloc&) {
        p = nullptr;
      }
    } else {
      p = static_cast<T*>(std::malloc(static_cast<size_t>(nCount) * sizeof(T)));
    }
    if (!p)
      throw ClExBadAlloc();
    return p;
  }

  static void Free(T* p)
  {
    if constexpr (s_bClassType)
      delete[] p;
    else
      std::free(p);
  }

  // Copies nCount elements into the front of pTo.
  static void CopyElements(T* pTo, const T* pFrom, uint64_t nCount)
  {
    if (nCount == 0)
      return;
    if constexpr (s_bClassType) {
      for (uint64_t i = 0; i < nCount; ++i)
        pTo[i] = pFrom[i];
    } else {
      std::memcpy(pTo, pFrom, static_cast<size_t>(nCount) * sizeof(T));
    }
  }

  void Release()
  {
    Free(m_pData);
    m_pData = nullptr;
  }

  // Same capacity as other, the first nCount elements copied.
  void CopyFrom(const TpArrayStatic& other, uint64_t nCount)
  {
    if (other.m_nSize == 0 || !other.m_pData)
      return;
    T* p = Allocate(other.m_nSize);
    try {
      CopyElements(p, other.m_pData, nCount);
    } catch (...) {
      Free(p);
      throw;
    }
    m_pData = p;
    m_nSize = other.m_nSize;
  }

  void SwapWith(TpArrayStatic& other) noexcept
  {
    std::swap(m_nSize, other.m_nSize);
    std::swap(m_pData, other.m_pData);
  }

  // Capacity in elements.
  uint64_t m_nSize = 0;
  T* m_pData = nullptr;
};

template <class T, uint64_t nGrowStep = 10>
class TpArrayDynamic : public TpArrayStatic<T>
{
  using Base = TpArrayStatic<T>;

public:
  TpArrayDynamic() = default;
  TpArrayDynamic(const TpArrayDynamic& other) : Base()
  {
    Base::CopyFrom(other, other.m_nUsed);
    m_nUsed = other.m_nUsed;
  }
  TpArrayDynamic(TpArrayDynamic&& other) noexcept : Base() { SwapWith(other); }
  TpArrayDynamic& operator=(const TpArrayDynamic& other)
  {
    if (this != &other) {
      TpArrayDynamic copy(other);
      SwapWith(copy);
    }
    return *this;
  }
  TpArrayDynamic& operator=(TpArrayDynamic&& other) noexcept
  {
    if (this != &other) {
      Base::Release();
      this->m_nSize = 0;
      m_nUsed = 0;
      SwapWith(other);
    }
    return *this;
  }
  // The memory goes with the base.
  ~TpArrayDynamic() override = default;

  uint32_t Size() const override { return static_cast<uint32_t>(m_nUsed); }
  void Resize(uint64_t nNewSize) override
  {
    Base::Resize(nNewSize);
    m_nUsed = nNewSize;
  }
  // Keeps the capacity, so refilling does not allocate.
  void Clear() override { m_nUsed = 0; }

  void Add(const T& element)
  {
    if (m_nUsed == this->m_nSize) {
      // The element may live in this very array; keep it across the move.
      T keep(element);
      Grow(nGrowStep);
      this->m_pData[m_nUsed] = keep;
    } else {
      this->m_pData[m_nUsed] = element;
    }
    ++m_nUsed;
  }

  // Raises the capacity by nMore; on failure capacity and elements stay as they were.
  void Grow(uint64_t nMore)
  {
    uint64_t nOld = this->m_nSize;
    this->m_nSize = nOld + nMore;
    T* p = nullptr;
    try {
      if (this->m_nSize < nOld)
        throw ClExBadAlloc();
      p = Base::Allocate(this->m_nSize);
      Base::CopyElements(p, this->m_pData, m_nUsed);
    } catch (...) {
      if (p)
        Base::Free(p);
      this->m_nSize = nOld;
      throw;
    }
    Base::Free(this->m_pData);
    this->m_pData = p;
  }

  uint64_t Used() const { return m_nUsed; }

private:
  void SwapWith(TpArrayDynamic& other) noexcept
  {
    Base::SwapWith(other);
    std::swap(m_nUsed, other.m_nUsed);
  }

  uint64_t m_nUsed = 0;
};
