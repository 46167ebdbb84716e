// Processors that go plane by plane: the caller's image pointers survive a plane that
// throws; an image that is both input and output keeps its pixels in the filters and takes
// the result in the look-up tables.
#include "model/FpImage.h"
#include "imaging/filters/IpFilterMid.h"
#include "imaging/geometry/IpSubsample.h"
#include "imaging/histogram/IpStretchRangeGlobal.h"
#include "tests/common/TestFailure.h"
#include "tests/common/TestImages.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

bool SamePixels(const ClImage& a, const ClImage& b)
{
  if (a.Width() != b.Width() || a.Height() != b.Height() || a.Planes() != b.Planes() ||
      a.DataType() != b.DataType())
    return false;
  const int32_t nRowBytes = a.Width() * static_cast<int32_t>(a.Planes() * a.SampleSize());
  for (int32_t y = 0; y < a.Height(); ++y)
    if (std::memcmp(a.Data() + y * a.LineBytes(), b.Data() + y * b.LineBytes(), nRowBytes) != 0)
      return false;
  return true;
}

} // namespace

TEST(PlaneLoop, ThrowingPlaneLeavesTheCallersPointersAndInput)
{
  ClImage rgb, ref, out;
  MakeRandom<float>(rgb, 9, 7, 3, 0, 100, 3);
  ref.Copy(rgb);
  ClIpSubsample sub;
  sub.m_pInImage = &rgb;
  sub.m_pOutImage = &out;
  // Float planes are refused by each plane's run, after the split.
  EXPECT_CL_THROW(sub.Run(), -103, nullptr);
  EXPECT_EQ(sub.m_pInImage, &rgb);
  EXPECT_EQ(sub.m_pOutImage, &out);
  EXPECT_TRUE(SamePixels(rgb, ref));

  ClImage bytes;
  MakeRandom<uint8_t>(bytes, 9, 7, 4, 0, 255, 3);
  ref.Copy(bytes);
  ClIpFilterMid mid;
  mid.m_pInImage = &bytes;
  mid.m_pOutImage = &out;
  mid.m_nMode = ClIpFilterMid::MODE_DIRECTED;
  EXPECT_CL_THROW(mid.Run(), -701, nullptr);
  EXPECT_EQ(mid.m_pInImage, &bytes);
  EXPECT_EQ(mid.m_pOutImage, &out);
  EXPECT_TRUE(SamePixels(bytes, ref));

  // The processor still works after the throw.
  sub.m_pInImage = &bytes;
  ASSERT_EQ(sub.Run(), 0);
  EXPECT_EQ(out.Planes(), 3u);
  EXPECT_EQ(out.Width(), 5);
}

TEST(PlaneLoop, InPlaceRunsOfTheFilterKeepTheImageAndOfTheTableTakeTheResult)
{
  ClImage rgb, apart;
  MakeRandom<uint8_t>(rgb, 17, 11, 5, 0, 255, 3);
  rgb.SetImageTag(41);

  ClIpFilterMid mid;
  mid.m_nMode = ClIpFilterMid::MODE_XY;
  mid.m_nFilterWidth = 5;
  mid.m_pInImage = &rgb;
  mid.m_pOutImage = &apart;
  ASSERT_EQ(mid.Run(), 0);
  ClImage same;
  same.Copy(rgb);
  mid.m_pInImage = mid.m_pOutImage = &same;
  ASSERT_EQ(mid.Run(), 0);
  EXPECT_FALSE(SamePixels(apart, rgb));
  EXPECT_TRUE(SamePixels(same, rgb));
  EXPECT_EQ(same.ImageTag(), 41u);
  EXPECT_EQ(mid.m_pOutImage, &same);

  MakeRandom<uint8_t>(rgb, 17, 11, 6, 70, 150, 3);
  ClIpStretchRangeGlobal stretch;
  stretch.m_pInImage = &rgb;
  stretch.m_pOutImage = &apart;
  ASSERT_EQ(stretch.Run(), 0);
  same.Copy(rgb);
  stretch.m_pInImage = &same;
  stretch.m_pOutImage = nullptr;
  ASSERT_EQ(stretch.Run(), 0);
  EXPECT_TRUE(SamePixels(same, apart));
  EXPECT_EQ(same.Content(), eRGB);
}
