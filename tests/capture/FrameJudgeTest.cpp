// The judgement of frames at its exact limits, on frames built for each limit.
#include "capture/KX2FrameJudge.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

typedef ClKX2FrameJudge J;

ClImage& Flat(ClImage& image, uint8_t nValue, int32_t w = 800, int32_t h = 750)
{
  image.Create(eUInt8, w, h, 1);
  for (int32_t y = 0; y < h; ++y)
    std::memset(image.Data() + y * image.LineBytes(), nValue, static_cast<size_t>(w));
  return image;
}

// Sets n samples to v, row by row from (x0, y0) within columns x0..x0+nWidth-1.
void Paint(ClImage& image, int32_t x0, int32_t y0, int32_t nWidth, int32_t n, uint8_t v)
{
  for (int32_t i = 0; i < n; ++i)
    image.Data()[(y0 + i / nWidth) * image.LineBytes() + x0 + i % nWidth] = v;
}

// A mask with nArea finger samples in the central region and more outside it.
int32_t AreaOf(int32_t nArea)
{
  ClImage mask;
  Flat(mask, 255);
  Paint(mask, 80, 75, 640, nArea, 240);
  Paint(mask, 0, 0, 80, 5000, 0);     // above and left of the region
  Paint(mask, 0, 75, 80, 5000, 0);    // left of it, in its rows
  Paint(mask, 720, 700, 80, 3000, 7); // right of and below it
  return J::FingerArea(mask);
}

} // namespace

TEST(KX2FrameJudge, AreaLimitsOneApart)
{
  EXPECT_EQ(AreaOf(0), 0) << "samples outside the central region never count";
  EXPECT_EQ(AreaOf(8000), 8000);
  EXPECT_EQ(J::Judge(AreaOf(8000), 0, false), J::eNoFinger);
  EXPECT_EQ(J::Judge(AreaOf(8001), 0, false), J::eStill);
  EXPECT_FALSE(J::HoldsFinger(AreaOf(7999)));
  EXPECT_TRUE(J::HoldsFinger(AreaOf(8000)))
      << "the final image's test is one below the detection's";
  EXPECT_FALSE(J::WantsCapture(AreaOf(32000)));
  EXPECT_TRUE(J::WantsCapture(AreaOf(32001)));
  // The last row of the region is 674, the last column 719.
  ClImage mask;
  Flat(mask, 255);
  Paint(mask, 719, 674, 1, 1, 0);
  Paint(mask, 720, 674, 1, 1, 0);
  Paint(mask, 719, 675, 1, 1, 0);
  EXPECT_EQ(J::FingerArea(mask), 1);
  // 241 and above is background.
  Flat(mask, 241);
  EXPECT_EQ(J::FingerArea(mask), 0);
}

TEST(KX2FrameJudge, MotionLimitCountsAsMoving)
{
  // d samples moved from 55 to 255 differ in the cumulative sums of 200 bins by d each:
  // D = 200 * d * d, which is 800000000 for d = 2000.
  ClImage older, newer;
  Flat(newer, 255);
  Flat(older, 255);
  Paint(older, 0, 0, 800, 2000, 55);
  EXPECT_EQ(J::Motion(older, newer), 800000000u);
  EXPECT_EQ(J::Motion(newer, older), 800000000u) << "the measure is symmetric";
  EXPECT_EQ(J::Judge(20000, J::Motion(older, newer), false), J::eMoving);
  EXPECT_EQ(J::Judge(20000, J::Motion(older, newer), true), J::eStill)
      << "an accepted finger stays accepted however it moves";
  Flat(older, 255);
  Paint(older, 0, 0, 800, 1999, 55);
  EXPECT_EQ(J::Motion(older, newer), 799200200u);
  EXPECT_EQ(J::Judge(20000, J::Motion(older, newer), false), J::eStill);
  EXPECT_EQ(J::Motion(newer, newer), 0u);
}

TEST(KX2FrameJudge, ConditionSampleCountsResidueInTheCentre)
{
  ClKX2FrameJudge judge;
  ClImage frame;
  EXPECT_EQ(judge.ConditionSample(Flat(frame, 20)), 0);
  // Isolated specks 5 above the background stand out; 4 above do not.
  for (int32_t i = 0; i < 50; ++i) {
    frame.Data()[(100 + 10 * i) * frame.LineBytes() + 200] = 25;
    frame.Data()[(100 + 10 * i) * frame.LineBytes() + 300] = 24;
    frame.Data()[(10 + i) * frame.LineBytes() + 10 * (i + 1)] = 90; // above the region
    frame.Data()[(100 + 10 * i) * frame.LineBytes() + 40] = 90;     // left of it
  }
  EXPECT_EQ(judge.ConditionSample(frame), 50);
  EXPECT_EQ(judge.ConditionSample(frame), 50) << "a second frame reuses the scratch";
}

TEST(KX2FrameJudge, ConditionValueSaturatesAt30000)
{
  int32_t a[8] = {30000, 30000, 30000, 30000, 30000, 30000, 30000, 30000};
  EXPECT_EQ(J::ConditionValue(a, 8), 100);
  a[0] = 29999;
  EXPECT_EQ(J::ConditionValue(a, 8), 99);
  int32_t b[8] = {240000, 0, 0, 0, 0, 0, 0, 0};
  EXPECT_EQ(J::ConditionValue(b, 8), 100) << "unfilled entries count as 0";
  b[0] = 2399;
  EXPECT_EQ(J::ConditionValue(b, 8), 0);
  b[0] = 1000000;
  EXPECT_EQ(J::ConditionValue(b, 8), 100);
}
