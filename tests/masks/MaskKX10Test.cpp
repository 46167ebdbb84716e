// The KX10 mask and its segmenter on simulator frames.
#include "model/FpImage.h"
#include "imaging/SampleConvert.h"
#include "masks/ActivityKernels.h"
#include "masks/IpKX10MaskR2.h"
#include "masks/IpKX10SegmentMaskR2.h"
#include "tests/common/TestFailure.h"
#include "tests/masks/MaskTestUtil.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <utility>
#include <vector>

using masktest::At;

namespace {

// One output sample of the local stretch, written as plainly as it is described.
uint8_t StretchReference(int m, int g, int l, int h, bool bHigh)
{
  const double q = bHigh ? 0.2 : 0.4;
  const int z = bHigh ? 128 : 32;
  if (m == 255) {
    const int l2 = std::min(l + 5, 32);
    const double gain =
        h == l2 ? std::numeric_limits<double>::infinity() : std::max(255.0 / (h - l2), 0.0);
    const double v = std::max(g - l2, 0) * gain;
    return TruncToSample<uint8_t>(255.0 - std::min(v, 255.0));
  }
  if (m <= z)
    return 255;
  const double a = double(m - z) / (255 - z);
  const int l2 = std::clamp(l + 5 + uint8_t(int((1 - a) * 30)), 0, 32);
  int h2 = std::max(h, 50);
  if (h2 < l2 + 50)
    h2 = std::min(255, l2 + 50);
  const double lim = 1.0 + std::max(0.0, a * 5.0);
  const double gain = std::min(lim, std::max(0.0, 255.0 / (h2 - l2)));
  const int d = std::max(g - l2, 0);
  const double v = a * std::min(255.0, d * gain) + (1 - a) * d;
  if (a > q)
    return uint8_t(int(255 - std::min(v, 255.0)));
  const double a2 = a / q;
  const uint8_t w = uint8_t(int(255 - std::min(v, 255.0)));
  return uint8_t(int(w * a2 + (1 - a2) * 255.0));
}

int64_t Area(const ClImage& in, int32_t nSensitivity, bool bHigh = false)
{
  ClIpKX10MaskR2 mask(bHigh);
  mask.m_nSensitivity = nSensitivity;
  ClImage out;
  EXPECT_EQ(0, mask.Compute(const_cast<ClImage*>(&in), &out, 500, 1.0));
  return masktest::FingerArea(out);
}

} // namespace

// The stretch runs per 2 by 2 block and in vector lanes: every sample still follows the
// plain formula, on frames of two fingers.
TEST(MaskKX10, StretchMatchesPlainFormula)
{
  for (const auto& finger : {std::pair<double, uint32_t>{0.8, 7}, {0.5, 23}}) {
    ClImage in, faded, soft, out;
    masktest::FingerFrame(in, finger.first, finger.second);
    faded.Copy(in);
    for (int32_t y = 0; y < 50; ++y)
      for (int32_t x = 0; x < in.Width(); ++x)
        At(faded, x, y) = uint8_t(y < 25 ? 0 : At(faded, x, y) * (y - 25) / 25);
    for (bool bHigh : {false, true}) {
      for (int32_t nSensitivity : {1, 4}) {
        ClIpKX10SegmentMaskR2 segmenter(bHigh);
        segmenter.m_dVarianceLimit = ClIpKX10MaskR2::VarianceLimit(nSensitivity);
        ASSERT_EQ(0, segmenter.Compute(&faded, &soft));
        ClIpKX10MaskR2 mask(bHigh);
        mask.m_nSensitivity = nSensitivity;
        ASSERT_EQ(0, mask.Compute(&in, &out, 500, 1.0));
        int64_t nWrong = 0, nRim = 0;
        for (int32_t y = 0; y < in.Height(); ++y)
          for (int32_t x = 0; x < in.Width(); ++x) {
            const int m = At(soft, x, y);
            nRim += m > 0 && m < 255;
            nWrong += At(out, x, y) != StretchReference(m, At(faded, x, y),
                                                        At(segmenter.m_LowerEnvelope, x, y),
                                                        At(segmenter.m_UpperEnvelope, x, y), bHigh);
          }
        EXPECT_EQ(0, nWrong) << "high " << bHigh << " sensitivity " << nSensitivity;
        EXPECT_GT(nRim, 1000);
        ClImage same;
        same.Copy(in);
        ASSERT_EQ(0, mask.Compute(&same, &same, 500, 1.0));
        EXPECT_TRUE(masktest::SameSamples(out, same));
      }
    }
  }
}

