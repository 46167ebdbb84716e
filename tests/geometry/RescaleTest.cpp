// ClIpRescale in its five modes, against references written out here.
#include "imaging/geometry/IpRescale.h"
#include "imaging/geometry/RescaleKernels.h"
#include "tests/common/RecordingLog.h"
#include "tests/common/TestImages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

using GeoTest::At;

namespace {

// Area average of a line in 12-bit fixed point: output j covers [j R, (j + 1) R), the
// last one ending with the line.
std::vector<uint8_t> AreaAverage(const std::vector<uint8_t>& line, int32_t nOut, int64_t nRatio)
{
  const int64_t nEnd = static_cast<int64_t>(line.size()) * 4096;
  std::vector<uint8_t> out(nOut);
  for (int32_t j = 0; j < nOut; ++j) {
    const int64_t a = j * nRatio, b = std::min((j + 1) * nRatio, nEnd);
    uint64_t nSum = 0;
    for (size_t i = 0; i < line.size(); ++i) {
      const int64_t lo = std::max<int64_t>(a, i * 4096), hi = std::min<int64_t>(b, (i + 1) * 4096);
      nSum += hi > lo ? line[i] * static_cast<uint64_t>(hi - lo) : 0;
    }
    out[j] = static_cast<uint8_t>(nSum / static_cast<uint64_t>(j + 1 == nOut ? b - a : nRatio));
  }
  return out;
}

std::vector<uint8_t> Row(const ClImage& in, int32_t y)
{
  std::vector<uint8_t> line(in.Width());
  for (int32_t x = 0; x < in.Width(); ++x)
    line[x] = At(in, x, y);
  return line;
}

// Area averages along rows, then down the columns of that result.
void ExpectAreaAverages(const ClImage& in, const ClImage& out, int64_t nRatioX, int64_t nRatioY)
{
  std::vector<std::vector<uint8_t>> rows;
  for (int32_t y = 0; y < in.Height(); ++y)
    rows.push_back(nRatioX ? AreaAverage(Row(in, y), out.Width(), nRatioX) : Row(in, y));
  for (int32_t x = 0; x < out.Width(); ++x) {
    std::vector<uint8_t> column;
    for (const auto& row : rows)
      column.push_back(row[x]);
    if (nRatioY)
      column = AreaAverage(column, out.Height(), nRatioY);
    for (int32_t y = 0; y < out.Height(); ++y)
      ASSERT_EQ(column[y], At(out, x, y)) << x << "," << y;
  }
}

} // namespace

TEST(RescaleNearest, HalvesTheCaptureFrameBySkippingAlsoInPlace)
{
  ClImage in, out;
  GeoTest::MakeRandom(in, 1600, 1500, 1);
  ClIpRescale rescale;
  ASSERT_EQ(0, rescale.Rescale(&in, &out, 800, 750, ClIpRescale::NearestNeighbour));
  ASSERT_EQ(800, out.Width());
  ASSERT_EQ(750, out.Height());
  EXPECT_EQ(eUInt8, out.DataType());
  EXPECT_EQ(9842, out.PelsY());
  for (int32_t y = 0; y < 750; ++y)
    for (int32_t x = 0; x < 800; ++x)
      ASSERT_EQ(At(in, 2 * x, 2 * y), At(out, x, y)) << x << "," << y;
  ASSERT_EQ(0, rescale.Rescale(&in, &in, 800, 750, ClIpRescale::NearestNeighbour));
  EXPECT_EQ(-1, GeoTest::FirstDifference(in, out));
}

TEST(RescaleResolution, RoundsUpButForAHairAndEqualIsACopy)
{
  ClImage in, out;
  GeoTest::MakeRandom(in, 1600, 1500, 4);
  ClIpRescale rescale;
  Wire(rescale, in, out);
  rescale.m_eMode = ClIpRescale::NearestNeighbour;
  // 1600 * 9842 / 19685 = 799.96, plus 0.9999, truncated.
  rescale.m_nNewPelsX = rescale.m_nNewPelsY = 9842;
  ASSERT_EQ(0, rescale.Run());
  EXPECT_EQ(800, out.Width());
  EXPECT_EQ(750, out.Height());
  // Exact halves stay exact: 800 + 0.9999 is still 800.
  in.SetPels(20000, 20000);
  rescale.m_nNewPelsX = rescale.m_nNewPelsY = 10000;
  ASSERT_EQ(0, rescale.Run());
  EXPECT_EQ(800, out.Width());
  EXPECT_EQ(10000, out.PelsX());
  // The input's own resolution copies before the mode is looked at.
  rescale.m_eMode = static_cast<ClIpRescale::eProcessingMode>(99);
  rescale.m_nNewPelsX = rescale.m_nNewPelsY = 20000;
  ASSERT_EQ(0, rescale.Run());
  EXPECT_EQ(-1, GeoTest::FirstDifference(in, out));
}

