// The preparation of raw frames: the fused path for frames of twice the output size gives
// what the mean, the halving and the flip give one after the other.
#include "capture/KX2FramePrep.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

namespace {

void Random(ClImage& image, int32_t w, int32_t h, uint32_t nSeed)
{
  image.Create(eUInt8, w, h, 1);
  std::mt19937 rng(nSeed);
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x)
      image.Data()[y * image.LineElements() + x] = static_cast<uint8_t>(rng());
}

// The three steps as separate processors, as a frame of any other size takes them.
void Stepwise(ClImage& raw, ClImage& out)
{
  ClImage smooth, half;
  ClTpIpFilterMid<unsigned char, unsigned int> mean;
  mean.m_pInImage = &raw;
  mean.m_pOutImage = &smooth;
  mean.Process();
  ClIpRescale rescale;
  rescale.Rescale(&smooth, &half, 800, 750, ClIpRescale::NearestNeighbour);
  KX2FlipRows(half, out);
}

} // namespace

TEST(KX2FramePrep, FusedPathEqualsTheSteps)
{
  ClKX2FramePrep prep;
  for (uint32_t nSeed : {1u, 2u}) {
    ClImage raw, fused, stepwise;
    Random(raw, 1600, 1500, nSeed);
    prep.Run(raw, fused);
    Stepwise(raw, stepwise);
    ASSERT_EQ(fused.Width(), 800);
    ASSERT_EQ(fused.Height(), 750);
    EXPECT_EQ(fused.PelsX(), 19685);
    for (int32_t y = 0; y < 750; ++y)
      ASSERT_EQ(0, std::memcmp(fused.Data() + y * fused.LineElements(),
                               stepwise.Data() + y * stepwise.LineElements(), 800))
          << "row " << y;
  }
  // Another raw size goes step by step to the same output size.
  ClImage raw, out;
  Random(raw, 1000, 900, 3);
  prep.Run(raw, out);
  EXPECT_EQ(out.Width(), 800);
  EXPECT_EQ(out.Height(), 750);
  EXPECT_EQ(out.PelsY(), 19685);
}
