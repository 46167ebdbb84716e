// ClIpConnectedComponent2: measures against moments computed directly from the pixels.
#include "imaging/regions/IpConnectedComponent2.h"
#include "tests/common/TestFailure.h"
#include "tests/common/TestImages.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <string>
#include <vector>

using GeoTest::At;
using Array = ClIpConnectedComponent2::ComponentsArray_t;

TEST(ComponentRandom, MeasuresAgreeWithDirectMoments)
{
  ClImage in, grey, labels;
  GeoTest::MakeBinary(in, 97, 61, 0.55, 5);
  GeoTest::MakeRandom(grey, 97, 61, 6);
  Array a;
  ClIpConnectedComponent2 cc;
  cc.m_pInImage = &in;
  cc.m_pInImageGrey = &grey;
  cc.m_pOutImage = &labels;
  cc.m_pComponents = &a;
  ASSERT_TRUE(cc.IsReady());
  ASSERT_EQ(0, cc.Run());
  // Pixels of each label in row order, from the label image handed out.
  std::map<int32_t, std::vector<std::pair<int32_t, int32_t>>> objects;
  for (int32_t y = 0; y < 61; ++y)
    for (int32_t x = 0; x < 97; ++x)
      if (const int32_t n = labels.Pixels<int32_t>()[y * labels.LineElements() + x])
        objects[n].emplace_back(x, y);
  ASSERT_EQ(objects.size(), a.Size());
  ASSERT_GT(objects.size(), 20u);
  for (const auto& [nId, pixels] : objects) {
    const auto& c = a[nId - 1];
    EXPECT_EQ(nId, c.m_nId);
    const double n = static_cast<double>(pixels.size());
    ASSERT_EQ(n, c.m_dSize);
    double sx = 0, sy = 0, dGrey = 0;
    ClVector lo(1e9, 1e9), hi(-1, -1);
    for (auto [x, y] : pixels) {
      sx += x;
      sy += y;
      dGrey += At(grey, x, y);
      lo = ClVector(std::min<double>(lo.m_dX, x), std::min<double>(lo.m_dY, y));
      hi = ClVector(std::max<double>(hi.m_dX, x), std::max<double>(hi.m_dY, y));
    }
    double xx = 0, yy = 0, xy = 0;
    for (auto [x, y] : pixels) {
      xx += (x - sx / n) * (x - sx / n);
      yy += (y - sy / n) * (y - sy / n);
      xy += (x - sx / n) * (y - sy / n);
    }
    EXPECT_EQ(ClVector(sx / n, sy / n), c.m_oCenter);
    EXPECT_EQ(lo, c.m_oMin);
    EXPECT_EQ(hi, c.m_oMax);
    EXPECT_EQ(ClVector(pixels[0].first, pixels[0].second), c.m_oFirst);
    EXPECT_NEAR(xx, c.m_dMomentXX, 1e-9);
    EXPECT_NEAR(yy, c.m_dMomentYY, 1e-9);
    EXPECT_NEAR(xy, c.m_dMomentXY, 1e-9);
    const double dEcc =
        n > 1 ? (4 * xy * xy + (xx - yy) * (xx - yy)) / ((xx + yy) * (xx + yy)) : 0.0;
    EXPECT_NEAR(dEcc, c.m_dEccentricity, 1e-12);
    EXPECT_NEAR(dGrey / n, c.m_dMeanGrey, 1e-9);
  }
}

