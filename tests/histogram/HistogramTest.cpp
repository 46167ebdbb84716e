// ClHistogram statistics against sorted samples, and ClIpStretchRangeGlobal's table.
#include "imaging/histogram/Histogram.h"
#include "imaging/histogram/IpStretchRangeGlobal.h"
#include "tests/common/TestFailure.h"
#include "tests/common/TestImages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <numeric>
#include <string>
#include <vector>

namespace {

std::vector<int> Sorted(const ClImage& image)
{
  std::vector<int> v;
  for (int32_t y = 0; y < image.Height(); ++y)
    for (int32_t x = 0; x < image.Width(); ++x)
      v.push_back(At<uint8_t>(image, x, y));
  std::sort(v.begin(), v.end());
  return v;
}

double MeanOf(const std::vector<int>& v, size_t a, size_t b)
{
  return double(std::accumulate(v.begin() + a, v.begin() + b, int64_t(0))) / double(b - a);
}

} // namespace

TEST(Histogram, CreateChecksAndClips)
{
  ClImage image, rgb;
  MakeImage<uint8_t>(image, 3, 1, {10, 20, 30});
  ClHistogram h;
  h.Create(image);
  EXPECT_EQ(h.Total(), 3u);
  EXPECT_CL_THROW(h.Create(image, 0, 0, 0, 10), -101, nullptr);
  EXPECT_EQ(h.Total(), 0u) << "cleared before the check";
  MakeRandom<uint8_t>(rgb, 3, 3, 1, 0, 255, 3);
  EXPECT_CL_THROW(h.Create(rgb), -101, nullptr);
  h.Create(image, 5, 5, 9, 9);
  EXPECT_EQ(h.Total(), 0u);
  h.Create(image, -4, -1, 2, 100);
  EXPECT_EQ(h.Total(), 2u);
  EXPECT_EQ(h.Bin(20), 1u);
}

TEST(Histogram, SearchStopsAndOffset)
{
  ClHistogram h;
  EXPECT_EQ(h.FirstValue(), 255);
  EXPECT_EQ(h.LastValue(), 0);
  ClImage image;
  MakeFlat<uint8_t>(image, 2, 2, 255);
  h.Create(image);
  EXPECT_EQ(h.FirstValue(), 255);
  EXPECT_EQ(h.LastValue(), 255);
  MakeFlat<uint8_t>(image, 2, 2, 0);
  h.Create(image);
  EXPECT_EQ(h.LastValue(), 0);
  EXPECT_EQ(h.FirstValue(), 0);
  MakeFlat<int8_t>(image, 2, 2, -128);
  h.Create(image);
  EXPECT_EQ(h.Offset(), 128);
  EXPECT_EQ(h.Bin(0), 4u);
  EXPECT_EQ(h.FirstValue(), 128);
  MakeImage<int8_t>(image, 2, 1, {-3, 100});
  h.Create(image);
  EXPECT_EQ(h.Bin(125), 1u);
  EXPECT_EQ(h.LastValue(), 100);
  EXPECT_EQ(h.MeanInRange(0, 255), (125.0 + 228.0) / 2 - 128);
  EXPECT_EQ(h.UsedBins(), 2u);
}

