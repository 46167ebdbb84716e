// The table's two ways of mapping: input and output may be one buffer.
#pragma GCC optimize("O3")
#include "imaging/operators/ByteTable.h"
#include "imaging/VectorKernel.h"

namespace {

// Byte compares keep the vector lanes at bytes. A constant table has nLow == nHigh.
LSKX2_VECTOR_KERNEL void MapStep(const uint8_t* pIn, uint8_t* pOut, int64_t nCount, uint8_t nStep,
                                 uint8_t nLow, uint8_t nHigh)
{
  if (pIn == pOut) {
    // In place: one pointer, so the vectorizer need not guard against overlap.
    for (int64_t i = 0; i < nCount; ++i)
      pOut[i] = pOut[i] < nStep ? nLow : nHigh;
    return;
  }
  for (int64_t i = 0; i < nCount; ++i)
    pOut[i] = pIn[i] < nStep ? nLow : nHigh;
}

// In and out may be one buffer. Eight samples go through one word each way, so that a
// byte store does not force the next load to wait.
void MapLookUp(const uint8_t* pIn, uint8_t* pOut, int64_t nCount, const uint8_t* pTable)
{
  int64_t i = 0;
  for (; i + 8 <= nCount; i += 8) {
    uint64_t v;
    __builtin_memcpy(&v, pIn + i, 8);
    uint64_t r = 0;
    for (int k = 0; k < 8; ++k)
      r |= uint64_t(pTable[(v >> (8 * k)) & 0xFF]) << (8 * k);
    __builtin_memcpy(pOut + i, &r, 8);
  }
  for (; i < nCount; ++i)
    pOut[i] = pTable[pIn[i]];
}

} // namespace

void ClByteTable::Analyze(const uint8_t* pTable)
{
  m_pTable = pTable;
  uint32_t k = 1;
  while (k < 256 && pTable[k] == pTable[0])
    ++k;
  uint32_t j = k;
  while (j < 256 && pTable[j] == pTable[k])
    ++j;
  m_bStep = (j == 256);
  m_nStep = k;
  m_nLow = pTable[0];
  m_nHigh = k < 256 ? pTable[k] : pTable[0];
}

void ClByteTable::Map(const uint8_t* pIn, uint8_t* pOut, int64_t nCount) const
{
  if (m_bStep)
    MapStep(pIn, pOut, nCount, static_cast<uint8_t>(m_nStep & 0xFF), m_nLow, m_nHigh);
  else
    MapLookUp(pIn, pOut, nCount, m_pTable);
}
