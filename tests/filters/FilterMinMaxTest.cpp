// ClTpIpFilterMin and ClTpIpFilterMax against brute-force extremes of clipped windows.
#include "imaging/filters/TpIpFilterMax.h"
#include "imaging/filters/TpIpFilterMin.h"
#include "tests/common/TestImages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

// Extreme over rows y - hy .. y + hy and columns x - hx .. x + hx; a negative half skips.
template <class T, bool bMax>
T RefExtreme(const ClImage& in, int32_t x, int32_t y, int32_t hx, int32_t hy)
{
  T v = At<T>(in, x, y);
  for (int32_t j = std::max(0, y - hy); j <= std::min(in.Height() - 1, y + hy); ++j)
    for (int32_t i = std::max(0, x - hx); i <= std::min(in.Width() - 1, x + hx); ++i)
      v = bMax ? std::max(v, At<T>(in, i, j)) : std::min(v, At<T>(in, i, j));
  return v;
}

template <class T, class F, bool bMax>
void CheckAgainstReference()
{
  F f;
  for (const TpSize& sz : TestSizes())
    for (int32_t fw : {-1, 0, 1, 3, 11, 31})
      for (int32_t fh : {-3, 1, 3, 5, 11}) {
        if (fw > sz.w || fh > sz.h)
          continue;
        ClImage in, out;
        MakeRandom<T>(in, sz.w, sz.h, sz.w * 1000 + fw * 10 + fh);
        Wire(f, in, out);
        f.m_nFilterWidth = fw;
        f.m_nFilterHeight = fh;
        ASSERT_EQ(f.Process(), 0);
        const int32_t hx = (fw < 0 || fw == 1) ? 0 : (fw | 1) / 2;
        const int32_t hy = (fh < 0 || fh == 1) ? 0 : (fh | 1) / 2;
        for (int32_t y = 0; y < sz.h; ++y)
          for (int32_t x = 0; x < sz.w; ++x)
            ASSERT_EQ(At<T>(out, x, y), (RefExtreme<T, bMax>(in, x, y, hx, hy)))
                << sz.w << "x" << sz.h << " w" << fw << " h" << fh << " at " << x << "," << y;
      }
}

} // namespace

TEST(FilterMinMax, MatchReferenceOnBytesAndFloats)
{
  CheckAgainstReference<uint8_t, ClTpIpFilterMax<uint8_t>, true>();
  CheckAgainstReference<uint8_t, ClTpIpFilterMin<uint8_t>, false>();
  CheckAgainstReference<float, ClTpIpFilterMax<float>, true>();
  CheckAgainstReference<float, ClTpIpFilterMin<float>, false>();
}

TEST(FilterMinMax, HeightOneIsTheRowPassAlone)
{
  ClImage in, out;
  MakeImage<uint8_t>(in, 6, 2, {1, 9, 2, 3, 8, 0, 7, 1, 1, 1, 1, 6});
  ClTpIpFilterMax<uint8_t> f;
  Wire(f, in, out);
  f.m_nFilterWidth = 3;
  f.m_nFilterHeight = 1;
  ASSERT_EQ(f.Process(), 0);
  const uint8_t aExpected[12] = {9, 9, 9, 8, 8, 8, 7, 7, 1, 1, 6, 6};
  for (int32_t i = 0; i < 12; ++i)
    EXPECT_EQ(At<uint8_t>(out, i % 6, i / 6), aExpected[i]) << i;
}

TEST(FilterMinMax, WindowOfTheImageWidthGivesTheRowMinimum)
{
  ClImage in, out;
  MakeRandom<uint8_t>(in, 9, 4, 3);
  ClTpIpFilterMin<uint8_t> f;
  Wire(f, in, out);
  f.m_nFilterWidth = 9;
  f.m_nFilterHeight = 1;
  ASSERT_EQ(f.Process(), 0);
  for (int32_t y = 0; y < 4; ++y) {
    uint8_t m = 255;
    for (int32_t x = 0; x < 9; ++x)
      m = std::min(m, At<uint8_t>(in, x, y));
    EXPECT_EQ(At<uint8_t>(out, 4, y), m);
  }
}

TEST(FilterMinMax, NanAndNegativeZeroFollowTheRescanWalk)
{
  ClImage in, out;
  MakeRandom<float>(in, 23, 17, 8);
  At<float>(in, 5, 5) = std::numeric_limits<float>::quiet_NaN();
  At<float>(in, 9, 2) = -0.0f;
  At<float>(in, 10, 2) = 0.0f;
  ClTpIpFilterMax<float> f;
  Wire(f, in, out);
  f.m_nFilterWidth = 5;
  f.m_nFilterHeight = 3;
  ASSERT_EQ(f.Process(), 0);
  // The walk applied pass by pass, as written for the lines.
  ClImage tmp, ref;
  tmp.CreateLike(in);
  ref.CreateLike(in);
  for (int32_t y = 0; y < 17; ++y)
    ExtremeLine<TpMaxPolicy, float>(&At<float>(in, 0, y), 1, &At<float>(tmp, 0, y), 1, 23, 2);
  for (int32_t x = 0; x < 23; ++x)
    ExtremeLine<TpMaxPolicy, float>(&At<float>(tmp, x, 0), tmp.LineElements(),
                                    &At<float>(ref, x, 0), ref.LineElements(), 17, 1);
  for (int32_t y = 0; y < 17; ++y)
    for (int32_t x = 0; x < 23; ++x) {
      const float a = At<float>(out, x, y), b = At<float>(ref, x, y);
      ASSERT_TRUE((std::isnan(a) && std::isnan(b)) ||
                  (a == b && std::signbit(a) == std::signbit(b)))
          << x << "," << y;
    }
}
