#include "imaging/ProcessorTiming.h"

void ClProcessorTiming::Add(const std::type_info& cls, double dSeconds)
{
  for (uint32_t i = 0; i < m_Records.Size(); ++i) {
    if (*m_Records[i].pClass == cls) {
      m_Records[i].dSeconds += dSeconds;
      ++m_Records[i].nRuns;
      return;
    }
  }
  ClRecord record;
  record.pClass = &cls;
  record.dSeconds = dSeconds;
  record.nRuns = 1;
  m_Records.Add(record);
}

const ClProcessorTiming::ClRecord* ClProcessorTiming::Find(const std::type_info& cls) const
{
  for (uint32_t i = 0; i < m_Records.Size(); ++i) {
    if (*m_Records[i].pClass == cls)
      return &m_Records[i];
  }
  return nullptr;
}