TEST(MaskKX10, EmptyPlatenIsWhite)
{
  for (double dResidue : {0.0, 0.6}) {
    ClImage in, out;
    masktest::EmptyFrame(in, dResidue);
    ClIpKX10MaskR2 mask(false);
    ASSERT_EQ(0, mask.Compute(&in, &out, 500, 1.0));
    EXPECT_TRUE(masktest::AllWhite(out)) << dResidue;
    EXPECT_EQ(in.Width(), out.Width());
    EXPECT_EQ(in.Height(), out.Height());
  }
}

TEST(MaskKX10, FingerAreaGrowsWithContactAndRidgesAreDark)
{
  int64_t nLast = 0;
  for (double dPressure : {0.3, 0.55, 0.8}) {
    ClImage in, out;
    masktest::FingerFrame(in, dPressure);
    ClIpKX10MaskR2 mask(false);
    ASSERT_EQ(0, mask.Compute(&in, &out, 500, 1.0));
    const int64_t nArea = masktest::FingerArea(out);
    EXPECT_GT(nArea, nLast + 5000) << dPressure;
    nLast = nArea;
    // Bright ridges of the frame come out dark: within the finger, brighter input
    // samples give darker output samples on average.
    double aSum[2] = {0, 0}, aCount[2] = {0, 0};
    for (int32_t y = 300; y < 450; ++y)
      for (int32_t x = 330; x < 470; ++x) {
        const int k = At(in, x, y) > 80;
        aSum[k] += At(out, x, y);
        aCount[k] += 1;
      }
    ASSERT_GT(aCount[0], 0);
    ASSERT_GT(aCount[1], 0);
    EXPECT_LT(aSum[1] / aCount[1] + 60, aSum[0] / aCount[0]) << dPressure;
  }
}

TEST(MaskKX10, HigherSensitivityFindsMoreFinger)
{
  ClImage in;
  masktest::FingerFrame(in, 0.4);
  int64_t nLast = -1;
  for (int32_t s = 0; s <= 5; ++s) {
    const int64_t nArea = Area(in, s);
    EXPECT_GT(nArea, nLast) << "sensitivity " << s;
    nLast = nArea;
  }
}

TEST(MaskKX10, SensitivityIsCheckedOnlyPerFrame)
{
  ClImage in, out(10, 10);
  masktest::FingerFrame(in, 0.8);
  out.Fill(static_cast<unsigned char>(7));
  ClIpKX10MaskR2 mask;
  for (int32_t nBad : {6, -1}) {
    mask.m_nSensitivity = nBad;
    EXPECT_CL_THROW(mask.Compute(&in, &out, 500, 1.0), -44, nullptr);
    EXPECT_EQ(10, out.Width());
    EXPECT_EQ(7, At(out, 3, 3));
  }
  mask.m_nSensitivity = 5;
  EXPECT_EQ(0, mask.Compute(&in, &out, 500, 1.0));
  EXPECT_CL_THROW(mask.Compute(&in, nullptr, 500, 1.0), -701, nullptr);
}

