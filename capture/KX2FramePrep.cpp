#pragma GCC optimize("O3")
#include "capture/KX2FramePrep.h"

#include "imaging/VectorKernel.h"

#include <cstddef>

void KX2FlipRows(ClImage& in, ClImage& out)
{
  ClTpIpFlip<unsigned char, unsigned char> flip;
  flip.m_bFlipX = false;
  flip.m_bFlipY = true;
  flip.m_pInImage = &in;
  flip.m_pOutImage = &out;
  flip.Process();
}

ClKX2FramePrep::ClKX2FramePrep()
{
  m_Mean.m_nFilterWidth = 3;
  m_Mean.m_nFilterHeight = 3;
  m_Flip.m_bFlipX = false;
  m_Flip.m_bFlipY = true;
}

namespace {

// Column sums of three rows (the first output row has no row above: kAbove 0).
template <uint32_t kAbove>
LSKX2_KERNEL_INLINE void SumColumns(const uint8_t* r0, const uint8_t* r1, const uint8_t* r2,
                                    uint16_t* pSums, int32_t n)
{
  for (int32_t c = 0; c < n; ++c)
    pSums[c] = static_cast<uint16_t>(kAbove * r0[c] + r1[c] + r2[c]);
}

// Every second window of three column sums, divided by its pixel count (a constant, so
// the division becomes a multiplication).
template <uint32_t kRows>
LSKX2_KERNEL_INLINE void HalveRow(const uint16_t* pSums, uint8_t* o, int32_t w)
{
  o[0] = static_cast<uint8_t>((uint32_t(pSums[0]) + pSums[1]) / (2u * kRows));
  for (int32_t x = 1; x < w; ++x)
    o[x] = static_cast<uint8_t>((uint32_t(pSums[2 * x - 1]) + pSums[2 * x] + pSums[2 * x + 1]) /
                                (3u * kRows));
}

// The 3 by 3 mean (window clipped at the border, truncated), taken at every second pixel
// of every second row and written with the rows reversed: what the mean, the
// nearest-neighbour halving and the flip give together, at a quarter of the work.
LSKX2_VECTOR_KERNEL void HalveMeanFlip(const uint8_t* pIn, ptrdiff_t si, uint8_t* pOut,
                                       ptrdiff_t so, int32_t w, int32_t h, uint16_t* pSums)
{
  for (int32_t y = 0; y < h; ++y) {
    const uint8_t* r1 = pIn + 2 * y * si;
    const uint8_t* r2 = r1 + si;
    uint8_t* o = pOut + (h - 1 - y) * so;
    if (y == 0) {
      SumColumns<0>(r1, r1, r2, pSums, 2 * w);
      HalveRow<2>(pSums, o, w);
    } else {
      SumColumns<1>(r1 - si, r1, r2, pSums, 2 * w);
      HalveRow<3>(pSums, o, w);
    }
  }
}

} // namespace

void ClKX2FramePrep::Run(ClImage& raw, ClImage& out)
{
  raw.SetPels(kResolution, kResolution);
  if (raw.Width() == 2 * kWidth && raw.Height() == 2 * kHeight && raw.Planes() == 1 &&
      raw.DataType() == eUInt8) {
    out.Create(eUInt8, kWidth, kHeight, 1, kResolution, kResolution);
    m_aSums.resize(2 * kWidth);
    HalveMeanFlip(raw.Data(), raw.LineElements(), out.Data(), out.LineElements(), kWidth, kHeight,
                  m_aSums.data());
    return;
  }
  m_Mean.m_pInImage = &raw;
  m_Mean.m_pOutImage = &m_Smooth;
  m_Mean.Process();
  // The halved picture goes to a scratch image of its own: raw lies over the device's
  // bitmap, and resizing it would cost a new buffer per frame.
  m_Rescale.Rescale(&m_Smooth, &m_Half, kWidth, kHeight, ClIpRescale::NearestNeighbour);
  m_Flip.m_pInImage = &m_Half;
  m_Flip.m_pOutImage = &out;
  m_Flip.Process();
  out.SetPels(kResolution, kResolution);
}