TEST(Rescale, RefusesBadRequestsBeforeTouchingTheOutput)
{
  ClImage in, out, empty;
  GeoTest::MakeRandom(in, 16, 16, 6);
  ClIpRescale rescale;
  EXPECT_EQ(-101, rescale.Rescale(&in, &out, 8, 8, ClIpRescale::WholeNumbered));
  EXPECT_EQ(-101, rescale.Rescale(&in, &out, 0, 8, ClIpRescale::BiLinear));
  EXPECT_EQ(-101, rescale.Rescale(&in, &out, 8, 0, ClIpRescale::BiLinear));
  EXPECT_EQ(-35, rescale.Rescale(&in, &out, -3, 8, ClIpRescale::BiLinear));
  EXPECT_EQ(-35, rescale.Rescale(&empty, &out, 8, 8, ClIpRescale::BiLinear));
  EXPECT_EQ(nullptr, out.Data());
}

TEST(RescaleBiLinear, HalvingIsTheMeanOfPairs)
{
  ClImage in, out;
  GeoTest::MakeRandom(in, 1600, 1500, 7);
  ClIpRescale rescale;
  ASSERT_EQ(0, rescale.Rescale(&in, &out, 800, 750, ClIpRescale::BiLinear));
  ASSERT_EQ(800, out.Width());
  EXPECT_EQ(9842, out.PelsX());
  for (int32_t y = 0; y < 750; ++y)
    for (int32_t x = 0; x < 800; ++x) {
      const int r0 = (At(in, 2 * x, 2 * y) + At(in, 2 * x + 1, 2 * y)) / 2;
      const int r1 = (At(in, 2 * x, 2 * y + 1) + At(in, 2 * x + 1, 2 * y + 1)) / 2;
      ASSERT_EQ((r0 + r1) / 2, At(out, x, y)) << x << "," << y;
    }
  // Odd sizes by resolution, in both directions and in each alone: a last column or
  // row stands alone; the direction that keeps its size passes unchanged.
  GeoTest::MakeRandom(in, 9, 7, 13);
  Wire(rescale, in, out);
  const int32_t aPels[3][2] = {{9842, 9842}, {9842, 19685}, {19685, 9842}};
  for (const auto& pels : aPels) {
    rescale.m_nNewPelsX = pels[0];
    rescale.m_nNewPelsY = pels[1];
    ASSERT_EQ(0, rescale.Run());
    ASSERT_EQ(pels[0] == 9842 ? 5 : 9, out.Width());
    ASSERT_EQ(pels[1] == 9842 ? 4 : 7, out.Height());
    ExpectAreaAverages(in, out, pels[0] == 9842 ? 8192 : 0, pels[1] == 9842 ? 8192 : 0);
  }
}

TEST(RescaleBiLinear, ReductionAveragesOverlappingAreas)
{
  // No resolution: the ratios come from the sizes, 9 / 6 and 7 / 3.
  ClImage in, out;
  GeoTest::MakeRandom(in, 9, 4, 8, 0);
  ClIpRescale rescale;
  ASSERT_EQ(0, rescale.Rescale(&in, &out, 6, 4, ClIpRescale::BiLinear));
  ExpectAreaAverages(in, out, 6144, 0);
  GeoTest::MakeRandom(in, 4, 7, 9, 0);
  ASSERT_EQ(0, rescale.Rescale(&in, &out, 4, 3, ClIpRescale::BiLinear));
  ExpectAreaAverages(in, out, 0, 7 * 4096 / 3);
}

