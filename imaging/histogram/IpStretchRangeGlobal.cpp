#include "imaging/histogram/IpStretchRangeGlobal.h"

#include "imaging/SampleConvert.h"

ClIpStretchRangeGlobal::ClIpStretchRangeGlobal() { SetDefaultParameters(); }

void ClIpStretchRangeGlobal::DescribeArguments(ClProcessorArguments& a)
{
  using A = ClProcessorArguments;
  a.Image(&m_pInImage, "InImage", "pInImage", "In: Original Image", 1, 1, 1);
  a.Image(&m_pOutImage, "OutImage", "pOutImage", "Out: Stretched Imaged", 1, 1, 2,
          A::eOut | A::eNoDefault);
  a.UInt8(&m_nOldRangeFrom, "OldRangeFrom", "OldRangeFrom", "In: Input Range Start", 255, 0, 255,
          A::eBindRange);
  a.UInt8(&m_nOldRangeTo, "OldRangeTo", "OldRangeTo", "In: Input Range End", 0, 0, 255,
          A::eBindRange);
  a.UInt8(&m_nNewRangeFrom, "NewRangeFrom", "NewRangeFrom", "In: Stretch Range Start", 0, 0, 255,
          A::eBindRange);
  a.UInt8(&m_nNewRangeTo, "NewRangeTo", "NewRangeTo", "In: Stretch Range End", 255, 0, 255,
          A::eBindRange);
}

int32_t ClIpStretchRangeGlobal::Initialize()
{
  m_nUsedFrom = m_nOldRangeFrom;
  m_nUsedTo = m_nOldRangeTo;
  // Without an input there is nothing to measure; Process reports the missing input.
  if (m_nOldRangeFrom > m_nOldRangeTo && m_pInImage) {
    if (m_pInImage->Planes() == 1) {
      m_Histogram.Create(*m_pInImage);
      m_nUsedFrom = m_Histogram.FirstValue();
      m_nUsedTo = m_Histogram.LastValue();
    } else {
      m_nUsedFrom = 255;
      m_nUsedTo = 0;
      for (uint32_t p = 0; p < m_pInImage->Planes(); ++p) {
        m_pInImage->ExtractPlane(p, m_Plane);
        m_Histogram.Create(m_Plane);
        const uint8_t nFirst = m_Histogram.FirstValue(), nLast = m_Histogram.LastValue();
        if (nFirst < m_nUsedFrom)
          m_nUsedFrom = nFirst;
        if (nLast > m_nUsedTo)
          m_nUsedTo = nLast;
      }
    }
  }
  ComputeTable();
  return 0;
}

void ClIpStretchRangeGlobal::ComputeTable()
{
  // Fixed point in 1/4096; a one-value range divides by zero and truncates to the
  // processor's integer indefinite value.
  const double dStep = (m_nNewRangeTo + 0.9 - m_nNewRangeFrom) * 4096.0 /
                       static_cast<double>(m_nUsedTo - m_nUsedFrom);
  const int32_t nStep = TruncToInt32(dStep);
  for (int32_t i = 0; i < 256; ++i) {
    // 32-bit product as the table was always computed: an overflow wraps.
    const int32_t nProduct =
        static_cast<int32_t>(static_cast<uint32_t>(static_cast<int64_t>(i - m_nUsedFrom) * nStep));
    int32_t v = (nProduct >> 12) + m_nNewRangeFrom;
    if (v < m_nNewRangeFrom)
      v = m_nNewRangeFrom;
    if (v > m_nNewRangeTo)
      v = m_nNewRangeTo;
    m_aTable[i] = static_cast<uint8_t>(v);
  }
  m_bTableDone = true;
}
