#include "capture/KX2FrameJudge.h"

void ClKX2FrameJudge::CentralHistogram(const ClImage& image, ClHistogram& histogram)
{
  const int32_t w = image.Width(), h = image.Height();
  histogram.Create(image, w / 10, h / 10, 9 * w / 10, 9 * h / 10);
}

namespace {
uint64_t SumBins(const ClHistogram& histogram, uint32_t nFrom, uint32_t nTo)
{
  uint64_t n = 0;
  for (uint32_t i = nFrom; i <= nTo; ++i)
    n += histogram.Bin(i);
  return n;
}
} // namespace

int32_t ClKX2FrameJudge::FingerArea(const ClImage& masked)
{
  const int32_t w = masked.Width(), h = masked.Height();
  if (masked.DataType() != eUInt8 || masked.Planes() != 1) {
    ClHistogram histogram;
    CentralHistogram(masked, histogram);
    return static_cast<int32_t>(SumBins(histogram, 0, 240));
  }
  return static_cast<int32_t>(
      ClHistogram::CountInRange(masked, w / 10, h / 10, 9 * w / 10, 9 * h / 10, 0, 240));
}

uint64_t ClKX2FrameJudge::Motion(const ClImage& older, const ClImage& newer)
{
  ClHistogram h1, h2;
  h1.Create(older);
  h2.Create(newer);
  int64_t c1 = 0, c2 = 0;
  uint64_t d = 0;
  for (uint32_t i = 0; i < 256; ++i) {
    c1 += h1.Bin(i);
    c2 += h2.Bin(i);
    const int64_t diff = c2 - c1;
    d += static_cast<uint64_t>(diff * diff);
  }
  return d;
}

int32_t ClKX2FrameJudge::ConditionSample(ClImage& frame)
{
  m_Mean.m_nFilterWidth = 31;
  m_Mean.m_nFilterHeight = 31;
  m_Mean.m_pInImage = &frame;
  m_Mean.m_pOutImage = &m_Smooth;
  m_Mean.Process();
  m_Subtract.m_pInImage1 = &frame;
  m_Subtract.m_pInImage2 = &m_Smooth;
  m_Subtract.m_pOutImage = &m_Difference;
  m_Subtract.Process();
  CentralHistogram(m_Difference, m_Histogram);
  return static_cast<int32_t>(SumBins(m_Histogram, 5, 255));
}

int32_t ClKX2FrameJudge::ConditionValue(const int32_t* pSamples, uint32_t nCount)
{
  uint32_t nSum = 0;
  for (uint32_t i = 0; i < nCount; ++i)
    nSum += static_cast<uint32_t>(pSamples[i]);
  const uint32_t nValue = nSum / nCount / 300u;
  return nValue > 100u ? 100 : static_cast<int32_t>(nValue);
}
