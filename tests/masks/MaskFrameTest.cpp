// The mask frame, the downsampling functor and the KX2 development mask.
#include "model/FpImage.h"
#include "masks/IpKX10MaskR2.h"
#include "masks/IpKX2DevelMask.h"
#include "masks/TpIpDownsample.h"
#include "parameters/ParameterContainer.h"
#include "parameters/ParameterInterface.h"
#include "tests/common/TestFailure.h"
#include "tests/masks/MaskTestUtil.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

using masktest::At;

namespace {

// The development mask written out plainly: sorted samples for the statistics, a
// clipped-window mean from an integral image.
void DevelReference(const ClImage& in, ClImage& out)
{
  const int32_t w = in.Width(), h = in.Height();
  std::vector<int64_t> s;
  for (int32_t y = h / 10; y < h - h / 10; ++y)
    for (int32_t x = w / 10; x < w - w / 10; ++x)
      s.push_back(At(in, x, y));
  std::sort(s.begin(), s.end());
  const size_t n = s.size();
  auto dark = [&](size_t k) {
    int64_t t = 0;
    for (size_t i = 0; i < k; ++i)
      t += s[i];
    return double(t) / double(k);
  };
  auto bright = [&](size_t k) {
    int64_t t = 0;
    for (size_t i = n - k; i < n; ++i)
      t += s[i];
    return double(t) / double(k);
  };
  out.Copy(in);
  const double a = dark(n / 3), b = bright(n / 20);
  if (b - a < 43.0) {
    out.Fill(static_cast<unsigned char>(255));
    return;
  }
  int32_t lo = int32_t(dark(n / 20) + 0.5);
  if (lo < 32)
    lo = 31;
  const int32_t hi = int32_t(b + 0.5);
  std::vector<int32_t> g(size_t(w) * h);
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x)
      g[size_t(y) * w + x] = 255 - std::clamp((At(in, x, y) - lo) * 255 / (hi - lo), 0, 255);
  // Clipped window sums from an integral image.
  std::vector<int64_t> sat(size_t(w + 1) * (h + 1), 0);
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x)
      sat[size_t(y + 1) * (w + 1) + x + 1] =
          g[size_t(y) * w + x] + sat[size_t(y) * (w + 1) + x + 1] +
          sat[size_t(y + 1) * (w + 1) + x] - sat[size_t(y) * (w + 1) + x];
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x) {
      const int32_t x0 = std::max(0, x - 12), x1 = std::min(w, x + 13);
      const int32_t y0 = std::max(0, y - 12), y1 = std::min(h, y + 13);
      const int64_t sum = sat[size_t(y1) * (w + 1) + x1] - sat[size_t(y0) * (w + 1) + x1] -
                          sat[size_t(y1) * (w + 1) + x0] + sat[size_t(y0) * (w + 1) + x0];
      const int64_t cnt = int64_t(x1 - x0) * (y1 - y0);
      At(out, x, y) = uint8_t(sum / cnt < 231 ? g[size_t(y) * w + x] : 255);
    }
}

} // namespace

TEST(MaskDownsample, KeepsEvenSamplesOrRefusesInOrder)
{
  ClImage in(6, 4, 1, 19685, 19685), out;
  for (int32_t y = 0; y < 4; ++y)
    for (int32_t x = 0; x < 6; ++x)
      At(in, x, y) = uint8_t(10 * y + x);
  ClTpIpDownsample<uint8_t> down;
  down(&in, &out);
  ASSERT_EQ(3, out.Width());
  ASSERT_EQ(2, out.Height());
  EXPECT_EQ(9842, out.PelsY());
  EXPECT_EQ(4, At(out, 2, 0));
  EXPECT_EQ(24, At(out, 2, 1));
  down(&in, &in);
  EXPECT_TRUE(masktest::SameSamples(in, out));

  ClImage oddH(4, 5), oddBoth(5, 5), wide;
  wide.Create(eUInt16, 4, 4);
  EXPECT_CL_THROW(down(nullptr, &out), -44, nullptr);
  EXPECT_CL_THROW(down(&in, nullptr), -44, nullptr);
  EXPECT_CL_THROW(down(&oddBoth, &out), -44, nullptr);
  EXPECT_CL_THROW(down(&oddH, &out), -44, nullptr);
  EXPECT_CL_THROW(down(&wide, &out), -44, nullptr);
}

