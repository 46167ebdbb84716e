// ClIpFilterMid and ClTpIpFilterMid against brute-force means over clipped windows.
#include "imaging/filters/IpFilterMid.h"
#include "imaging/filters/TpIpFilterMid.h"
#include "imaging/filters/WindowWalk.h"
#include "tests/common/TestFailure.h"
#include "tests/common/TestImages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <type_traits>
#include <vector>

namespace {

int32_t Fit(int32_t w, int32_t n, bool bParity)
{
  if (w >= n) {
    w = n - 1;
    if (bParity && w % 2 == 0)
      w = n - 2;
  }
  return w;
}

// One direction of ClIpFilterMid: rounding term h, a full window divides by the width.
template <class S>
void RefMeanLine(const ClImage& in, ClImage& out, int32_t nWidth, bool bY)
{
  out.CreateLike(in);
  const int32_t n = bY ? in.Height() : in.Width();
  const int32_t w = Fit(nWidth, n, std::is_same<S, uint8_t>::value);
  const int32_t h = w / 2;
  using U = typename std::make_unsigned<
      typename std::conditional<std::is_floating_point<S>::value, int, S>::type>::type;
  const int64_t nBias = std::is_signed<S>::value && !std::is_floating_point<S>::value
                            ? (int64_t(1) << (8 * sizeof(S) - 1))
                            : 0;
  for (int32_t y = 0; y < in.Height(); ++y)
    for (int32_t x = 0; x < in.Width(); ++x) {
      const int32_t i = bY ? y : x;
      if (w == 1) {
        At<S>(out, x, y) = At<S>(in, x, y);
        continue;
      }
      const int32_t a = std::max(0, i - h), b = std::min(n - 1, i + h), c = b - a + 1;
      const int32_t d = c == 2 * h + 1 ? w : c;
      if constexpr (std::is_floating_point<S>::value) {
        double s = 0;
        for (int32_t k = a; k <= b; ++k)
          s += bY ? At<S>(in, x, k) : At<S>(in, k, y);
        At<S>(out, x, y) = static_cast<S>(s / d);
      } else {
        int64_t s = h;
        for (int32_t k = a; k <= b; ++k)
          s += int64_t(bY ? At<S>(in, x, k) : At<S>(in, k, y)) + nBias;
        At<S>(out, x, y) = static_cast<S>(static_cast<U>(s / d + nBias));
      }
    }
}

// Window sum of a clipped 2-D window and its sample count.
template <class T>
double WindowSum(const ClImage& in, int32_t x, int32_t y, int32_t hx, int32_t hy, int32_t& n)
{
  double s = 0;
  n = 0;
  for (int32_t j = std::max(0, y - hy); j <= std::min(in.Height() - 1, y + hy); ++j)
    for (int32_t i = std::max(0, x - hx); i <= std::min(in.Width() - 1, x + hx); ++i, ++n)
      s += At<T>(in, i, j);
  return s;
}

void RefMeanXYU8(const ClImage& in, ClImage& out, int32_t w)
{
  out.CreateLike(in);
  for (int32_t y = 0; y < in.Height(); ++y)
    for (int32_t x = 0; x < in.Width(); ++x) {
      int32_t n;
      const uint32_t s = uint32_t(WindowSum<uint8_t>(in, x, y, w / 2, w / 2, n));
      uint32_t v = s / n;
      if (w == 3)
        v = n == 4 ? (s + 2) >> 2 : n == 6 ? ((s + 3) * 682) >> 12 : ((s + 4) * 455) >> 12;
      At<uint8_t>(out, x, y) = uint8_t(v);
    }
}

template <class S>
void RunMid(ClIpFilterMid& f, ClImage& in, ClImage& out, int32_t w, int32_t nMode)
{
  Wire(f, in, out);
  f.m_nFilterWidth = w;
  f.m_nMode = nMode;
  ASSERT_EQ(f.Run(), 0);
}

template <class S>
void CheckTypedModes(double dTolerance)
{
  ClIpFilterMid f;
  for (const TpSize& sz : TestSizes()) {
    if (sz.w < 2 || sz.h < 2)
      continue;
    for (int32_t w : {2, 3, 5, 8, 25}) {
      ClImage in, out, ref, tmp;
      MakeRandom<S>(in, sz.w, sz.h, 7 * sz.w + w);
      RunMid<S>(f, in, out, w, ClIpFilterMid::MODE_X);
      RefMeanLine<S>(in, ref, w, false);
      EXPECT_EQ(FirstDifference<S>(out, ref, dTolerance), -1) << sz.w << "x" << sz.h << " X w" << w;
      RunMid<S>(f, in, out, w, ClIpFilterMid::MODE_Y);
      RefMeanLine<S>(in, ref, w, true);
      EXPECT_EQ(FirstDifference<S>(out, ref, dTolerance), -1) << sz.w << "x" << sz.h << " Y w" << w;
      if constexpr (!std::is_same<S, uint8_t>::value) {
        RunMid<S>(f, in, out, w, ClIpFilterMid::MODE_XY);
        RefMeanLine<S>(in, tmp, w, false);
        RefMeanLine<S>(tmp, ref, w, true);
        EXPECT_EQ(FirstDifference<S>(out, ref, dTolerance), -1)
            << sz.w << "x" << sz.h << " XY w" << w;
      }
    }
  }
}

} // namespace

