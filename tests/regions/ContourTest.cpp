// ClIpFindContour on rectangles, rings, single pixels and objects at the image border.
#include "imaging/regions/IpFindContour.h"
#include "tests/common/TestFailure.h"
#include "tests/common/TestImages.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

using Points = std::vector<std::pair<int32_t, int32_t>>;
using PointSet = std::set<std::pair<int32_t, int32_t>>;

namespace {

// The contours' points, checking that the indices count up from 0.
std::vector<Points> Contours(const ClImage& in)
{
  ClIpFindContour::ContoursArray_t a;
  ClIpFindContour fc;
  fc.m_pInImage = const_cast<ClImage*>(&in);
  fc.m_pContours = &a;
  EXPECT_EQ(0, fc.Run());
  std::vector<Points> contours;
  for (uint32_t i = 0; i < a.Size(); ++i) {
    EXPECT_EQ(static_cast<int32_t>(i), a[i].m_nId);
    contours.emplace_back();
    for (size_t k = 0; k < a[i].m_aPoints.size(); ++k) {
      EXPECT_EQ(static_cast<int32_t>(k), a[i].m_aPoints[k].m_nIndex);
      contours.back().emplace_back(static_cast<int32_t>(a[i].m_aPoints[k].m_dX),
                                   static_cast<int32_t>(a[i].m_aPoints[k].m_dY));
    }
  }
  return contours;
}

// Border of a w by h rectangle at (x0, y0), clockwise from its top-left pixel.
Points Border(int32_t x0, int32_t y0, int32_t w, int32_t h)
{
  Points points;
  for (int32_t x = 0; x < w; ++x)
    points.emplace_back(x0 + x, y0);
  for (int32_t y = 1; y < h; ++y)
    points.emplace_back(x0 + w - 1, y0 + y);
  for (int32_t x = w - 2; x >= 0; --x)
    points.emplace_back(x0 + x, y0 + h - 1);
  for (int32_t y = h - 2; y > 0; --y)
    points.emplace_back(x0, y0 + y);
  return points;
}

void MakeObjects(ClImage& in, int32_t nW, int32_t nH, const PointSet& objects)
{
  GeoTest::Make(in, nW, nH, [&](int32_t x, int32_t y) {
    return uint8_t(objects.count({x, y}) ? 0 : 255);
  });
}

void MakeRect(ClImage& in, int32_t nW, int32_t nH, int32_t x0, int32_t y0, int32_t w, int32_t h)
{
  GeoTest::Make(in, nW, nH, [=](int32_t x, int32_t y) {
    return uint8_t(x >= x0 && x < x0 + w && y >= y0 && y < y0 + h ? 0 : 255);
  });
}

} // namespace

TEST(ContourShapes, SinglePixelsGiveOnePointEach)
{
  ClImage in;
  MakeObjects(in, 5, 4, {{0, 0}, {4, 0}, {2, 2}, {0, 3}, {4, 3}});
  EXPECT_EQ((std::vector<Points>{{{0, 0}}, {{4, 0}}, {{2, 2}}, {{0, 3}}, {{4, 3}}}), Contours(in));
}

TEST(ContourShapes, RectanglesRunRoundTheirBorder)
{
  // Inside the image, at its first row and column, filling it to every edge, thin.
  const int32_t aRects[][4] = {
      {3, 2, 5, 4}, {0, 0, 4, 3}, {0, 0, 12, 10}, {9, 7, 3, 3}, {4, 4, 1, 3}};
  ClImage in;
  for (const auto& r : aRects) {
    MakeRect(in, 12, 10, r[0], r[1], r[2], r[3]);
    EXPECT_EQ(std::vector<Points>{Border(r[0], r[1], r[2], r[3])}, Contours(in))
        << r[0] << "," << r[1];
  }
}

TEST(ContourShapes, ThickRingHasAnOuterAndAnInnerOutline)
{
  ClImage in;
  GeoTest::Make(in, 9, 8, [](int32_t x, int32_t y) {
    const bool bHole = x >= 3 && x <= 5 && y >= 3 && y <= 4;
    return uint8_t(x >= 1 && x <= 7 && y >= 1 && y <= 6 && !bHole ? 0 : 255);
  });
  const std::vector<Points> contours = Contours(in);
  ASSERT_EQ(2u, contours.size());
  EXPECT_EQ(Border(1, 1, 7, 6), contours[0]);
  // The hole's outline: ring pixels sharing a side with the hole, once each, from the
  // first ring pixel right of the hole.
  const Points& inner = contours[1];
  EXPECT_EQ(std::make_pair(6, 3), inner.front());
  const PointSet expected = {{3, 2}, {4, 2}, {5, 2}, {6, 3}, {6, 4},
                             {3, 5}, {4, 5}, {5, 5}, {2, 3}, {2, 4}};
  EXPECT_EQ(expected, PointSet(inner.begin(), inner.end()));
  EXPECT_EQ(expected.size(), inner.size());
}

TEST(ContourShapes, ThinHorizontalLineIsWalkedUntilTheThirdStartVisit)
{
  // Coming back to the start from the right does not end the walk; the third visit does.
  ClImage in;
  MakeRect(in, 5, 3, 1, 1, 3, 1);
  Points expected;
  for (int i = 0; i < 3; ++i)
    expected.insert(expected.end(), {{1, 1}, {2, 1}, {3, 1}, {2, 1}});
  EXPECT_EQ(std::vector<Points>{expected}, Contours(in));
}

TEST(Contour, PictureWithoutArrayAndMissingInput)
{
  ClImage in, picture;
  MakeRect(in, 8, 6, 0, 1, 5, 4);
  ClIpFindContour fc;
  EXPECT_CL_THROW(fc.Run(), -37, nullptr);
  fc.m_pInImage = &in;
  EXPECT_TRUE(fc.IsReady());
  fc.m_pOutImage = &picture;
  ASSERT_EQ(0, fc.Run());
  ASSERT_EQ(8, picture.Width());
  ASSERT_EQ(6, picture.Height());
  const Points border = Border(0, 1, 5, 4);
  const PointSet onBorder(border.begin(), border.end());
  for (int32_t y = 0; y < 6; ++y)
    for (int32_t x = 0; x < 8; ++x)
      EXPECT_EQ(onBorder.count({x, y}) ? 0 : 255, GeoTest::At(picture, x, y)) << x << "," << y;
}
