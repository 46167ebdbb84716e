// ClIpSubtract: its direct loop, its table above 90000 samples and their limits.
#include "imaging/operators/IpSubtract.h"
#include "tests/common/TestImages.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

int32_t RunSubtract(ClIpSubtract& sub, ClImage& a, ClImage& b, ClImage& out)
{
  sub.m_pInImage1 = &a;
  sub.m_pInImage2 = &b;
  sub.m_pOutImage = &out;
  return sub.Run();
}

// What the 65536-entry table holds for bytes pa, pb: ProcessPixels of the values the
// entry stands for, cut to a byte.
uint8_t TableEntry(const ClImage& in1, const ClImage& in2, const ClImage& out, int pa, int pb)
{
  const double a = in1.MinValue() + pa, b = in2.MinValue() + pb;
  double lo = out.MinValue(), hi = out.MaxValue();
  if (hi < lo)
    std::swap(lo, hi);
  double d = std::min(std::max(a - b, lo), hi);
  return uint8_t(int64_t(d));
}

} // namespace

TEST(OperatorSubtract, DirectLoopLimits)
{
  ClImage a, b, out;
  MakeImage<uint8_t>(a, 3, 1, {10, 250, 100});
  MakeImage<uint8_t>(b, 3, 1, {20, 5, 100});
  ClIpSubtract sub;
  ASSERT_EQ(RunSubtract(sub, a, b, out), 0);
  EXPECT_EQ(At<uint8_t>(out, 0, 0), 0);
  EXPECT_EQ(At<uint8_t>(out, 1, 0), 245);

  sub.m_eDataRangeType = UserDependent;
  sub.m_dLowerBound = 16;
  sub.m_dUpperBound = 200;
  ASSERT_EQ(RunSubtract(sub, a, b, out), 0);
  EXPECT_EQ(out.MinValue(), 16);
  EXPECT_EQ(out.MaxValue(), 200);
  EXPECT_EQ(At<uint8_t>(out, 0, 0), 16);
  EXPECT_EQ(At<uint8_t>(out, 1, 0), 200);
  EXPECT_EQ(At<uint8_t>(out, 2, 0), 16);

  // The input-dependent lower limit -255 becomes 1 in a byte: negatives give 1.
  sub.m_eDataRangeType = InputDependent;
  ASSERT_EQ(RunSubtract(sub, a, b, out), 0);
  EXPECT_EQ(At<uint8_t>(out, 0, 0), 1);
  EXPECT_EQ(At<uint8_t>(out, 1, 0), 245);

  // A signed output keeps the rule: a negative difference gives the lower limit.
  sub.m_eOutImageType = eInt16;
  sub.m_eDataRangeType = DataDependent;
  ASSERT_EQ(RunSubtract(sub, a, b, out), 0);
  EXPECT_EQ(At<int16_t>(out, 0, 0), -32768);
  EXPECT_EQ(At<int16_t>(out, 1, 0), 245);
}

TEST(OperatorSubtract, TableAboveNinetyThousandSamples)
{
  ClIpSubtract sub;
  sub.m_eDataRangeType = UserDependent;
  sub.m_dLowerBound = 16;
  sub.m_dUpperBound = 200;
  for (int32_t w : {300, 301}) {
    ClImage a, b, out;
    MakeRandom<uint8_t>(a, w, 300, 1);
    MakeRandom<uint8_t>(b, w, 300, 2);
    ASSERT_EQ(RunSubtract(sub, a, b, out), 0);
    const bool bTable = w == 301;
    EXPECT_EQ(out.MinValue(), bTable ? 0 : 16) << w;
    for (int32_t y = 0; y < 300; ++y)
      for (int32_t x = 0; x < w; ++x) {
        const int d = At<uint8_t>(a, x, y) - At<uint8_t>(b, x, y);
        const int expected = bTable ? std::max(d, 0) : std::min(std::max(d, 16), 200);
        ASSERT_EQ(At<uint8_t>(out, x, y), expected) << w << " at " << x << "," << y;
      }
  }
}

TEST(OperatorSubtract, TableFollowsTheInputRanges)
{
  ClIpSubtract sub;
  ClImage a, b, out;
  // Signed bytes index the table by their bit pattern, built from the range's start.
  MakeRandom<int8_t>(a, 310, 300, 3);
  MakeRandom<uint8_t>(b, 310, 300, 4);
  ASSERT_EQ(RunSubtract(sub, a, b, out), 0);
  for (int32_t y = 0; y < 300; y += 3)
    for (int32_t x = 0; x < 310; ++x)
      ASSERT_EQ(uint8_t(At<int8_t>(out, x, y)),
                TableEntry(a, b, out, uint8_t(At<int8_t>(a, x, y)), At<uint8_t>(b, x, y)));
  // A range that is not 256 values wide leaves entries at 0.
  MakeRandom<uint8_t>(a, 310, 300, 5);
  a.SetMinValue(10);
  a.SetMaxValue(100);
  ASSERT_EQ(RunSubtract(sub, a, b, out), 0);
  for (int32_t y = 0; y < 300; y += 3)
    for (int32_t x = 0; x < 310; ++x) {
      const int pa = At<uint8_t>(a, x, y), pb = At<uint8_t>(b, x, y);
      ASSERT_EQ(At<uint8_t>(out, x, y), pa <= 90 ? TableEntry(a, b, out, pa, pb) : 0);
    }
}

TEST(OperatorSubtract, OnePlaneFromThree)
{
  ClImage a, b, out;
  MakeRandom<uint8_t>(a, 5, 4, 1, 0, 255, 3);
  MakeRandom<uint8_t>(b, 5, 4, 2);
  ClIpSubtract sub;
  ASSERT_EQ(RunSubtract(sub, a, b, out), 0);
  ASSERT_EQ(out.Planes(), 3u);
  for (int32_t y = 0; y < 4; ++y)
    for (int32_t x = 0; x < 5; ++x)
      for (uint32_t p = 0; p < 3; ++p)
        ASSERT_EQ(At<uint8_t>(out, x, y, p),
                  std::max(0, At<uint8_t>(a, x, y, p) - At<uint8_t>(b, x, y)));
}