TEST(MaskKX10, TopRowsNeverReachTheMask)
{
  ClImage finger, changed, out1, out2;
  masktest::FingerFrame(finger, 0.8);
  changed.Copy(finger);
  for (int32_t y = 0; y < 25; ++y)
    std::memset(changed.Data() + y * changed.LineElements(), y * 10, size_t(changed.Width()));
  ClIpKX10MaskR2 mask;
  ASSERT_EQ(0, mask.Compute(&finger, &out1, 500, 1.0));
  ASSERT_EQ(0, mask.Compute(&changed, &out2, 500, 1.0));
  EXPECT_TRUE(masktest::SameSamples(out1, out2));

  // A band of finger: unseen in the top rows, found a little lower.
  ClImage empty;
  masktest::EmptyFrame(empty, 0.0);
  for (int32_t nTop : {0, 60}) {
    ClImage band;
    band.Copy(empty);
    for (int32_t y = 0; y < 25; ++y)
      std::memcpy(band.Data() + (nTop + y) * band.LineElements(),
                  finger.Data() + (300 + y) * finger.LineElements(), size_t(band.Width()));
    ASSERT_EQ(0, mask.Compute(&band, &out1, 500, 1.0));
    EXPECT_EQ(nTop == 0, masktest::AllWhite(out1)) << nTop;
  }
}

TEST(MaskKX10, OddFramesFailAtHighResolutionOnly)
{
  ClIpKX10MaskR2 mask;
  ClImage out;
  ClImage wide(801, 750, 1, 19685, 19685), tall(800, 751, 1, 19685, 19685);
  wide.Fill(static_cast<unsigned char>(16));
  tall.Fill(static_cast<unsigned char>(16));
  EXPECT_CL_THROW(mask.Compute(&wide, &out, 500, 1.0), -44, nullptr);
  EXPECT_CL_THROW(mask.Compute(&tall, &out, 500, 1.0), -44, nullptr);
  ClImage low(401, 375, 1, 9842, 9842);
  low.Fill(static_cast<unsigned char>(16));
  EXPECT_EQ(0, mask.Compute(&low, &out, 500, 1.0));
  EXPECT_TRUE(masktest::AllWhite(out));
}

TEST(MaskSegment, ChecksInOrder)
{
  ClIpKX10SegmentMaskR2 seg;
  ClImage out, wide, empty, noRes(20, 20), uneven(20, 20, 1, 19685, 9842),
      good(20, 20, 1, 19685, 19685);
  wide.Create(eUInt16, 20, 20, 1, 19685, 19685);
  empty.Create(eUInt8, 0, 0);
  EXPECT_CL_THROW(seg.Compute(nullptr, &out), -44, nullptr);
  EXPECT_CL_THROW(seg.Compute(&wide, &out), -44, nullptr);
  EXPECT_CL_THROW(seg.Compute(&empty, &out), -44, nullptr);
  EXPECT_CL_THROW(seg.Compute(&noRes, &out), -44, nullptr);
  EXPECT_CL_THROW(seg.Compute(&uneven, &out), -44, nullptr);
  EXPECT_CL_THROW(seg.Compute(&good, nullptr), -44, nullptr);
  EXPECT_FALSE(seg.IsReady());
}

TEST(MaskSegment, HalfSizeWorkMatchesLowResolutionInput)
{
  ClImage in, half, outFull, outHalf;
  masktest::FingerFrame(in, 0.7);
  ClTpIpDownsample<uint8_t>()(&in, &half);
  // The low resolution path raises a lower limit under 200 to 200; the full one not.
  for (double dLimit : {300.0, 150.0}) {
    ClIpKX10SegmentMaskR2 full, low;
    full.m_dVarianceLimit = std::max(dLimit, 200.0);
    low.m_dVarianceLimit = dLimit;
    ASSERT_EQ(0, full.Compute(&in, &outFull));
    ASSERT_EQ(0, low.Compute(&half, &outHalf));
    ASSERT_EQ(800, outFull.Width());
    ASSERT_EQ(400, outHalf.Width());
    EXPECT_EQ(19685, full.m_UpperEnvelope.PelsX());
    int64_t nDiffer = 0, nOrder = 0;
    for (int32_t y = 0; y < 750; ++y)
      for (int32_t x = 0; x < 800; ++x) {
        nDiffer += At(outFull, x, y) != At(outHalf, x / 2, y / 2);
        nDiffer += At(full.m_LowerEnvelope, x, y) != At(low.m_LowerEnvelope, x / 2, y / 2);
        nDiffer += At(full.m_UpperEnvelope, x, y) != At(low.m_UpperEnvelope, x / 2, y / 2);
        nOrder += At(full.m_LowerEnvelope, x, y) > At(full.m_UpperEnvelope, x, y);
      }
    EXPECT_EQ(0, nDiffer) << dLimit;
    EXPECT_EQ(0, nOrder);
    EXPECT_EQ(255, At(outFull, 400, 375));
    EXPECT_EQ(0, At(outFull, 5, 5));
  }
}

