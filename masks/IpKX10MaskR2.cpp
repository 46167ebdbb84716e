#include "masks/IpKX10MaskR2.h"

#include "base/Exceptions.h"
#include "masks/StretchKernels.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr int32_t kBlackRows = 25;
constexpr int32_t kRampRows = 25;
// Fewer upper-envelope samples of level 15 or more than this: no finger on the platen.
constexpr uint64_t kLeastFingerSamples = 5001;

} // namespace

ClIpKX10MaskR2::ClIpKX10MaskR2() : ClIpKX10MaskR2(false) {}

ClIpKX10MaskR2::ClIpKX10MaskR2(bool bHighPrecision)
  : m_bHighPrecision(bHighPrecision), m_Segmenter(bHighPrecision)
{}

double ClIpKX10MaskR2::VarianceLimit(int32_t nSensitivity)
{
  static const double s_adLimits[6] = {1000.0, 500.0, 300.0, 150.0, 75.0, 25.0};
  if (nSensitivity < 0 || nSensitivity > 5)
    LSKX2_THROW_MSG("Invalid mask sensitivity", eErrInvalidParameter);
  return s_adLimits[nSensitivity];
}

int32_t ClIpKX10MaskR2::Process()
{
  if (!m_pInImage)
    LSKX2_THROW_MSG("No input image assigned.", eErrBadPointer);
  if (!m_pOutImage)
    LSKX2_THROW_MSG("No output image assigned.", eErrBadPointer);
  m_Faded.Copy(*m_pInImage);
  FadeTop();

  m_Segmenter.m_dVarianceLimit = VarianceLimit(m_nSensitivity);
  m_Segmenter.m_pReference = m_pReferenceImage;
  m_Segmenter.m_bEnlarge = false;
  const int32_t nSegment = m_Segmenter.Compute(&m_Faded, &m_Soft);

  bool bFinger = false;
  if (nSegment == 0) {
    const ClImage& upper = m_Segmenter.m_UpperEnvelope;
    // A frame of one row or column leaves no rectangle: the histogram refuses it. Such a
    // frame is never halved (its sides are not even).
    if (upper.Width() < 2 || upper.Height() < 2)
      m_Histogram.Create(upper, 0, 0, upper.Width() - 1, upper.Height() - 1);
    // A half-size sample stands for a 2 by 2 block of the frame.
    const uint64_t nBlock = upper.Width() == m_Faded.Width() ? 1 : 4;
    bFinger = nBlock * ClHistogram::CountInRange(upper, 0, 0, upper.Width() - 1, upper.Height() - 1,
                                                 15, 255) >=
              kLeastFingerSamples;
  }
  m_pOutImage->CreateLike(m_Faded);
  if (!bFinger) {
    m_pOutImage->Fill(static_cast<unsigned char>(255));
    return 0;
  }
  Stretch();
  return 0;
}

void ClIpKX10MaskR2::FadeTop()
{
  const int32_t nHeight = m_Faded.Height(), nWidth = m_Faded.Width();
  const int32_t nStride = m_Faded.LineElements();
  for (int32_t y = 0; y < std::min(nHeight, kBlackRows + kRampRows); ++y) {
    uint8_t* pRow = m_Faded.Data() + ptrdiff_t(y) * nStride;
    if (y < kBlackRows) {
      std::memset(pRow, 0, size_t(nWidth));
      continue;
    }
    const int32_t nWeight = y - kBlackRows;
    for (int32_t x = 0; x < nWidth; ++x)
      pRow[x] = static_cast<uint8_t>(pRow[x] * nWeight / kRampRows);
  }
}

void ClIpKX10MaskR2::Stretch()
{
  // Above 250 dpi the segmenter's results are at half size: one sample per 2 by 2 block.
  if (Soft().Width() == m_Faded.Width())
    StretchSamples();
  else
    StretchBlocks();
}

void ClIpKX10MaskR2::StretchSamples()
{
  const StStretchTables& t = StretchTables(m_bHighPrecision);
  const ClImage& lower = m_Segmenter.m_LowerEnvelope;
  const ClImage& upper = m_Segmenter.m_UpperEnvelope;
  ClImage& out = *m_pOutImage;
  for (int32_t y = 0; y < Soft().Height(); ++y) {
    const uint8_t* pM = Soft().Data() + ptrdiff_t(y) * Soft().LineElements();
    const uint8_t* pL = lower.Data() + ptrdiff_t(y) * lower.LineElements();
    const uint8_t* pH = upper.Data() + ptrdiff_t(y) * upper.LineElements();
    const uint8_t* pG = m_Faded.Data() + ptrdiff_t(y) * m_Faded.LineElements();
    uint8_t* pOut = out.Data() + ptrdiff_t(y) * out.LineElements();
    for (int32_t x = 0; x < Soft().Width(); ++x) {
      const int32_t m = pM[x];
      if (m <= t.nSoftFrom) {
        pOut[x] = 255;
      } else if (m == 255) {
        const int32_t l2 = std::min(pL[x] + 5, 32);
        pOut[x] = CoreSample(pG[x], l2, pH[x] - l2, t);
      } else {
        pOut[x] = StRim(m, pL[x], pH[x], t)(pG[x]);
      }
    }
  }
}

