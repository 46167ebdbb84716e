#pragma once
// Raw device frame to the 800 by 750 picture the SDK shows (3 by 3 mean, nearest-neighbour
// rescale, rows reversed), with its scratch kept between frames so that a stream of frames
// of one size allocates nothing.
#include "model/FpImage.h"
#include "imaging/filters/TpIpFilterMid.h"
#include "imaging/geometry/IpRescale.h"
#include "imaging/geometry/TpIpFlip.h"

#include <cstdint>
#include <vector>

// Reverses the rows of in into out (the device delivers them bottom up).
void KX2FlipRows(ClImage& in, ClImage& out);

class ClKX2FramePrep
{
public:
  static constexpr int32_t kWidth = 800, kHeight = 750, kResolution = 19685;

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