TEST(FilterMid, WorkedExampleAlongRow)
{
  ClImage in, out;
  MakeImage<uint8_t>(in, 4, 1, {10, 20, 30, 40});
  ClIpFilterMid f;
  RunMid<uint8_t>(f, in, out, 3, ClIpFilterMid::MODE_X);
  EXPECT_EQ(At<uint8_t>(out, 0, 0), 15);
  EXPECT_EQ(At<uint8_t>(out, 1, 0), 20);
  EXPECT_EQ(At<uint8_t>(out, 2, 0), 30);
  EXPECT_EQ(At<uint8_t>(out, 3, 0), 35);
  // A window of 5 on a row of 3 shrinks to 2, then to 1: a copy.
  MakeImage<uint8_t>(in, 3, 1, {9, 50, 200});
  RunMid<uint8_t>(f, in, out, 5, ClIpFilterMid::MODE_X);
  EXPECT_EQ(FirstDifference<uint8_t>(out, in), -1);
}

TEST(FilterMid, FlatImageKeepsItsValueInFixedPoint)
{
  ClImage in, out;
  MakeFlat<uint8_t>(in, 5, 4, 100);
  ClIpFilterMid f;
  RunMid<uint8_t>(f, in, out, 3, ClIpFilterMid::MODE_XY);
  for (int32_t y = 0; y < 4; ++y)
    for (int32_t x = 0; x < 5; ++x)
      EXPECT_EQ(At<uint8_t>(out, x, y), 100);
}

TEST(FilterMid, Uint8MatchesReferenceInAllModes)
{
  CheckTypedModes<uint8_t>(0);
  ClIpFilterMid f;
  for (const TpSize& sz : TestSizes())
    for (int32_t w : {2, 3, 4, 5, 7, 31}) {
      ClImage in, out, ref;
      MakeRandom<uint8_t>(in, sz.w, sz.h, sz.h * 31 + w);
      RunMid<uint8_t>(f, in, out, w, ClIpFilterMid::MODE_XY);
      if (sz.w < w || sz.h < w)
        ref.Copy(in);
      else
        RefMeanXYU8(in, ref, w);
      EXPECT_EQ(FirstDifference<uint8_t>(out, ref), -1) << sz.w << "x" << sz.h << " w" << w;
    }
}

TEST(FilterMid, OtherTypesMatchReference)
{
  CheckTypedModes<int8_t>(0);
  CheckTypedModes<uint16_t>(0);
  CheckTypedModes<int16_t>(0);
  CheckTypedModes<uint32_t>(0);
  CheckTypedModes<int32_t>(0);
  CheckTypedModes<float>(1e-6);
  CheckTypedModes<double>(1e-12);
}