TEST(MaskFrame, ParametersAndCompute)
{
  ClIpKX10MaskR2 mask;
  EXPECT_EQ(500, mask.m_nInDPI);
  EXPECT_EQ(1.0, mask.m_dInScaleSegmentation);
  EXPECT_EQ(2, mask.m_nSensitivity);

  ClParameterContainer container;
  mask.BindParameters(container);
  const char* aNames[] = {"pInImage", "pOutImage", "dInScaleSegmentation", "nInDPI"};
  ASSERT_EQ(4u, container.GetChildCount());
  for (uint32_t i = 0; i < 4; ++i)
    EXPECT_STREQ(aNames[i], container.GetChild(i)->GetName());
  ClParameterInterface itf;
  mask.DeclareInterface(itf);
  ASSERT_EQ(4u, itf.GetCount());
  EXPECT_STREQ("dInScaleSegmentation", itf.GetFirst()->m_pNext->m_pNext->m_pName);
  EXPECT_STREQ("nInDPI", itf.GetFirst()->m_pNext->m_pNext->m_pNext->m_pName);

  // Compute stores its settings before the run, also when the run refuses the input.
  ClImage wide, out;
  wide.Create(eUInt16, 64, 64, 1, 19685, 19685);
  EXPECT_CL_THROW(mask.Compute(&wide, &out, 300, 0.5), -33, nullptr);
  EXPECT_EQ(300, mask.m_nInDPI);
  EXPECT_EQ(0.5, mask.m_dInScaleSegmentation);
  EXPECT_EQ(&wide, mask.m_pInImage);
  EXPECT_CL_THROW(mask.Compute(nullptr, &out, 500, 1.0), -701, nullptr);
}

TEST(MaskKX2Devel, FlatFrameIsWhite)
{
  ClImage in(120, 90, 1, 19685, 19685), out;
  in.Fill(static_cast<unsigned char>(90));
  ClIpKX2DevelMask mask;
  mask.m_pInImage = &in;
  mask.m_pOutImage = &out;
  EXPECT_EQ(0, mask.Run());
  EXPECT_TRUE(masktest::AllWhite(out));
  EXPECT_EQ(120, out.Width());
  EXPECT_EQ(19685, out.PelsX());
  EXPECT_STREQ("ClIpKX2DevelMask", mask.GetName());
}

TEST(MaskKX2Devel, MatchesPlainReference)
{
  kxsim::ClFinger finger;
  finger.dPressure = 0.7;
  // Every fourth sample of a full frame: small enough for the plain reference.
  const kxsim::ClGreyImage full =
      kxsim::RenderPlacedFinger(finger, 0.3, 800, 750, 2, kxsim::EOrientation::eDisplay);
  kxsim::ClGreyImage grey(200, 187);
  for (int32_t y = 0; y < grey.nHeight; ++y)
    for (int32_t x = 0; x < grey.nWidth; ++x)
      grey.Row(y)[x] = full.At(4 * x, 4 * y);
  ClImage frames[3];
  // The platen (about 16) puts the dark twentieth under 31.5: black point 31.
  masktest::ToImage(grey, frames[0]);
  // Lifted by 40: the dark twentieth no longer falls under the floor of 31.
  masktest::ToImage(grey, frames[1]);
  for (int32_t y = 0; y < grey.nHeight; ++y)
    for (int32_t x = 0; x < grey.nWidth; ++x)
      At(frames[1], x, y) = uint8_t(std::min(255, At(frames[1], x, y) + 40));
  // A bright band in the top tenth stays out of the statistics but is masked.
  masktest::ToImage(grey, frames[2]);
  for (int32_t y = 0; y < 18; ++y)
    std::memset(frames[2].Data() + y * frames[2].LineElements(), 250, 200);

  ClIpKX2DevelMask mask;
  for (ClImage& in : frames) {
    ClImage out, expected;
    DevelReference(in, expected);
    mask.m_pInImage = &in;
    mask.m_pOutImage = &out;
    ASSERT_EQ(0, mask.Run());
    EXPECT_TRUE(masktest::SameSamples(expected, out));
    EXPECT_GT(masktest::FingerArea(out), 2000);
    // In place gives the same.
    mask.m_pOutImage = &in;
    ASSERT_EQ(0, mask.Run());
    EXPECT_TRUE(masktest::SameSamples(expected, in));
  }
}
