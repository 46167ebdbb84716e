// ClIpOffset, ClIpScale, ClIpInvert, ClIpBinarizeGlobal and the lookup table base.
#include "imaging/histogram/IpStretchRangeGlobal.h"
#include "imaging/operators/IpBinarizeGlobal.h"
#include "imaging/operators/IpInvert.h"
#include "imaging/operators/IpOffset.h"
#include "imaging/operators/IpScale.h"
#include "tests/common/TestFailure.h"
#include "tests/common/TestImages.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

template <class P>
int32_t RunOn(P& ip, ClImage& in, ClImage& out)
{
  Wire(ip, in, out);
  return ip.Run();
}

// Offset or scale on every integer type: the result wraps in the sample's width first,
// and only the limit on the side of the sign applies.
template <class T>
void CheckWrapBeforeLimit()
{
  using L = std::numeric_limits<T>;
  ClImage in, out;
  MakeImage<T>(in, 4, 1, {double(L::max()) - 2, double(L::min()) + 2, 10, 0});
  ClIpOffset offset;
  offset.m_dOffset = 5.9; // truncates to 5
  ASSERT_EQ(RunOn(offset, in, out), 0);
  EXPECT_EQ(At<T>(out, 0, 0), T(L::min() + 2)) << "wrapped and kept";
  EXPECT_EQ(At<T>(out, 1, 0), T(L::min() + 7));
  EXPECT_EQ(At<T>(out, 2, 0), T(15));
  offset.m_dOffset = -5.9;
  ASSERT_EQ(RunOn(offset, in, out), 0);
  EXPECT_EQ(At<T>(out, 1, 0), T(L::max() - 2)) << "wrapped below and kept";
  EXPECT_EQ(At<T>(out, 2, 0), T(5));
  // A range narrower than the type limits the side of the sign only.
  in.SetMaxValue(12);
  in.SetMinValue(8);
  offset.m_dOffset = 5;
  ASSERT_EQ(RunOn(offset, in, out), 0);
  EXPECT_EQ(At<T>(out, 2, 0), T(12));
  EXPECT_EQ(At<T>(out, 3, 0), T(5));
  offset.m_dOffset = -5;
  ASSERT_EQ(RunOn(offset, in, out), 0);
  EXPECT_EQ(At<T>(out, 2, 0), T(8));

  MakeImage<T>(in, 3, 1, {double(L::max()), 3, double(L::min())});
  ClIpScale scale;
  scale.m_dScaleFactor = 2;
  ASSERT_EQ(RunOn(scale, in, out), 0);
  EXPECT_EQ(At<T>(out, 0, 0), T(uint64_t(L::max()) * 2)) << "converted with a wrap, then kept";
  EXPECT_EQ(At<T>(out, 1, 0), T(6));
  scale.m_dScaleFactor = -1;
  if (L::is_signed) {
    in.SetMinValue(-2);
    ASSERT_EQ(RunOn(scale, in, out), 0);
    EXPECT_EQ(At<T>(out, 1, 0), T(-2)) << "limited below by the range";
    EXPECT_EQ(At<T>(out, 2, 0), T(-2)) << "-min wraps to min, then the limit applies";
  } else {
    ASSERT_EQ(RunOn(scale, in, out), 0);
    EXPECT_EQ(At<T>(out, 1, 0), T(0 - 3)) << "a negative product wraps and is not below 0";
  }
}

} // namespace

TEST(OperatorOffset, WorkedExamples)
{
  ClImage in, out;
  MakeImage<uint8_t>(in, 3, 1, {250, 0, 100});
  ClIpOffset offset;
  offset.m_dOffset = 10;
  ASSERT_EQ(RunOn(offset, in, out), 0);
  EXPECT_EQ(At<uint8_t>(out, 0, 0), 255);
  EXPECT_EQ(At<uint8_t>(out, 2, 0), 110);
  offset.m_dOffset = -10;
  ASSERT_EQ(RunOn(offset, in, out), 0);
  EXPECT_EQ(At<uint8_t>(out, 1, 0), 0);

  MakeImage<int8_t>(in, 1, 1, {120});
  offset.m_dOffset = 10;
  ASSERT_EQ(RunOn(offset, in, out), 0);
  EXPECT_EQ(At<int8_t>(out, 0, 0), -126);

  // 0.4 truncates to 0 on "uint16": a copy, whatever the range says.
  MakeImage<uint16_t>(in, 2, 1, {40000, 7});
  in.SetMaxValue(100);
  offset.m_dOffset = 0.4;
  ASSERT_EQ(RunOn(offset, in, out), 0);
  EXPECT_EQ(At<uint16_t>(out, 0, 0), 40000);

  MakeImage<float>(in, 2, 1, {0.5, -0.75});
  offset.m_dOffset = 0.75;
  ASSERT_EQ(RunOn(offset, in, out), 0);
  EXPECT_EQ(At<float>(out, 0, 0), 1.0f);
  EXPECT_EQ(At<float>(out, 1, 0), 0.0f);
  char sz[64];
  offset.GetInfoString(sz, sizeof(sz));
  EXPECT_STREQ(sz, "Offset = 0.7500");
}

TEST(OperatorOffset, WrapBeforeLimitOnEveryIntegerType)
{
  CheckWrapBeforeLimit<int8_t>();
  CheckWrapBeforeLimit<uint16_t>();
  CheckWrapBeforeLimit<int16_t>();
  CheckWrapBeforeLimit<uint32_t>();
  CheckWrapBeforeLimit<int32_t>();
}

