// Subsample, resize, cuts, flip and the plane tools.
#include "imaging/geometry/IpCut.h"
#include "imaging/geometry/IpJoinPlanes.h"
#include "imaging/geometry/IpResize.h"
#include "imaging/geometry/IpSplitPlanes.h"
#include "imaging/geometry/IpSubsample.h"
#include "imaging/geometry/TpIpCut.h"
#include "imaging/geometry/TpIpFlip.h"
#include "tests/common/TestFailure.h"
#include "tests/common/TestImages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

using GeoTest::At;

namespace {

// Sets the rectangle of a cut and gives the code of call on it (0 when it succeeds).
template <class TCut, class TCall>
int32_t CutCode(TCut& cut, TCall call, int32_t x0, int32_t y0, int32_t w, int32_t h)
{
  cut.m_nX0 = x0;
  cut.m_nY0 = y0;
  cut.m_nDestWidth = w;
  cut.m_nDestHeight = h;
  return CodeOf([&] { std::invoke(call, cut); });
}

} // namespace

TEST(GeometrySubsample, MeanBlocksTakeWhatTheyHaveInSixteenBitSums)
{
  ClImage in, out;
  GeoTest::Make(in, 5, 1, [](int32_t x, int32_t) { return uint8_t(10 * x + 1); });
  ClIpSubsample sub;
  ASSERT_EQ(0, sub.Subsample(&in, 2, &out, true));
  ASSERT_EQ(3, out.Width());
  // (1 + 11) / 2, (21 + 31) / 2, and 41 alone.
  EXPECT_EQ(6, At(out, 0, 0));
  EXPECT_EQ(26, At(out, 1, 0));
  EXPECT_EQ(41, At(out, 2, 0));
  EXPECT_EQ(0, sub.m_nSubX);
  in.Create(eUInt16, 2, 1, 1, 0, 0);
  in.Pixels<uint16_t>()[0] = in.Pixels<uint16_t>()[1] = 40000;
  ASSERT_EQ(0, sub.Subsample(&in, 2, &out, true));
  EXPECT_EQ((80000 - 65536) / 2, out.Pixels<uint16_t>()[0]);
}

// Each pair of rates (constant divisors or not) against block means worked out directly:
// row means first, truncated, then their mean down the block; the last blocks are short.
TEST(GeometrySubsample, MeansOfAnyRatesMatchTheBlocks)
{
  ClImage in, out;
  GeoTest::MakeRandom(in, 37, 23, 7);
  for (const auto& r : {std::pair<int32_t, int32_t>{2, 2}, {4, 4}, {3, 5}, {1, 4}}) {
    ClIpSubsample sub;
    sub.m_pInImage = &in;
    sub.m_pOutImage = &out;
    sub.m_nRate = 0;
    sub.m_nSubX = r.first;
    sub.m_nSubY = r.second;
    sub.m_bMid = true;
    ASSERT_EQ(0, sub.Run());
    for (int32_t y = 0; y < out.Height(); ++y)
      for (int32_t x = 0; x < out.Width(); ++x) {
        const int32_t nRows = std::min(r.second, 23 - r.second * y);
        const int32_t nCols = std::min(r.first, 37 - r.first * x);
        int nSum = 0;
        for (int32_t j = 0; j < nRows; ++j) {
          int nRow = 0;
          for (int32_t i = 0; i < nCols; ++i)
            nRow += At(in, r.first * x + i, r.second * y + j);
          nSum += nRow / nCols;
        }
        ASSERT_EQ(nSum / nRows, At(out, x, y))
            << r.first << "x" << r.second << " " << x << "," << y;
      }
  }
}

TEST(GeometrySubsample, ByFourMatchesBlockMeansAndSkipping)
{
  ClImage in, out;
  GeoTest::MakeRandom(in, 800, 750, 31);
  ClIpSubsample sub;
  ASSERT_EQ(0, sub.Subsample(&in, 4, &out, true));
  ASSERT_EQ(200, out.Width());
  ASSERT_EQ(188, out.Height());
  EXPECT_EQ(4921, out.PelsX());
  for (int32_t y = 0; y < 188; ++y)
    for (int32_t x = 0; x < 200; ++x) {
      // Row means first, truncated, then their mean down the block (two rows at the end).
      const int32_t nRows = std::min(4, 750 - 4 * y);
      int nSum = 0;
      for (int32_t j = 0; j < nRows; ++j)
        nSum += (At(in, 4 * x, 4 * y + j) + At(in, 4 * x + 1, 4 * y + j) +
                 At(in, 4 * x + 2, 4 * y + j) + At(in, 4 * x + 3, 4 * y + j)) /
                4;
      ASSERT_EQ(nSum / nRows, At(out, x, y)) << x << "," << y;
    }
  ASSERT_EQ(0, sub.Subsample(&in, 4, &out, false));
  for (int32_t y = 0; y < 188; ++y)
    for (int32_t x = 0; x < 200; ++x)
      ASSERT_EQ(At(in, 4 * x, 4 * y), At(out, x, y));
}

