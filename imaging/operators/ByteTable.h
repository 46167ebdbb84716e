#pragma once
// A 256-entry table as the operators use it. A table that is a step (one value below
// an index, another from there on), as binarizing gives, maps by comparison instead of
// by lookup, with the same result.
#include <cstdint>

class ClByteTable
{
public:
  // Examines the table; call again after changing it.
  void Analyze(const uint8_t* pTable);
  void Map(const uint8_t* pIn, uint8_t* pOut, int64_t nCount) const;

private:
  const uint8_t* m_pTable = nullptr;
  bool m_bStep = false;
  uint32_t m_nStep = 0;
  uint8_t m_nLow = 0;
  uint8_t m_nHigh = 0;
};
