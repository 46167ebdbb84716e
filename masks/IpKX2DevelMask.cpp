#include "masks/IpKX2DevelMask.h"

#include "base/Exceptions.h"

#include <algorithm>

namespace {

// Below this spread between the dark third and the bright twentieth there is no finger.
constexpr double kLeastContrast = 43.0;
// A black point this dark is sensor offset rather than finger: use 31 instead.
constexpr int32_t kLeastBlack = 32;
constexpr int32_t kBlackFloor = 31;
constexpr int32_t kMeanWidth = 25;
// Where the 25 by 25 mean of the inverted picture is at least this light, it is background.
constexpr uint8_t kLightSurround = 231;

} // namespace

ClIpKX2DevelMask::ClIpKX2DevelMask()
{
  AddDataType(eUInt8);
  SetDefaultParameters();
}

int32_t ClIpKX2DevelMask::Process()
{
  if (!m_pInImage)
    LSKX2_THROW_MSG("m_pInImage is not set", eErrBadPointer);
  if (!m_pOutImage)
    LSKX2_THROW_MSG("m_pOutImage is not set", eErrBadPointer);
  ClImage& in = *m_pInImage;
  ClImage& out = *m_pOutImage;
  const int32_t nWidth = in.Width(), nHeight = in.Height();

  m_Histogram.Create(in, nWidth / 10, nHeight / 10, nWidth - nWidth / 10, nHeight - nHeight / 10);
  const uint32_t n = static_cast<uint32_t>(m_Histogram.Total());
  // Too few samples for a twentieth: treated as a frame without contrast.
  const double a = n / 20 > 0 ? m_Histogram.MeanOfDarkest(n / 3) : 0.0;
  const double b = n / 20 > 0 ? m_Histogram.MeanOfBrightest(n / 20) : 0.0;

  out.Copy(in);
  if (b - a < kLeastContrast) {
    out.Fill(static_cast<unsigned char>(255));
    return 0;
  }

  int32_t lo = static_cast<int32_t>(m_Histogram.MeanOfDarkest(n / 20) + 0.5);
  if (lo < kLeastBlack)
    lo = kBlackFloor;
  const int32_t hi = static_cast<int32_t>(b + 0.5);
  // The contrast test keeps hi well above lo; the table stays white should it not.
  uint8_t aInvert[256];
  for (int32_t v = 0; v < 256; ++v) {
    int32_t s = hi > lo ? (v - lo) * 255 / (hi - lo) : 0;
    s = std::min(255, std::max(0, s));
    aInvert[v] = static_cast<uint8_t>(255 - s);
  }

  m_Grey.CreateLike(in);
  const int32_t nInStride = in.LineElements(), nGreyStride = m_Grey.LineElements();
  for (int32_t y = 0; y < nHeight; ++y) {
    const uint8_t* pSrc = in.Data() + ptrdiff_t(y) * nInStride;
    uint8_t* pGrey = m_Grey.Data() + ptrdiff_t(y) * nGreyStride;
    for (int32_t x = 0; x < nWidth; ++x)
      pGrey[x] = aInvert[pSrc[x]];
  }

  m_FilterMid.m_pInImage = &m_Grey;
  m_FilterMid.m_pOutImage = &m_Blurred;
  m_FilterMid.m_nFilterWidth = kMeanWidth;
  m_FilterMid.m_nMode = 3;
  int32_t nStatus = m_FilterMid.Run();
  if (nStatus != 0)
    return nStatus;

  const int32_t nOutStride = out.LineElements(), nBlurStride = m_Blurred.LineElements();
  for (int32_t y = 0; y < nHeight; ++y) {
    const uint8_t* pGrey = m_Grey.Data() + ptrdiff_t(y) * nGreyStride;
    const uint8_t* pBlur = m_Blurred.Data() + ptrdiff_t(y) * nBlurStride;
    uint8_t* pDst = out.Data() + ptrdiff_t(y) * nOutStride;
    for (int32_t x = 0; x < nWidth; ++x)
      pDst[x] = pBlur[x] < kLightSurround ? pGrey[x] : 255;
  }
  return 0;
}