TEST(ComponentShapes, PixelLinesStaircaseAndDisc)
{
  // A vertical line, a pixel, a horizontal line and a staircase falling to the right,
  // numbered as a row scan meets them; y grows downwards.
  ClImage in;
  GeoTest::Make(in, 40, 30, [](int32_t x, int32_t y) {
    const bool b = (x == 2 && y == 3) || (y == 6 && x >= 5 && x < 15) ||
                   (x == 20 && y >= 2 && y < 12) ||
                   ((x == y + 10 || x == y + 11) && y >= 15 && y < 25);
    return uint8_t(b ? 0 : 255);
  });
  Array a;
  ClIpConnectedComponent2 cc;
  cc.m_pInImage = &in;
  cc.m_pComponents = &a;
  ASSERT_EQ(0, cc.Run());
  ASSERT_EQ(4u, a.Size());
  EXPECT_EQ(1.0, a[0].m_dEccentricity);
  EXPECT_DOUBLE_EQ(1.5707963267948966, a[0].m_dOrientation);
  EXPECT_EQ(1.0, a[1].m_dSize);
  EXPECT_EQ(0.0, a[1].m_dEccentricity);
  EXPECT_EQ(ClVector(2, 3), a[1].m_oCenter);
  EXPECT_EQ(ClVector(2, 3), a[1].m_oFirst);
  EXPECT_EQ(0.0, a[2].m_dMomentYY);
  EXPECT_EQ(0.0, a[2].m_dMomentXY);
  EXPECT_EQ(1.0, a[2].m_dEccentricity);
  EXPECT_EQ(0.0, a[2].m_dOrientation);
  EXPECT_NEAR(0.7853981633974483, a[3].m_dOrientation, 0.01);
  EXPECT_NEAR(0.97, a[3].m_dEccentricity, 0.01);

  GeoTest::Make(in, 41, 41, [](int32_t x, int32_t y) {
    return uint8_t((x - 20) * (x - 20) + (y - 20) * (y - 20) <= 225 ? 0 : 255);
  });
  Array disc;
  cc.m_pComponents = &disc;
  ASSERT_EQ(0, cc.Run());
  ASSERT_EQ(1u, disc.Size());
  EXPECT_LT(disc[0].m_dEccentricity, 1e-3);
  EXPECT_EQ(ClVector(20, 20), disc[0].m_oCenter);
}

TEST(Component, BadSettingsBeforeLabelling)
{
  ClImage in, grey, labels;
  GeoTest::MakeBinary(in, 10, 10, 0.5, 1);
  GeoTest::MakeRandom(grey, 10, 11, 2);
  Array a;
  ClIpConnectedComponent2 cc;
  auto failure = [&] { return CodeOf([&] { cc.Run(); }); };
  EXPECT_EQ(-37, failure());
  cc.m_pInImage = &in;
  EXPECT_EQ(-37, failure());
  cc.m_pComponents = &a;
  cc.m_pInImageGrey = &grey;
  cc.m_pOutImage = &labels;
  EXPECT_FALSE(cc.IsReady());
  EXPECT_EQ(-44, failure());
  EXPECT_EQ(nullptr, labels.Data());
}

TEST(Component, ReusedArrayCarriesMomentsAndFirstPixel)
{
  ClImage in;
  GeoTest::Make(in, 10, 10,
                [](int32_t x, int32_t y) { return uint8_t(x >= 5 && x < 8 && y == 5 ? 0 : 255); });
  Array a;
  ClIpConnectedComponent2 cc;
  cc.m_pInImage = &in;
  cc.m_pComponents = &a;
  ASSERT_EQ(0, cc.Run());
  EXPECT_EQ(2.0, a[0].m_dMomentXX);
  // The same shape elsewhere: centre, size and box are new, the rest carries over.
  GeoTest::Make(in, 10, 10,
                [](int32_t x, int32_t y) { return uint8_t(x >= 1 && x < 4 && y == 2 ? 0 : 255); });
  ASSERT_EQ(0, cc.Run());
  EXPECT_EQ(ClVector(2, 2), a[0].m_oCenter);
  EXPECT_EQ(ClVector(1, 2), a[0].m_oMin);
  EXPECT_EQ(3.0, a[0].m_dSize);
  EXPECT_EQ(4.0, a[0].m_dMomentXX);
  EXPECT_EQ(ClVector(5, 5), a[0].m_oFirst);
}