TEST(MaskSegment, ReferenceIsHalvedEvenAtLowResolution)
{
  ClImage in, out, half, reference;
  masktest::FingerFrame(in, 0.7, 7, 0.5);
  masktest::EmptyFrame(reference, 0.5);
  ClIpKX10SegmentMaskR2 seg;
  seg.m_pReference = &reference;
  EXPECT_EQ(0, seg.Compute(&in, &out));
  // A low resolution frame is used as it is, but its reference is still halved: a full
  // size reference fits it, one of its own size does not.
  ClTpIpDownsample<uint8_t>()(&in, &half);
  EXPECT_EQ(0, seg.Compute(&half, &out));
  EXPECT_EQ(400, seg.m_LowerEnvelope.Width());
  ClImage small(400, 374, 1, 9842, 9842);
  small.Fill(static_cast<unsigned char>(16));
  seg.m_pReference = &small;
  EXPECT_THROW(seg.Compute(&small, &out), ClException);
  // A reference of another height is taken off where it covers the frame.
  ClImage shorter(800, 748, 1, 19685, 19685);
  shorter.Fill(static_cast<unsigned char>(16));
  seg.m_pReference = &shorter;
  EXPECT_EQ(0, seg.Compute(&half, &out));
  EXPECT_EQ(375, out.Height());
}

// The activity bytes come from a multiplication by the inverse: they still equal the
// truncated quotients, also at and next to whole quotients, below 0, for not-a-number
// and infinity, and the background is cleared as before.
TEST(MaskSegment, ActivityBytesEqualTheTruncatedQuotients)
{
  auto capped = [](double v) { return !(v > 0.0) ? 0 : v >= 255.0 ? 255 : int(v); };
  for (const auto& d : {std::pair<double, double>{1000.0, 150.0}, {1000.0, 25.0}, {3.0, 0.7}}) {
    std::vector<float> a = {0.0f,
                            -0.0f,
                            -1e-6f,
                            std::numeric_limits<float>::quiet_NaN(),
                            std::numeric_limits<float>::infinity(),
                            1e-30f};
    for (int k = 0; k <= 300; ++k)
      for (double dd : {d.first, d.second}) {
        const float f = float(k * dd / 255.0);
        a.insert(a.end(), {f, std::nextafter(f, 0.0f), std::nextafter(f, 1e9f)});
      }
    for (int i = 0; i < 2000; ++i)
      a.push_back(float((i * 7919 % 3001) * 1.37));
    const int32_t n = int32_t(a.size());
    std::vector<uint8_t> upper(a.size()), lower(a.size()), back(a.size());
    for (int32_t i = 0; i < n; ++i)
      back[size_t(i)] = uint8_t(i * 37);
    std::vector<uint8_t> backBefore = back;
    ClassifyActivityRow(a.data(), upper.data(), lower.data(), back.data(), n, d.first, d.second,
                        200);
    for (size_t i = 0; i < a.size(); ++i) {
      ASSERT_EQ(capped(255.0 * a[i] / d.first), upper[i]) << a[i];
      ASSERT_EQ(capped(255.0 * a[i] / d.second), lower[i]) << a[i];
      ASSERT_EQ((a[i] >= d.second || backBefore[i] > 200) ? 0 : backBefore[i], back[i]) << a[i];
    }
  }
}