TEST(GeometrySubsample, BadSettingsInTheirOrder)
{
  ClImage in, out, wide;
  GeoTest::MakeRandom(in, 8, 8, 1);
  wide.Create(eInt32, 8, 8, 1, 0, 0);
  ClIpSubsample sub;
  Wire(sub, wide, out);
  sub.m_nRate = 0;
  EXPECT_EQ(-44, CodeOf([&] { sub.Run(); }));
  sub.m_nRate = 2;
  EXPECT_EQ(-103, CodeOf([&] { sub.Run(); }));
  sub.m_pInImage = nullptr;
  EXPECT_EQ(-701, CodeOf([&] { sub.Run(); }));
  sub.m_pInImage = &in;
  sub.m_pOutImage = nullptr;
  EXPECT_EQ(-701, CodeOf([&] { sub.Run(); }));
  EXPECT_EQ(nullptr, out.Data());
}

TEST(GeometryResize, ByFourBackToTheFrameSize)
{
  ClImage in, out;
  GeoTest::MakeRandom(in, 200, 188, 32, 4921);
  ClIpResize resize;
  Wire(resize, in, out);
  resize.m_nScaleFactor = 4;
  resize.m_nDestWidth = 800;
  resize.m_nDestHeight = 750;
  ASSERT_EQ(0, resize.Run());
  ASSERT_EQ(800, out.Width());
  ASSERT_EQ(750, out.Height());
  EXPECT_EQ(19684, out.PelsX());
  for (int32_t y = 0; y < 750; ++y)
    for (int32_t x = 0; x < 800; ++x)
      ASSERT_EQ(At(in, x / 4, y / 4), At(out, x, y)) << x << "," << y;

  // 10 columns hold two whole blocks of 4; the last two repeat the last value written.
  // Rows below the eight covered are 0. Without a size: the input's times the factor.
  GeoTest::Make(in, 3, 2, [](int32_t x, int32_t y) { return uint8_t(1 + x + 3 * y); });
  resize.m_nDestWidth = resize.m_nDestHeight = 10;
  ASSERT_EQ(0, resize.Run());
  const uint8_t aRow0[10] = {1, 1, 1, 1, 2, 2, 2, 2, 2, 2};
  for (int32_t x = 0; x < 10; ++x) {
    EXPECT_EQ(aRow0[x], At(out, x, 0));
    EXPECT_EQ(aRow0[x] + 3, At(out, x, 7));
    EXPECT_EQ(0, At(out, x, 8));
  }
  resize.m_nDestWidth = resize.m_nDestHeight = 0;
  ASSERT_EQ(0, resize.Run());
  EXPECT_EQ(12, out.Width());
  EXPECT_EQ(3, At(out, 11, 0));
}

TEST(GeometryCut, TestsInOrderThenAnyTypeInPlace)
{
  ClImage in, out;
  GeoTest::MakeRandom(in, 10, 8, 3);
  ClIpCut cut;
  Wire(cut, in, out);
  auto fails = [&](int32_t x0, int32_t y0, int32_t w, int32_t h) {
    return CutCode(cut, &ClIpCut::Run, x0, y0, w, h);
  };
  EXPECT_EQ(-35, fails(-1, 0, 1, 1));
  EXPECT_EQ(-35, fails(0, -1, 1, 1));
  EXPECT_EQ(-35, fails(10, 0, 0, 0));
  EXPECT_EQ(-35, fails(0, 8, 0, 0));
  EXPECT_EQ(-35, fails(0, 0, 0, 0));
  EXPECT_EQ(-35, fails(0, 0, 1, 0));
  EXPECT_EQ(-35, fails(5, 0, 6, 1));
  EXPECT_EQ(-35, fails(0, 5, 1, 4));
  EXPECT_EQ(nullptr, out.Data());

  ClImage rgb, ref;
  rgb.Create(eUInt16, 9, 7, 3, 500, 600);
  for (int32_t y = 0; y < 7; ++y)
    for (int32_t i = 0; i < 27; ++i)
      rgb.Pixels<uint16_t>()[y * rgb.LineElements() + i] = static_cast<uint16_t>(1000 * y + i);
  ref.Copy(rgb);
  cut.m_pInImage = cut.m_pOutImage = &rgb;
  EXPECT_EQ(0, fails(2, 3, 7, 4));
  ASSERT_EQ(7, rgb.Width());
  ASSERT_EQ(3u, rgb.Planes());
  EXPECT_EQ(600, rgb.PelsY());
  for (int32_t y = 0; y < 4; ++y)
    for (int32_t i = 0; i < 21; ++i)
      ASSERT_EQ(ref.Pixels<uint16_t>()[(y + 3) * ref.LineElements() + 6 + i],
                rgb.Pixels<uint16_t>()[y * rgb.LineElements() + i]);
}

