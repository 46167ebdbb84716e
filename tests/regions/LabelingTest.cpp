// ClIpLabeling against a plain breadth-first fill that numbers regions in row order.
#include "imaging/regions/IpLabeling.h"
#include "tests/common/TestFailure.h"
#include "tests/common/TestImages.h"

#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <string>
#include <vector>

namespace {

// 4-connected regions of bytes equal to 0, numbered from 1 in row order of their
// first pixel.
std::vector<int32_t> ReferenceLabels(const ClImage& in, int32_t& nCount)
{
  const int32_t nW = in.Width(), nH = in.Height();
  std::vector<int32_t> labels(static_cast<size_t>(nW) * nH, 0);
  nCount = 0;
  std::deque<std::pair<int32_t, int32_t>> queue;
  for (int32_t y = 0; y < nH; ++y)
    for (int32_t x = 0; x < nW; ++x) {
      if (GeoTest::At(in, x, y) != 0 || labels[y * nW + x] != 0)
        continue;
      ++nCount;
      labels[y * nW + x] = nCount;
      queue.emplace_back(x, y);
      while (!queue.empty()) {
        const auto [px, py] = queue.front();
        queue.pop_front();
        const int32_t aDx[4] = {1, -1, 0, 0}, aDy[4] = {0, 0, 1, -1};
        for (int k = 0; k < 4; ++k) {
          const int32_t nx = px + aDx[k], ny = py + aDy[k];
          if (nx < 0 || ny < 0 || nx >= nW || ny >= nH)
            continue;
          if (GeoTest::At(in, nx, ny) == 0 && labels[ny * nW + nx] == 0) {
            labels[ny * nW + nx] = nCount;
            queue.emplace_back(nx, ny);
          }
        }
      }
    }
  return labels;
}

int32_t LabelAt(const ClImage& labels, int32_t x, int32_t y)
{
  return labels.Pixels<int32_t>()[y * labels.LineElements() + x];
}

} // namespace

TEST(LabelingRandom, AgreesWithABreadthFirstFill)
{
  const int32_t aSizes[][2] = {{1, 1}, {2, 3}, {7, 5}, {64, 33}, {131, 97}, {800, 750}};
  ClIpLabeling labeling;
  ClImage in, out;
  uint32_t nSeed = 1;
  for (const auto& size : aSizes)
    for (double dDensity : {0.2, 0.5, 0.59, 0.8, 1.0}) {
      GeoTest::MakeBinary(in, size[0], size[1], dDensity, nSeed++);
      Wire(labeling, in, out);
      ASSERT_EQ(0, labeling.Run());
      int32_t nCount = 0;
      const std::vector<int32_t> ref = ReferenceLabels(in, nCount);
      ASSERT_EQ(nCount, labeling.m_nLabels) << size[0] << "x" << size[1] << " " << dDensity;
      ASSERT_EQ(eInt32, out.DataType());
      for (int32_t y = 0; y < size[1]; ++y)
        for (int32_t x = 0; x < size[0]; ++x)
          ASSERT_EQ(ref[y * size[0] + x], LabelAt(out, x, y)) << x << "," << y;
    }
}

TEST(LabelingShapes, EmptyFullCornerAndRing)
{
  ClIpLabeling labeling;
  ClImage in, out;
  Wire(labeling, in, out);
  auto labels = [&](int32_t nW, int32_t nH, std::function<bool(int32_t, int32_t)> object) {
    GeoTest::Make(in, nW, nH,
                  [&](int32_t x, int32_t y) { return uint8_t(object(x, y) ? 0 : 255); });
    EXPECT_EQ(0, labeling.Run());
    return labeling.m_nLabels;
  };
  EXPECT_EQ(0, labels(9, 4, [](int32_t, int32_t) { return false; }));
  EXPECT_EQ(1, labels(9, 4, [](int32_t, int32_t) { return true; }));
  // Touching at a corner only: two regions.
  EXPECT_EQ(2, labels(2, 2, [](int32_t x, int32_t y) { return x == y; }));
  // A ring is one region; its hole belongs to none.
  EXPECT_EQ(1, labels(7, 7, [](int32_t x, int32_t y) {
              return x >= 1 && x <= 5 && y >= 1 && y <= 5 &&
                     !(x >= 2 && x <= 4 && y >= 2 && y <= 4);
            }));
  EXPECT_EQ(0, LabelAt(out, 3, 3));
  EXPECT_EQ(1, LabelAt(out, 5, 5));
}

TEST(Labeling, MissingImagesAndTheKeptStack)
{
  ClIpLabeling labeling;
  ClImage in, out;
  EXPECT_CL_THROW(labeling.Run(), -37, nullptr);
  labeling.m_pInImage = &in;
  EXPECT_CL_THROW(labeling.Run(), -37, nullptr);
  // A comb: every tooth is a run pushed from the spine, so the stack grows by steps of
  // 100 and keeps its memory for the next run.
  GeoTest::Make(in, 400, 3,
                [](int32_t x, int32_t y) { return uint8_t(y == 0 || x % 2 == 0 ? 0 : 255); });
  labeling.m_pOutImage = &out;
  ASSERT_EQ(0, labeling.Run());
  EXPECT_EQ(1, labeling.m_nLabels);
  const uint64_t nCapacity = labeling.m_oLineParts.Capacity();
  EXPECT_GE(nCapacity, 200u);
  EXPECT_EQ(0u, nCapacity % 100);
  ASSERT_EQ(0, labeling.Run());
  EXPECT_EQ(nCapacity, labeling.m_oLineParts.Capacity());
}
