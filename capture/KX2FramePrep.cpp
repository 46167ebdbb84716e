#include "capture/KX2FramePrep.h"

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

// The 3 by 3 mean (window clipped at the border, truncated), taken at every second pixel
// of every second row and written with the rows reversed: what the mean, the
// nearest-neighbour halving and the flip give together, at a quarter of the work.
void HalveMeanFlip(const ClImage& in, ClImage& out)
{
  const int32_t w = out.Width(), h = out.Height();
  const ptrdiff_t si = in.LineElements();
  for (int32_t y = 0; y < h; ++y) {
    const uint8_t* r1 = in.Data() + 2 * y * si;
    const uint8_t* r2 = r1 + si;
    // The first row has no row above it.
    const uint8_t* r0 = y > 0 ? r1 - si : r1;
    const uint32_t nAbove = y > 0 ? 1u : 0u, nRows = 2u + nAbove;
    uint8_t* o = out.Data() + (h - 1 - y) * out.LineElements();
    auto column = [&](int32_t c) { return nAbove * r0[c] + r1[c] + r2[c]; };
    o[0] = static_cast<uint8_t>((column(0) + column(1)) / (2u * nRows));
    for (int32_t x = 1; x < w; ++x)
      o[x] = static_cast<uint8_t>((column(2 * x - 1) + column(2 * x) + column(2 * x + 1)) /
                                  (3u * nRows));
  }
}

} // namespace

void ClKX2FramePrep::Run(ClImage& raw, ClImage& out)
{
  raw.SetPels(eResolution, eResolution);
  if (raw.Width() == 2 * eWidth && raw.Height() == 2 * eHeight && raw.Planes() == 1 &&
      raw.DataType() == eUInt8) {
    out.Create(eUInt8, eWidth, eHeight, 1, eResolution, eResolution);
    HalveMeanFlip(raw, out);
    return;
  }
  m_Mean.m_pInImage = &raw;
  m_Mean.m_pOutImage = &m_Smooth;
  m_Mean.Process();
  // The halved picture goes to a scratch image of its own: raw lies over the device's
  // bitmap, and resizing it would cost a new buffer per frame.
  m_Rescale.Rescale(&m_Smooth, &m_Half, eWidth, eHeight, ClIpRescale::NearestNeighbour);
  m_Flip.m_pInImage = &m_Half;
  m_Flip.m_pOutImage = &out;
  m_Flip.Process();
  out.SetPels(eResolution, eResolution);
}