TEST(FilterMid, FractionHoldsTheMeanInEighthBits)
{
  ClIpFilterMid f;
  for (int32_t w : {3, 5}) {
    ClImage in, out, frac;
    MakeRandom<uint8_t>(in, 37, 23, w);
    f.m_pFractionImage = &frac;
    RunMid<uint8_t>(f, in, out, w, ClIpFilterMid::MODE_XY);
    for (int32_t y = 0; y < in.Height(); ++y)
      for (int32_t x = 0; x < in.Width(); ++x) {
        int32_t n;
        const double s = WindowSum<uint8_t>(in, x, y, w / 2, w / 2, n);
        double m = s / n;
        if (w == 3) // the 3 by 3 factors, as applied
          m = s * (n == 4 ? 64.0 : n == 6 ? 42.666666666666664 : 28.444444444444443) * 0.00390625;
        ASSERT_EQ(At<uint8_t>(out, x, y), uint8_t(m)) << x << "," << y;
        ASSERT_EQ(At<uint8_t>(frac, x, y), uint8_t((m - std::floor(m)) * 256)) << x << "," << y;
      }
  }
}

TEST(FilterMid, RefusalsAndPlanes)
{
  ClImage in, out;
  MakeRandom<uint8_t>(in, 9, 9, 1);
  ClIpFilterMid f;
  Wire(f, in, in);
  EXPECT_EQ(f.Run(), -10);
  f.m_pOutImage = &out;
  f.m_nMode = ClIpFilterMid::MODE_DIRECTED;
  EXPECT_CL_THROW(f.Run(), -701, nullptr);
  f.m_nMode = 5;
  EXPECT_CL_THROW(f.Run(), -35, nullptr);
  ClImage in16;
  MakeRandom<uint16_t>(in16, 9, 9, 1);
  f.m_pInImage = &in16;
  f.m_nMode = ClIpFilterMid::MODE_DIRECTED_ORTHO;
  EXPECT_EQ(f.Run(), -33);

  // Three planes are filtered one by one.
  ClImage rgb, plane, ref, got;
  MakeRandom<uint8_t>(rgb, 21, 13, 5, 0, 255, 3);
  f.m_pInImage = &rgb;
  f.m_nMode = ClIpFilterMid::MODE_XY;
  f.m_nFilterWidth = 5;
  ASSERT_EQ(f.Run(), 0);
  ASSERT_EQ(out.Planes(), 3u);
  for (uint32_t p = 0; p < 3; ++p) {
    rgb.ExtractPlane(p, plane);
    RefMeanXYU8(plane, ref, 5);
    out.ExtractPlane(p, got);
    EXPECT_EQ(FirstDifference<uint8_t>(got, ref), -1) << p;
  }
  EXPECT_EQ(rgb.Planes(), 3u);
}

TEST(FilterMid, DirectedMeanFollowsTheField)
{
  ClImage in, out, dx, dy;
  MakeRandom<uint8_t>(in, 12, 10, 3);
  MakeFlat<int8_t>(dx, 12, 10, 1);
  MakeFlat<int8_t>(dy, 12, 10, 0);
  ClIpFilterMid f, g;
  Wire(f, in, out);
  f.m_nFilterWidth = 5;
  f.m_nMode = ClIpFilterMid::MODE_DIRECTED;
  f.m_pInDxImage = &dx;
  f.m_pInDyImage = &dy;
  ASSERT_EQ(f.Run(), 0);
  // Along a horizontal field the mean runs along the rows, rounded to nearest.
  for (int32_t y = 0; y < 10; ++y)
    for (int32_t x = 0; x < 12; ++x) {
      int32_t n;
      const uint32_t s = uint32_t(WindowSum<uint8_t>(in, x, y, 2, 0, n));
      EXPECT_EQ(At<uint8_t>(out, x, y), (s + n / 2) / n);
    }
}

