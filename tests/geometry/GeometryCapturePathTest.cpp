// The frame preparation of the capture workers: 3 by 3 mean, nearest-neighbour halving
// from 1600 by 1500 to 800 by 750, vertical flip; compared with a direct computation.
#include "imaging/geometry/IpRescale.h"
#include "imaging/geometry/TpIpFlip.h"
#include "tests/common/TestImages.h"

#include "imaging/filters/TpIpFilterMid.h"

#include <gtest/gtest.h>

using GeoTest::At;

namespace {

// Mean over the 3 by 3 window clipped to the image, truncated.
uint8_t Mean3(const ClImage& in, int32_t x, int32_t y)
{
  int nSum = 0, nCount = 0;
  for (int32_t j = y - 1; j <= y + 1; ++j)
    for (int32_t i = x - 1; i <= x + 1; ++i)
      if (i >= 0 && j >= 0 && i < in.Width() && j < in.Height()) {
        nSum += At(in, i, j);
        ++nCount;
      }
  return static_cast<uint8_t>(nSum / nCount);
}

} // namespace

TEST(GeometryCapturePath, MeanHalveAndFlipMatchADirectComputation)
{
  ClImage frame, scratch, flipped;
  GeoTest::MakeRandom(frame, 1600, 1500, 99, 0);
  frame.SetPels(19685, 19685);
  ClImage original;
  original.Copy(frame);
  ClTpIpFilterMid<unsigned char, unsigned int> mean;
  Wire(mean, frame, scratch);
  mean.m_nFilterWidth = 3;
  mean.m_nFilterHeight = 3;
  ASSERT_EQ(0, mean.Process());
  ClIpRescale rescale;
  ASSERT_EQ(0, rescale.Rescale(&scratch, &frame, 800, 750, ClIpRescale::NearestNeighbour));
  ClTpIpFlip<unsigned char, unsigned char> flip;
  flip.m_bFlipX = false;
  flip.m_bFlipY = true;
  Wire(flip, frame, flipped);
  ASSERT_EQ(0, flip.Process());
  ASSERT_EQ(800, flipped.Width());
  ASSERT_EQ(750, flipped.Height());
  for (int32_t y = 0; y < 750; ++y)
    for (int32_t x = 0; x < 800; ++x)
      ASSERT_EQ(Mean3(original, 2 * x, 2 * (749 - y)), At(flipped, x, y)) << x << "," << y;
}
