#include "masks/IpKX10MaskR2.h"

#include "base/Exceptions.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr int32_t kBlackRows = 25;
constexpr int32_t kRampRows = 25;
// Fewer upper-envelope samples of level 15 or more than this: no finger on the platen.
constexpr uint64_t kLeastFingerSamples = 5001;

inline uint8_t Invert(double v)
{
  return static_cast<uint8_t>(static_cast<int32_t>(255.0 - std::min(v, 255.0)));
}

// Everything of the local stretch that depends on one value only, worked out once per
// precision: per mask value m the blend weight and the limits, per envelope distance the
// gain. The per-pixel work is then a few multiplications without a division.
struct StStretchTables
{
  explicit StStretchTables(bool bHighPrecision)
  {
    const double q = bHighPrecision ? 0.2 : 0.4;
    nSoftFrom = bHighPrecision ? 128 : 32;
    for (int32_t m = 0; m < 256; ++m) {
      const double a = m > nSoftFrom ? double(m - nSoftFrom) / double(255 - nSoftFrom) : 0.0;
      aA[m] = a;
      aRest[m] = 1 - a;
      aLift[m] = static_cast<uint8_t>(static_cast<int32_t>((1 - a) * 30));
      aLimit[m] = 1.0 + std::max(0.0, a * 5.0);
      aSharp[m] = a > q;
      const double a2 = a / q;
      aFade[m] = a2;
      aWhite[m] = (1 - a2) * 255.0;
    }
    for (int32_t k = 1; k < 256; ++k)
      aGain[k] = 255.0 / k;
    aGain[0] = 0.0;
    // Envelopes that meet give an infinite gain: any sample, even one at the dark bound
    // (infinity times 0), ends black.
    for (int32_t d = 0; d < 256; ++d)
      aCore[0][d] = 0;
    for (int32_t k = 1; k < 256; ++k)
      for (int32_t d = 0; d < 256; ++d)
        aCore[k][d] = Invert(d * aGain[k]);
  }

  int32_t nSoftFrom;
  double aA[256];
  double aRest[256];
  uint8_t aLift[256];
  double aLimit[256];
  bool aSharp[256];
  double aFade[256];
  double aWhite[256];
  // 255 / k for an envelope distance k from 1 to 255.
  double aGain[256];
  // The inverted stretch inside the finger per envelope distance k and sample distance d.
  uint8_t aCore[256][256];
};

const StStretchTables& Tables(bool bHighPrecision)
{
  static const StStretchTables s_Low(false);
  static const StStretchTables s_High(true);
  return bHighPrecision ? s_High : s_Low;
}

// Towards the rim the stretch fades into the plain inverted frame and then into white.
// What depends on the block's mask value and envelopes is worked out once per block.
struct StRim
{
  StRim(int32_t m, int32_t l, int32_t h, const StStretchTables& t)
    : dA(t.aA[m]), dRest(t.aRest[m]), dFade(t.aFade[m]), dWhite(t.aWhite[m]), bSharp(t.aSharp[m])
  {
    nL2 = std::min(std::max(l + 5 + t.aLift[m], 0), 32);
    int32_t h2 = std::max(h, 50);
    if (h2 < nL2 + 50)
      h2 = std::min(255, nL2 + 50);
    dGain = std::min(t.aLimit[m], std::max(0.0, t.aGain[h2 - nL2]));
  }
  uint8_t operator()(int32_t g) const
  {
    const double d = std::max(g - nL2, 0);
    const double v = dA * std::min(255.0, d * dGain) + dRest * d;
    const uint8_t w = Invert(v);
    if (bSharp)
      return w;
    return static_cast<uint8_t>(static_cast<int32_t>(w * dFade + dWhite));
  }
  double dA, dRest, dFade, dWhite;
  bool bSharp;
  int32_t nL2;
  double dGain;
};

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
  if (m_Soft.Width() == m_Faded.Width())
    StretchBlocks<1>();
  else
    StretchBlocks<2>();
}

template <int32_t S>
void ClIpKX10MaskR2::StretchBlocks()
{
  const StStretchTables& t = Tables(m_bHighPrecision);
  const ClImage& lower = m_Segmenter.m_LowerEnvelope;
  const ClImage& upper = m_Segmenter.m_UpperEnvelope;
  ClImage& out = *m_pOutImage;
  const int32_t nWidth = m_Soft.Width(), nHeight = m_Soft.Height();
  const int32_t nSoftFrom = t.nSoftFrom;
  const ptrdiff_t nInStride = m_Faded.LineElements(), nOutStride = out.LineElements();
  for (int32_t by = 0; by < nHeight; ++by) {
    const uint8_t* pM = m_Soft.Data() + ptrdiff_t(by) * m_Soft.LineElements();
    const uint8_t* pL = lower.Data() + ptrdiff_t(by) * lower.LineElements();
    const uint8_t* pH = upper.Data() + ptrdiff_t(by) * upper.LineElements();
    const uint8_t* pG = m_Faded.Data() + ptrdiff_t(S * by) * nInStride;
    uint8_t* pOut = out.Data() + ptrdiff_t(S * by) * nOutStride;
    for (int32_t bx = 0; bx < nWidth; ++bx) {
      const int32_t m = pM[bx];
      const int32_t x0 = S * bx;
      if (m <= nSoftFrom) {
        for (int32_t dy = 0; dy < S; ++dy)
          for (int32_t dx = 0; dx < S; ++dx)
            pOut[dy * nOutStride + x0 + dx] = 255;
      } else if (m == 255) {
        // Inside the finger: stretch between the dark bound (at most 32) and the upper
        // envelope.
        const int32_t l2 = std::min(pL[bx] + 5, 32);
        const int32_t k = pH[bx] - l2;
        for (int32_t dy = 0; dy < S; ++dy)
          for (int32_t dx = 0; dx < S; ++dx) {
            const int32_t g = pG[dy * nInStride + x0 + dx];
            pOut[dy * nOutStride + x0 + dx] = k < 0 ? 255 : t.aCore[k][std::max(g - l2, 0)];
          }
      } else {
        const StRim rim(m, pL[bx], pH[bx], t);
        for (int32_t dy = 0; dy < S; ++dy)
          for (int32_t dx = 0; dx < S; ++dx)
            pOut[dy * nOutStride + x0 + dx] = rim(pG[dy * nInStride + x0 + dx]);
      }
    }
  }
}