TEST(Histogram, MeansMatchSortedSamples)
{
  ClImage image;
  MakeImage<uint8_t>(image, 3, 1, {10, 20, 30});
  ClHistogram h;
  h.Create(image);
  EXPECT_EQ(h.MeanOfBrightest(1), 30);
  EXPECT_EQ(h.MeanOfDarkest(2), 15);
  EXPECT_CL_THROW(h.MeanOfDarkest(4), -44, nullptr);
  EXPECT_EQ(h.MeanInRange(5, 10), 10);
  ClHistogram empty;
  EXPECT_EQ(empty.MeanInRange(5, 10), 7);
  EXPECT_EQ(h.MeanInRange(40, 30), 35);

  MakeRandom<uint8_t>(image, 97, 61, 3, 40, 200);
  h.Create(image);
  const std::vector<int> v = Sorted(image);
  for (uint32_t n : {1u, 17u, 1000u, uint32_t(v.size())}) {
    EXPECT_DOUBLE_EQ(h.MeanOfDarkest(n), MeanOf(v, 0, n)) << n;
    EXPECT_DOUBLE_EQ(h.MeanOfBrightest(n), MeanOf(v, v.size() - n, v.size())) << n;
  }
  for (auto [lo, hi] : {std::pair(0.0, 0.5), std::pair(0.1, 0.9), std::pair(0.33, 0.34)}) {
    const size_t a = size_t(double(v.size()) * lo), b = size_t(double(v.size()) * hi);
    EXPECT_NEAR(h.TrimmedMean(lo, hi), MeanOf(v, a, b), 1e-9) << lo << " " << hi;
  }
  EXPECT_DOUBLE_EQ(h.MeanInRange(100, 150), [&] {
    std::vector<int> in;
    std::copy_if(v.begin(), v.end(), std::back_inserter(in),
                 [](int x) { return x >= 100 && x <= 150; });
    return MeanOf(in, 0, in.size());
  }());
}

TEST(HistogramStretch, WorkedExampleAndSettledRange)
{
  ClImage in, out;
  MakeRandom<uint8_t>(in, 40, 30, 2, 50, 100);
  At<uint8_t>(in, 0, 0) = 50;
  At<uint8_t>(in, 1, 0) = 100;
  ClIpStretchRangeGlobal stretch;
  Wire(stretch, in, out);
  ASSERT_EQ(stretch.Run(), 0);
  EXPECT_EQ(At<uint8_t>(out, 0, 0), 0);
  EXPECT_EQ(At<uint8_t>(out, 1, 0), 255);
  for (int i = 0; i < 256; ++i) {
    // step = trunc(255.9 * 4096 / 50) = 20963
    const int v = std::min(255, std::max(0, ((i - 50) * 20963) >> 12));
    ASSERT_EQ(stretch.m_aTable[i], v) << i;
  }
  // A given old range is used as it is; the new range limits the table.
  stretch.m_nOldRangeFrom = 0;
  stretch.m_nOldRangeTo = 200;
  stretch.m_nNewRangeFrom = 20;
  stretch.m_nNewRangeTo = 120;
  ASSERT_EQ(stretch.Run(), 0);
  EXPECT_EQ(stretch.m_nUsedFrom, 0);
  EXPECT_EQ(stretch.m_aTable[0], 20);
  EXPECT_EQ(stretch.m_aTable[255], 120);
  EXPECT_EQ(stretch.m_aTable[100], ((100 * int(100.9 * 4096 / 200)) >> 12) + 20);
  EXPECT_TRUE(stretch.m_bTableDone);
}

// The count without bins equals the bins' sum, also over rows longer than one byte
// counter holds and rectangles reaching past the image.
TEST(Histogram, CountInRangeIsTheSumOfBins)
{
  ClImage image;
  MakeRandom<uint8_t>(image, 700, 9, 5);
  struct StCase
  {
    int32_t x0, y0, x1, y1;
    uint8_t nFrom, nTo;
  };
  for (const StCase& c : {StCase{0, 0, 700, 9, 0, 255}, StCase{3, 1, 690, 8, 15, 255},
                          StCase{-5, -2, 900, 20, 0, 240}, StCase{10, 0, 11, 1, 7, 7},
                          StCase{0, 0, 700, 9, 200, 100}}) {
    ClHistogram h;
    h.Create(image, c.x0, c.y0, c.x1, c.y1);
    uint64_t n = 0;
    for (uint32_t i = c.nFrom; i <= c.nTo; ++i)
      n += h.Bin(i);
    EXPECT_EQ(ClHistogram::CountInRange(image, c.x0, c.y0, c.x1, c.y1, c.nFrom, c.nTo), n)
        << c.x0 << "," << c.y0 << " " << int(c.nFrom);
  }
}
