// ClIpFilterVariance against sums formed directly over the clipped window.
#include "imaging/filters/IpFilterVariance.h"
#include "tests/common/TestFailure.h"
#include "tests/common/TestImages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace {

// Sum and sum of squares of the clipped window, exact for the integer inputs used here.
template <class T>
void Sums(const ClImage& in, int32_t x, int32_t y, int32_t h, double& s, double& q, int32_t& n)
{
  s = q = 0;
  n = 0;
  for (int32_t j = std::max(0, y - h); j <= std::min(in.Height() - 1, y + h); ++j)
    for (int32_t i = std::max(0, x - h); i <= std::min(in.Width() - 1, x + h); ++i, ++n) {
      const double v = At<T>(in, i, j);
      s += v;
      q += v * v;
    }
}

int32_t RunVariance(ClIpFilterVariance& f, ClImage& in, ClImage& out, int32_t w, EDataType eOut)
{
  Wire(f, in, out);
  f.m_nInFilterWidth = w;
  f.m_eOutImageType = eOut;
  return f.Run();
}

// With sums the output type holds exactly, the formula in that type gives the result.
template <class TIn, class TOut>
void CheckExact(int32_t w, uint32_t nSeed, double dHigh)
{
  ClIpFilterVariance f;
  for (const TpSize& sz : TestSizes()) {
    ClImage in, out;
    MakeRandom<TIn>(in, sz.w, sz.h, nSeed + sz.w, 0, dHigh);
    ASSERT_EQ(RunVariance(f, in, out, w, TpDataType<TOut>::value), 0);
    ASSERT_EQ(out.DataType(), TpDataType<TOut>::value);
    for (int32_t y = 0; y < sz.h; ++y)
      for (int32_t x = 0; x < sz.w; ++x) {
        double s, q;
        int32_t n;
        Sums<TIn>(in, x, y, w / 2, s, q, n);
        const TOut ts = TOut(s), tq = TOut(q);
        const TOut expected = (tq - ts * ts / TOut(n)) / TOut(n - 1);
        const TOut got = At<TOut>(out, x, y);
        ASSERT_TRUE(got == expected || (std::isnan(got) && std::isnan(expected)))
            << sz.w << "x" << sz.h << " w" << w << " at " << x << "," << y;
      }
  }
}

} // namespace

TEST(FilterVariance, FlatImageIsZeroAndSingleSampleIsNan)
{
  ClImage in, out;
  MakeFlat<uint8_t>(in, 30, 20, 77);
  ClIpFilterVariance f;
  ASSERT_EQ(RunVariance(f, in, out, 11, eDouble64), 0);
  for (int32_t y = 0; y < 20; ++y)
    for (int32_t x = 0; x < 30; ++x)
      ASSERT_EQ(At<double>(out, x, y), 0.0);
  ASSERT_EQ(RunVariance(f, in, out, 1, eDouble64), 0);
  EXPECT_TRUE(std::isnan(At<double>(out, 3, 3)));
}

TEST(FilterVariance, BytesIntoFloatingOutputsAreExact)
{
  CheckExact<uint8_t, double>(11, 1, 255);
  CheckExact<uint8_t, float>(11, 2, 255);
  CheckExact<uint8_t, double>(4, 3, 255);
  CheckExact<uint16_t, double>(11, 4, 65535);
  CheckExact<int8_t, float>(7, 5, 127);
  CheckExact<uint8_t, double>(61, 6, 255);
}

TEST(FilterVariance, WideFloatWindowStaysClose)
{
  ClIpFilterVariance f;
  ClImage in, out;
  MakeRandom<uint8_t>(in, 120, 90, 9);
  ASSERT_EQ(RunVariance(f, in, out, 41, eFloat32), 0);
  for (int32_t y = 0; y < 90; y += 7)
    for (int32_t x = 0; x < 120; x += 5) {
      double s, q;
      int32_t n;
      Sums<uint8_t>(in, x, y, 20, s, q, n);
      const double v = (q - s * s / n) / (n - 1);
      ASSERT_NEAR(At<float>(out, x, y), v, v * 1e-4 + 1) << x << "," << y;
    }
}

TEST(FilterVariance, IntegerOutputDividesInItsType)
{
  ClIpFilterVariance f;
  ClImage in, out;
  MakeRandom<uint8_t>(in, 17, 13, 12);
  ASSERT_EQ(RunVariance(f, in, out, 3, eInt32), 0);
  for (int32_t y = 0; y < 13; ++y)
    for (int32_t x = 0; x < 17; ++x) {
      double s, q;
      int32_t n;
      Sums<uint8_t>(in, x, y, 1, s, q, n);
      const int32_t si = int32_t(s), qi = int32_t(q);
      ASSERT_EQ(At<int32_t>(out, x, y), (qi - si * si / n) / (n - 1));
    }
}

TEST(FilterVariance, InPlaceChecksAndTypes)
{
  ClIpFilterVariance f;
  ClImage in, ref;
  MakeRandom<uint8_t>(in, 25, 19, 4);
  ASSERT_EQ(RunVariance(f, in, ref, 5, eDouble64), 0);
  ClImage same;
  same.Copy(in);
  ASSERT_EQ(RunVariance(f, same, same, 5, eDouble64), 0);
  EXPECT_EQ(FirstDifference<double>(same, ref), -1);

  ClImage out;
  out.Create(eUInt8, 3, 3);
  EXPECT_EQ(RunVariance(f, in, out, 5, eTypeDefault), 0);
  EXPECT_EQ(out.Width(), 3); // "default" does nothing

  ClImage rgb;
  MakeRandom<uint8_t>(rgb, 5, 5, 1, 0, 255, 3);
  EXPECT_CL_THROW(RunVariance(f, rgb, out, 5, eDouble64), -44, nullptr);
  f.m_pInImage = &in;
  f.m_pOutImage = nullptr;
  EXPECT_THROW(f.Run(), ClException);
}