TEST(OperatorScale, WorkedExamples)
{
  ClImage in, out;
  ClIpScale scale;
  MakeImage<uint16_t>(in, 2, 1, {40000, 3});
  scale.m_dScaleFactor = 2;
  ASSERT_EQ(RunOn(scale, in, out), 0);
  EXPECT_EQ(At<uint16_t>(out, 0, 0), 14464);
  EXPECT_EQ(At<uint16_t>(out, 1, 0), 6);
  scale.m_dScaleFactor = 0;
  for (EDataType e : {eUInt8, eInt8, eUInt16, eInt32, eFloat32, eDouble64}) {
    in.Create(e, 5, 3);
    in.Fill(static_cast<uint8_t>(0));
    in.Pixels<uint8_t>()[0] = 7;
    ASSERT_EQ(RunOn(scale, in, out), 0);
    for (int32_t y = 0; y < 3; ++y)
      for (uint32_t i = 0; i < 5 * out.SampleSize(); ++i)
        ASSERT_EQ(out.Data()[y * out.LineBytes() + i], 0) << DataTypeName(e);
  }
  MakeImage<uint8_t>(in, 3, 1, {100, 200, 3});
  scale.m_dScaleFactor = 1.5;
  ASSERT_EQ(RunOn(scale, in, out), 0);
  EXPECT_EQ(At<uint8_t>(out, 0, 0), 150);
  EXPECT_EQ(At<uint8_t>(out, 1, 0), 255);
  EXPECT_EQ(At<uint8_t>(out, 2, 0), 4);
}

TEST(OperatorInvert, MirrorsWithinTheRanges)
{
  ClImage in, out;
  ClIpInvert invert;
  MakeImage<float>(in, 2, 1, {0.25, -1});
  ASSERT_EQ(RunOn(invert, in, out), 0);
  EXPECT_EQ(At<float>(out, 0, 0), -0.25f);
  EXPECT_EQ(At<float>(out, 1, 0), 1.0f);
  MakeRandom<uint8_t>(in, 13, 7, 3);
  ASSERT_EQ(RunOn(invert, in, in), 0); // in place
  ClImage orig;
  MakeRandom<uint8_t>(orig, 13, 7, 3);
  for (int32_t y = 0; y < 7; ++y)
    for (int32_t x = 0; x < 13; ++x)
      ASSERT_EQ(At<uint8_t>(in, x, y), 255 - At<uint8_t>(orig, x, y));
}

TEST(OperatorBinarize, ThresholdsAndRefusals)
{
  ClImage in, out;
  ClIpBinarizeGlobal bin;
  MakeImage<uint8_t>(in, 4, 1, {127, 128, 0, 255});
  ASSERT_EQ(RunOn(bin, in, out), 0);
  EXPECT_EQ(bin.m_dUsedThreshold, 127.5);
  EXPECT_EQ(At<uint8_t>(out, 0, 0), 0);
  EXPECT_EQ(At<uint8_t>(out, 1, 0), 255);
  bin.m_dThreshold = 300;
  EXPECT_EQ(RunOn(bin, in, out), -35);
  EXPECT_FALSE(bin.IsThresholdValid());
  bin.m_dThreshold = std::numeric_limits<double>::quiet_NaN();
  bin.m_dWhite = -3;
  EXPECT_EQ(RunOn(bin, in, out), -35);
  bin.m_dWhite = 200;
  bin.m_dBlack = 20;
  bin.m_dThreshold = 2;
  ASSERT_EQ(RunOn(bin, in, out), 0);
  EXPECT_EQ(At<uint8_t>(out, 2, 0), 20);
  EXPECT_EQ(At<uint8_t>(out, 0, 0), 200);

  // 10.5 on "int16" rounds up to 11: 10 is black, 11 white.
  ClIpBinarizeGlobal b16;
  MakeImage<int16_t>(in, 3, 1, {10, 11, -5});
  b16.m_dThreshold = 10.5;
  ASSERT_EQ(RunOn(b16, in, out), 0);
  EXPECT_EQ(At<int16_t>(out, 0, 0), -32768);
  EXPECT_EQ(At<int16_t>(out, 1, 0), 32767);
  EXPECT_EQ(At<int16_t>(out, 2, 0), -32768);
  ClIpBinarizeGlobal bf;
  MakeImage<double>(in, 2, 1, {-0.01, 0});
  ASSERT_EQ(RunOn(bf, in, out), 0);
  EXPECT_EQ(At<double>(out, 0, 0), -1.0);
  EXPECT_EQ(At<double>(out, 1, 0), 1.0);
}

TEST(OperatorLookUp, StretchesEveryPlaneWithOneTable)
{
  ClImage in, out, plane;
  MakeRandom<uint8_t>(in, 16, 9, 4, 60, 120, 3);
  ClIpStretchRangeGlobal stretch;
  ASSERT_EQ(RunOn(stretch, in, out), 0);
  ASSERT_EQ(out.Planes(), 3u);
  EXPECT_EQ(out.Content(), eRGB);
  EXPECT_EQ(stretch.m_nUsedFrom, 60);
  EXPECT_EQ(stretch.m_nUsedTo, 120);
  for (int32_t y = 0; y < 9; ++y)
    for (int32_t x = 0; x < 16; ++x)
      for (uint32_t p = 0; p < 3; ++p)
        ASSERT_EQ(At<uint8_t>(out, x, y, p), stretch.m_aTable[At<uint8_t>(in, x, y, p)]);
  EXPECT_EQ(stretch.m_pOutImage, &out);
  // Without an output the input is mapped in place.
  stretch.m_pOutImage = nullptr;
  ASSERT_EQ(stretch.Run(), 0);
  EXPECT_EQ(FirstDifference<uint8_t>(in, out), -1);
  stretch.m_pInImage = nullptr;
  EXPECT_CL_THROW(stretch.Run(), -37, nullptr);
}
