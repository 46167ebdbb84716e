#include "imaging/geometry/IpResize.h"

#include "imaging/ImageArguments.h"

#include <algorithm>
#include <cstring>

ClIpResize::ClIpResize() { SetDefaultParameters(); }

void ClIpResize::DescribeArguments(ClProcessorArguments& a)
{
  using A = ClProcessorArguments;
  a.Image(&m_pInImage, "InImage", "pInImage", "In: Original Image", 1, 1, 1, 0);
  a.Image(&m_pOutImage, "OutImage", "pOutImage", "Out: Rescaled Image", 1, 1, 2, A::eOut);
  a.Int32(&m_nScaleFactor, nullptr, "nScaleFactor", nullptr, 2, 0, 0);
  a.Int32(&m_nDestWidth, nullptr, "nDestWidth", nullptr, 0, 0, 0);
  a.Int32(&m_nDestHeight, nullptr, "nDestHeight", nullptr, 0, 0, 0);
}

int32_t ClIpResize::Process()
{
  RequireImagesWithData(m_pInImage, m_pOutImage);
  if (m_nScaleFactor < 1)
    return eErrParamOutOfRange;
  if (m_pInImage->Planes() > 1)
    return ProcessPlanes();
  int32_t nDW = m_nDestWidth, nDH = m_nDestHeight;
  if (nDW == 0 && nDH == 0) {
    nDW = static_cast<int32_t>(
        std::min<int64_t>(static_cast<int64_t>(m_pInImage->Width()) * m_nScaleFactor, INT32_MAX));
    nDH = static_cast<int32_t>(
        std::min<int64_t>(static_cast<int64_t>(m_pInImage->Height()) * m_nScaleFactor, INT32_MAX));
  }
  // A share keeps the input readable when the output is the same object.
  m_Keep.Share(*m_pInImage);
  try {
    ResizePlane(m_Keep, *m_pOutImage, nDW, nDH);
  } catch (...) {
    m_Keep.Clear();
    throw;
  }
  m_Keep.Clear();
  return 0;
}

int32_t ClIpResize::ProcessPlanes()
{
  return m_Planes.Run(m_pInImage, m_pOutImage, m_pOutImage, eRGB, m_pLog != nullptr,
                      [this] { return Process(); });
}

void ClIpResize::ResizePlane(const ClImage& in, ClImage& out, int32_t nDW, int32_t nDH) const
{
  const int32_t f = m_nScaleFactor;
  const int32_t nPelsX = static_cast<int32_t>(
      std::clamp<int64_t>(static_cast<int64_t>(in.PelsX()) * f, INT32_MIN, INT32_MAX));
  const int32_t nPelsY = static_cast<int32_t>(
      std::clamp<int64_t>(static_cast<int64_t>(in.PelsY()) * f, INT32_MIN, INT32_MAX));
  out.Create(eUInt8, nDW, nDH, in.Planes(), nPelsX, nPelsY);
  const int32_t nCoverW =
      static_cast<int32_t>(std::min<int64_t>(static_cast<int64_t>(in.Width()) * f, nDW));
  const int32_t nCoverH =
      static_cast<int32_t>(std::min<int64_t>(static_cast<int64_t>(in.Height()) * f, nDH));
  if (nCoverH < nDH)
    out.Fill(static_cast<unsigned char>(0));
  if (!out.Data() || nCoverW < 0)
    return;
  const int32_t nBlocks = nCoverW / f;
  const int64_t nInStride = in.LineBytes(), nOutStride = out.LineBytes();
  const uint8_t* pIn = in.Data();
  uint8_t* pOut = out.Data();
  for (int32_t y = 0; y < nCoverH; ++y) {
    uint8_t* d = pOut + y * nOutStride;
    // Rows of one block are equal.
    if (y % f != 0) {
      std::memcpy(d, d - nOutStride, static_cast<size_t>(nDW));
      continue;
    }
    const uint8_t* s = pIn + (y / f) * nInStride;
    uint8_t* p = d;
    if (f == 4) {
      for (int32_t i = 0; i < nBlocks; ++i, p += 4)
        std::memset(p, s[i], 4);
    } else {
      for (int32_t i = 0; i < nBlocks; ++i, p += f)
        std::memset(p, s[i], static_cast<size_t>(f));
    }
    // Only whole blocks are written; the rest repeats the last value written.
    const uint8_t last = nBlocks > 0 ? s[nBlocks - 1] : s[0];
    std::memset(p, last, static_cast<size_t>(nDW - nBlocks * f));
  }
}