TEST(RescaleBiLinear, EnlargesWithMarginsAndCorners)
{
  ClImage in, out;
  const uint8_t aIn[2][2] = {{0, 100}, {200, 44}};
  GeoTest::Make(in, 2, 2, [&](int32_t x, int32_t y) { return aIn[y][x]; });
  ClIpRescale rescale;
  ASSERT_EQ(0, rescale.Rescale(&in, &out, 4, 4, ClIpRescale::BiLinear));
  // Interior by four products of 12-bit weights, each shifted down on its own; margins
  // along the edge rows and columns; corners repeat the corner samples.
  const uint8_t aExpected[4][4] = {
      {0, 25, 75, 100}, {50, 57, 76, 86}, {150, 126, 79, 58}, {200, 161, 83, 44}};
  for (int32_t y = 0; y < 4; ++y)
    for (int32_t x = 0; x < 4; ++x)
      EXPECT_EQ(aExpected[y][x], At(out, x, y)) << x << "," << y;
  EXPECT_EQ(39370, out.PelsX());
}

TEST(RescaleBiCubic, FastPathRunsOnceAndNegatesTheParameter)
{
  ClImage in, flat, fast, exact;
  GeoTest::MakeRandom(in, 40, 30, 10);
  GeoTest::Make(flat, 40, 30, [](int32_t, int32_t) { return uint8_t(137); });
  ClIpRescale rescale;
  rescale.m_dConvParameter1 = 0.75;
  ASSERT_EQ(0, rescale.Rescale(&in, &fast, 20, 15, ClIpRescale::BiCubic));
  EXPECT_EQ(-0.75, rescale.m_dConvParameter1);
  ASSERT_EQ(0, rescale.Rescale(&in, &exact, 20, 15, ClIpRescale::BiCubic));
  EXPECT_EQ(-0.75, rescale.m_dConvParameter1);
  EXPECT_NE(-1, GeoTest::FirstDifference(fast, exact));
  // Both divide by the weights they use, so a flat image stays flat, borders too; the
  // exact path's floating sums may fall a hair short before the truncation.
  for (double dParam : {0.75, -0.75}) {
    rescale.m_dConvParameter1 = dParam;
    ASSERT_EQ(0, rescale.Rescale(&flat, &fast, 27, 11, ClIpRescale::BiCubic));
    for (int32_t y = 0; y < 11; ++y)
      for (int32_t x = 0; x < 27; ++x) {
        ASSERT_LE(At(fast, x, y), 137);
        ASSERT_GE(At(fast, x, y), dParam > 0 ? 137 : 136) << x << "," << y;
      }
  }
}

TEST(RescaleBiCubic, WindowOverTheLeftEdgeReadsThePreviousRow)
{
  // All 200 but the last column, 0. Only the linear index is tested, so at x = 0 the
  // window's column -1 is the previous row's last sample: a 0 under a negative weight
  // pushes the result above 200. Inside the image the value stays 200.
  ClImage in, out;
  GeoTest::Make(in, 8, 8, [](int32_t x, int32_t) { return uint8_t(x == 7 ? 0 : 200); });
  ClIpRescale rescale;
  ASSERT_EQ(0, rescale.Rescale(&in, &out, 9, 9, ClIpRescale::BiCubic));
  EXPECT_GT(At(out, 0, 4), 200);
  EXPECT_EQ(200, At(out, 3, 4));
}

TEST(RescaleFantMar, ResampleLineKeepsHalvesAndReadsPastTheEnd)
{
  const std::vector<uint8_t> line = {10, 20, 31, 40, 77, 1, 0, 0};
  std::vector<uint8_t> out(6);
  RescaleKernels::ResampleLine(line.data(), 6, out.data(), 6);
  EXPECT_EQ(std::vector<uint8_t>(line.begin(), line.begin() + 6), out);
  RescaleKernels::ResampleLine(line.data(), 6, out.data(), 3);
  EXPECT_EQ((std::vector<uint8_t>{15, 35, 39}), std::vector<uint8_t>(out.begin(), out.begin() + 3));
  // Doubling blends the last sample with the one behind the line.
  const std::vector<uint8_t> two = {100, 50, 30, 0};
  RescaleKernels::ResampleLine(two.data(), 2, out.data(), 4);
  EXPECT_EQ((std::vector<uint8_t>{100, 75, 50, 40}),
            std::vector<uint8_t>(out.begin(), out.begin() + 4));
}