TEST(FilterMid, TemplateRunningSumMatchesReference)
{
  ClTpIpFilterMid<uint8_t, uint32_t> f;
  ClTpIpFilterMid<float, double> g;
  for (const TpSize& sz : TestSizes())
    for (int32_t fw : {1, 3, 5, 31})
      for (int32_t fh : {1, 3, 7}) {
        if (fw > sz.w || fh > sz.h)
          continue;
        ClImage in, out, fin, fout;
        MakeRandom<uint8_t>(in, sz.w, sz.h, fw * 100 + fh);
        MakeRandom<float>(fin, sz.w, sz.h, fw * 100 + fh);
        Wire(f, in, out);
        f.m_nFilterWidth = fw;
        f.m_nFilterHeight = fh;
        Wire(g, fin, fout);
        g.m_nFilterWidth = fw;
        g.m_nFilterHeight = fh;
        ASSERT_EQ(f.Process(), 0);
        ASSERT_EQ(g.Process(), 0);
        for (int32_t y = 0; y < sz.h; ++y)
          for (int32_t x = 0; x < sz.w; ++x) {
            int32_t n;
            const double s = WindowSum<uint8_t>(in, x, y, fw / 2, fh / 2, n);
            ASSERT_EQ(At<uint8_t>(out, x, y), uint32_t(s) / n)
                << sz.w << "x" << sz.h << " " << x << "," << y;
            const double fs = WindowSum<float>(fin, x, y, fw / 2, fh / 2, n);
            ASSERT_NEAR(At<float>(fout, x, y), fs / n, 1e-6);
          }
      }
}

TEST(FilterMid, TemplateSeparableRoundsEachPass)
{
  ClTpIpFilterMid<uint8_t, uint32_t> f;
  f.m_bRunningSum2D = false;
  ClImage in, out;
  MakeRandom<uint8_t>(in, 40, 30, 11);
  Wire(f, in, out);
  f.m_nFilterWidth = 5;
  f.m_nFilterHeight = 3;
  ASSERT_EQ(f.Process(), 0);
  ClImage tmp;
  tmp.CreateLike(in);
  for (int32_t y = 0; y < 30; ++y)
    for (int32_t x = 0; x < 40; ++x) {
      int32_t n;
      const uint32_t s = 2 + uint32_t(WindowSum<uint8_t>(in, x, y, 2, 0, n));
      At<uint8_t>(tmp, x, y) = uint8_t(s / n);
    }
  for (int32_t y = 0; y < 30; ++y)
    for (int32_t x = 0; x < 40; ++x) {
      int32_t n;
      const uint32_t s = 1 + uint32_t(WindowSum<uint8_t>(tmp, x, y, 0, 1, n));
      ASSERT_EQ(At<uint8_t>(out, x, y), s / n) << x << "," << y;
    }
}

TEST(FilterMid, TemplateRefusesOverflowingSums)
{
  ClImage in, out;
  in.Create(eUInt8, 4105, 4105);
  ClTpIpFilterMid<uint8_t, uint32_t> f;
  Wire(f, in, out);
  f.m_nFilterWidth = 4105; // 4105 * 4105 is above 16843009 = 2^32 / 255
  f.m_nFilterHeight = 4105;
  EXPECT_CL_THROW(f.Process(), -44, nullptr);
  // A float window of size 0 passes the frame but fails the smallest-value test.
  ClImage fin, fout;
  MakeRandom<float>(fin, 5, 5, 1);
  ClTpIpFilterMid<float, double> g;
  Wire(g, fin, fout);
  g.m_nFilterWidth = 0;
  EXPECT_THROW(g.Process(), ClException);
  g.m_nFilterWidth = 4;
  EXPECT_CL_THROW(g.Process(), -44, nullptr);
}

// The vectorised window sums against the plain walk, on lines of every length around the
// vector widths and with sums that wrap.
TEST(FilterMid, WindowSumsMatchPlainWalk)
{
  std::mt19937_64 gen(17);
  for (int32_t n = 1; n < 90; ++n)
    for (int32_t h : {0, 1, 2, 5, 15, 40}) {
      const size_t nSize = static_cast<size_t>(n);
      std::vector<uint32_t> p32(nSize), o32(nSize), r32(nSize);
      std::vector<uint64_t> p64(nSize), o64(nSize), r64(nSize);
      for (int32_t i = 0; i < n; ++i) {
        p32[size_t(i)] = uint32_t(gen());
        p64[size_t(i)] = gen();
      }
      RunningWindowSums(p32.data(), o32.data(), n, h);
      PlainWindowSums(p32.data(), r32.data(), n, h);
      RunningWindowSums(p64.data(), o64.data(), n, h);
      PlainWindowSums(p64.data(), r64.data(), n, h);
      ASSERT_EQ(o32, r32) << n << " " << h;
      ASSERT_EQ(o64, r64) << n << " " << h;
    }
}