TEST(GeometryTpCut, FrameTestsThenRectangleTests)
{
  ClImage in, out;
  GeoTest::MakeRandom(in, 10, 8, 4);
  in.SetImageTag(77);
  ClTpIpCut<uint8_t, uint8_t> cut;
  EXPECT_EQ(-44, CodeOf([&] { cut.Process(); }));
  Wire(cut, in, out);
  auto fails = [&](int32_t x0, int32_t y0, int32_t w, int32_t h) {
    return CutCode(cut, &ClTpIpCut<uint8_t, uint8_t>::Process, x0, y0, w, h);
  };
  EXPECT_EQ(-35, fails(10, 0, 0, 0));
  EXPECT_EQ(-35, fails(0, 8, 0, 0));
  EXPECT_EQ(-35, fails(0, 0, 0, 0));
  EXPECT_EQ(-35, fails(0, 0, 1, 0));
  EXPECT_EQ(-44, fails(5, 0, 6, 1));
  EXPECT_EQ(-44, fails(0, 5, 1, 4));
  EXPECT_EQ(nullptr, out.Data());
  // A negative origin is not tested.
  EXPECT_EQ(0, fails(-1, 0, 2, 2));
  EXPECT_EQ(0, fails(3, 2, 5, 6));
  EXPECT_EQ(77u, out.ImageTag());
  for (int32_t y = 0; y < 6; ++y)
    for (int32_t x = 0; x < 5; ++x)
      ASSERT_EQ(At(in, x + 3, y + 2), At(out, x, y));
}

TEST(GeometryFlip, MirrorsRotatesCopiesAndWorksInPlace)
{
  ClImage in, out, ref;
  GeoTest::MakeRandom(in, 13, 7, 5);
  ClTpIpFlip<uint8_t, uint8_t> flip;
  Wire(flip, in, out);
  for (int nFlags = 0; nFlags < 4; ++nFlags) {
    flip.m_bFlipX = (nFlags & 1) != 0;
    flip.m_bFlipY = (nFlags & 2) != 0;
    ASSERT_EQ(0, flip.Process());
    for (int32_t y = 0; y < 7; ++y)
      for (int32_t x = 0; x < 13; ++x)
        ASSERT_EQ(At(in, flip.m_bFlipX ? 12 - x : x, flip.m_bFlipY ? 6 - y : y), At(out, x, y))
            << nFlags;
  }
  // The capture path's vertical flip, in place, twice: the image comes back.
  ref.Copy(in);
  flip.m_pOutImage = &in;
  flip.m_bFlipX = false;
  ASSERT_EQ(0, flip.Process());
  EXPECT_EQ(At(ref, 4, 0), At(in, 4, 6));
  ASSERT_EQ(0, flip.Process());
  EXPECT_EQ(-1, GeoTest::FirstDifference(ref, in));
}

TEST(GeometryPlanes, SplitJoinFillAndRefusals)
{
  ClImage rgb, planes[3], joined;
  rgb.Create(eInt16, 5, 4, 3, 100, 200);
  for (int32_t y = 0; y < 4; ++y)
    for (int32_t i = 0; i < 15; ++i)
      rgb.Pixels<int16_t>()[y * rgb.LineElements() + i] = static_cast<int16_t>(-100 * y + i);
  ClIpSplitPlanes split;
  ASSERT_EQ(0, split.Split(&rgb, &planes[0], &planes[1], &planes[2]));
  ASSERT_EQ(1u, planes[2].Planes());
  EXPECT_EQ(200, planes[2].PelsY());
  ClIpJoinPlanes join;
  join.m_eOutContent = eRGB;
  ASSERT_EQ(0, join.Join(&joined, &planes[0], &planes[1], &planes[2]));
  ASSERT_EQ(3u, joined.Planes());
  for (int32_t y = 0; y < 4; ++y)
    for (int32_t i = 0; i < 15; ++i)
      ASSERT_EQ(rgb.Pixels<int16_t>()[y * rgb.LineElements() + i],
                joined.Pixels<int16_t>()[y * joined.LineElements() + i]);

  // An empty plane takes the fill, NaN by default, whose conversion to a byte is 0.
  ClImage a, b, out;
  GeoTest::Make(a, 3, 2, [](int32_t x, int32_t) { return uint8_t(x + 1); });
  GeoTest::Make(b, 3, 2, [](int32_t, int32_t y) { return uint8_t(y + 7); });
  ASSERT_EQ(0, join.Join(&out, &a, nullptr, &b));
  const uint8_t* p = out.Data() + out.LineBytes() + 3 * 2;
  EXPECT_EQ(3, p[0]);
  EXPECT_EQ(0, p[1]);
  EXPECT_EQ(8, p[2]);
  join.m_adInFillcolors[1] = 42.9;
  ASSERT_EQ(0, join.Join(&out, &a, nullptr, &b));
  EXPECT_EQ(42, out.Data()[1]);

  ClImage untouched, five;
  for (EContent eContent : {eXYZ, eCIELab}) {
    join.m_eOutContent = eContent;
    EXPECT_EQ(-35, join.Join(&untouched, &a, &b, &a));
  }
  join.m_eOutContent = eRGBA;
  EXPECT_EQ(0, join.Join(&untouched, nullptr, nullptr, nullptr, nullptr));
  EXPECT_EQ(nullptr, untouched.Data());
  five.Create(eUInt8, 2, 2, 5);
  EXPECT_EQ(-35, CodeOf([&] { split.Split(&five, &planes[0]); }));
}
