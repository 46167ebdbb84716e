#pragma once
// The per-frame image work of the capture workers, with its scratch kept between frames
// so that a stream of frames of one size allocates nothing:
// - ClKX2FramePrep: raw device frame to the 800 by 750 picture the SDK shows (3 by 3
//   mean, nearest-neighbour rescale, rows reversed);
// - ClKX2PreviewMask: the finger mask of the preview, the KX10 mask or the fast one.
#include "model/FpImage.h"
#include "imaging/filters/TpIpFilterMid.h"
#include "imaging/geometry/IpRescale.h"
#include "imaging/geometry/TpIpFlip.h"
#include "masks/IpKX10MaskR2.h"
#include "masks/IpKX2DevelMask.h"

#include <cstdint>
#include <vector>

// Reverses the rows of in into out (the device delivers them bottom up).
void KX2FlipRows(ClImage& in, ClImage& out);

class ClKX2FramePrep
{
public:
  enum { eWidth = 800, eHeight = 750, eResolution = 19685 };

  ClKX2FramePrep();
  // raw keeps its pixels; only its resolution is set to 500 dpi. A raw frame of twice the
  // size in each direction takes a fused path with the same result.
  void Run(ClImage& raw, ClImage& out);

private:
  ClTpIpFilterMid<unsigned char, unsigned int> m_Mean;
  ClIpRescale m_Rescale;
  ClTpIpFlip<unsigned char, unsigned char> m_Flip;
  ClImage m_Smooth;
  ClImage m_Half;
  std::vector<uint16_t> m_aSums;
};

class ClKX2PreviewMask
{
public:
  explicit ClKX2PreviewMask(bool bHighPrecision = false) : m_Kx10(bHighPrecision) {}
  // bFast picks the global development mask; otherwise the KX10 mask at nSensitivity.
  void Run(ClImage& in, ClImage& out, bool bFast, int32_t nSensitivity);
  ClIpKX10MaskR2& Kx10() { return m_Kx10; }

private:
  ClIpKX10MaskR2 m_Kx10;
  ClIpKX2DevelMask m_Devel;
};
