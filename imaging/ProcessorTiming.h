#pragma once
#include "model/TpArray.h"

#include <cstdint>
#include <typeinfo>

// Total seconds and number of runs per processor class; idle unless installed.
class ClProcessorTiming
{
public:
  struct ClRecord
  {
    const std::type_info* pClass = nullptr;
    double dSeconds = 0;
    uint32_t nRuns = 0;
  };

  void Add(const std::type_info& cls, double dSeconds);
  uint32_t Size() const { return m_Records.Size(); }
  const ClRecord& operator[](uint32_t i) const { return m_Records[i]; }
  // The record of a class, or null.
  const ClRecord* Find(const std::type_info& cls) const;

private:
  TpArrayDynamic<ClRecord, 10> m_Records;
};