void ClIpKX10MaskR2::StretchBlocks()
{
  const StStretchTables& t = StretchTables(m_bHighPrecision);
  const ClImage& lower = m_Segmenter.m_LowerEnvelope;
  const ClImage& upper = m_Segmenter.m_UpperEnvelope;
  ClImage& out = *m_pOutImage;
  const int32_t nWidth = Soft().Width(), nHeight = Soft().Height();
  const int32_t nSoftFrom = t.nSoftFrom;
  const ptrdiff_t nInStride = m_Faded.LineElements(), nOutStride = out.LineElements();
  // The rim blocks of a row pair go through the vectorized kernel together.
  const size_t nCap = size_t(nWidth);
  if (m_aRimInts.size() < 11 * nCap)
    m_aRimInts.resize(11 * nCap);
  if (m_aRimDoubles.size() < 5 * nCap)
    m_aRimDoubles.resize(5 * nCap);
  int32_t* pInts = m_aRimInts.data();
  double* pDoubles = m_aRimDoubles.data();
  int32_t* pX = pInts;
  const StRimBatch batch{pInts + nCap,
                         pDoubles,
                         pDoubles + nCap,
                         pDoubles + 2 * nCap,
                         pDoubles + 3 * nCap,
                         pDoubles + 4 * nCap,
                         pInts + 2 * nCap,
                         {pInts + 3 * nCap, pInts + 4 * nCap, pInts + 5 * nCap, pInts + 6 * nCap},
                         {pInts + 7 * nCap, pInts + 8 * nCap, pInts + 9 * nCap, pInts + 10 * nCap}};
  constexpr int32_t kChunk = 16;
  for (int32_t by = 0; by < nHeight; ++by) {
    const uint8_t* pM = Soft().Data() + ptrdiff_t(by) * Soft().LineElements();
    const uint8_t* pL = lower.Data() + ptrdiff_t(by) * lower.LineElements();
    const uint8_t* pH = upper.Data() + ptrdiff_t(by) * upper.LineElements();
    const uint8_t* pG0 = m_Faded.Data() + ptrdiff_t(2 * by) * nInStride;
    const uint8_t* pG1 = pG0 + nInStride;
    uint8_t* pOut0 = out.Data() + ptrdiff_t(2 * by) * nOutStride;
    uint8_t* pOut1 = pOut0 + nOutStride;
    int32_t nRim = 0;
    for (int32_t bx0 = 0; bx0 < nWidth; bx0 += kChunk) {
      const int32_t nEnd = std::min(bx0 + kChunk, nWidth);
      // Most of a frame is background, white in whole chunks.
      int32_t nFinger = 0;
      for (int32_t bx = bx0; bx < nEnd; ++bx)
        nFinger |= int32_t(pM[bx] > nSoftFrom);
      if (nFinger == 0) {
        std::memset(pOut0 + 2 * bx0, 255, size_t(2 * (nEnd - bx0)));
        std::memset(pOut1 + 2 * bx0, 255, size_t(2 * (nEnd - bx0)));
        continue;
      }
      for (int32_t bx = bx0; bx < nEnd; ++bx) {
        const int32_t m = pM[bx];
        const int32_t x = 2 * bx;
        if (m <= nSoftFrom) {
          pOut0[x] = pOut0[x + 1] = pOut1[x] = pOut1[x + 1] = 255;
        } else if (m == 255) {
          const int32_t l2 = std::min(pL[bx] + 5, 32);
          const int32_t k = pH[bx] - l2;
          pOut0[x] = CoreSample(pG0[x], l2, k, t);
          pOut0[x + 1] = CoreSample(pG0[x + 1], l2, k, t);
          pOut1[x] = CoreSample(pG1[x], l2, k, t);
          pOut1[x + 1] = CoreSample(pG1[x + 1], l2, k, t);
        } else {
          const StRim rim(m, pL[bx], pH[bx], t);
          pX[nRim] = x;
          batch.pL2[nRim] = rim.nL2;
          batch.pGain[nRim] = rim.dGain;
          batch.pA[nRim] = rim.dA;
          batch.pRest[nRim] = rim.dRest;
          batch.pFade[nRim] = rim.dFade;
          batch.pWhite[nRim] = rim.dWhite;
          batch.pSharp[nRim] = rim.nSharp;
          batch.aSamples[0][nRim] = pG0[x];
          batch.aSamples[1][nRim] = pG0[x + 1];
          batch.aSamples[2][nRim] = pG1[x];
          batch.aSamples[3][nRim] = pG1[x + 1];
          ++nRim;
        }
      }
    }
    if (nRim == 0)
      continue;
    StretchRimBatch(batch, nRim);
    for (int32_t j = 0; j < nRim; ++j) {
      const int32_t x = pX[j];
      pOut0[x] = static_cast<uint8_t>(batch.aOut[0][j]);
      pOut0[x + 1] = static_cast<uint8_t>(batch.aOut[1][j]);
      pOut1[x] = static_cast<uint8_t>(batch.aOut[2][j]);
      pOut1[x + 1] = static_cast<uint8_t>(batch.aOut[3][j]);
    }
  }
}