TEST(RescaleFantMar, HalvingByTwoPassesWithLogLines)
{
  ClImage in, out;
  GeoTest::MakeRandom(in, 40, 30, 11);
  ClRecordingLog log(false);
  ClProcessorBase::SetDefaultLog(&log);
  ClIpRescale rescale;
  ClProcessorBase::SetDefaultLog(nullptr);
  ASSERT_EQ(0, rescale.Rescale(&in, &out, 20, 15, ClIpRescale::BiLinearFantMar));
  EXPECT_EQ(eUInt8, out.DataType());
  ExpectAreaAverages(in, out, 8192, 8192);
  std::string sLog;
  for (const std::string& s : log.lines)
    sLog += s + ";";
  EXPECT_EQ("Enter Convert;Leave Convert;Enter Resample;Leave Resample;Enter FlipXY;Leave FlipXY;"
            "Enter Resample;Leave Resample;Enter FlipXY;Leave FlipXY;Enter Convert;Leave Convert;"
            "ClIpRescale W20 H15 BiLinearFantMar;",
            sLog);
}

TEST(RescaleWholeNumbered, MeansAndRepeatsByWholeFactors)
{
  ClImage in, out;
  GeoTest::MakeRandom(in, 30, 21, 12);
  ClIpRescale rescale;
  Wire(rescale, in, out);
  rescale.m_eMode = ClIpRescale::WholeNumbered;
  // 19685 / 6561 is 3; 19685 / 13000 is 1 with a remainder above half of 13000: 2.
  rescale.m_nNewPelsX = 6561;
  rescale.m_nNewPelsY = 13000;
  ASSERT_EQ(0, rescale.Run());
  ASSERT_EQ(10, out.Width());
  ASSERT_EQ(14, out.Height());
  EXPECT_EQ(6561, out.PelsX());
  EXPECT_EQ(9842, out.PelsY());
  auto third = [&](int32_t x, int32_t y) {
    return (At(in, 3 * x, y) + At(in, 3 * x + 1, y) + At(in, 3 * x + 2, y)) / 3;
  };
  for (int32_t y = 0; y < 14; ++y)
    for (int32_t x = 0; x < 10; ++x) {
      // 21 rows give 10 pairs; further output rows repeat the tenth.
      const int32_t yy = std::min(y, 9);
      ASSERT_EQ((third(x, 2 * yy) + third(x, 2 * yy + 1)) / 2, At(out, x, y)) << x << "," << y;
    }
  rescale.m_nNewPelsX = 2 * 19685;
  rescale.m_nNewPelsY = 19685;
  ASSERT_EQ(0, rescale.Run());
  ASSERT_EQ(60, out.Width());
  ASSERT_EQ(21, out.Height());
  for (int32_t y = 0; y < 21; ++y)
    for (int32_t x = 0; x < 60; ++x)
      ASSERT_EQ(At(in, x / 2, y), At(out, x, y));
}

TEST(RescalePlanes, ColourGoesPlaneByPlaneAndDropsAFourthPlane)
{
  ClImage grey[3], rgba, out, one;
  for (int p = 0; p < 3; ++p)
    GeoTest::MakeRandom(grey[p], 24, 16, 20 + p);
  rgba.Create(eUInt8, 24, 16, 4, 19685, 19685);
  for (int32_t y = 0; y < 16; ++y)
    for (int32_t x = 0; x < 24; ++x)
      for (int p = 0; p < 4; ++p)
        rgba.Data()[y * rgba.LineBytes() + 4 * x + p] = p < 3 ? At(grey[p], x, y) : 9;
  ClIpRescale rescale;
  ASSERT_EQ(0, rescale.Rescale(&rgba, &out, 12, 8, ClIpRescale::NearestNeighbour));
  ASSERT_EQ(3u, out.Planes());
  EXPECT_EQ(eRGB, out.Content());
  for (int p = 0; p < 3; ++p) {
    ASSERT_EQ(0, rescale.Rescale(&grey[p], &one, 12, 8, ClIpRescale::NearestNeighbour));
    for (int32_t y = 0; y < 8; ++y)
      for (int32_t x = 0; x < 12; ++x)
        ASSERT_EQ(At(one, x, y), out.Data()[y * out.LineBytes() + 3 * x + p]);
  }
  ClImage two;
  two.Create(eUInt8, 24, 16, 2, 19685, 19685);
  EXPECT_EQ(-101, rescale.Rescale(&two, &out, 12, 8, ClIpRescale::NearestNeighbour));
}
