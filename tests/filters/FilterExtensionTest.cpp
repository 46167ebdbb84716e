// ClTpIpImageExtension: border placement and its refusals.
#include "imaging/TpIpImageExtension.h"
#include "tests/common/TestFailure.h"
#include "tests/common/TestImages.h"

#include <gtest/gtest.h>

TEST(FilterExtension, PlacesTheInputInsideTheFill)
{
  ClImage in, out;
  MakeRandom<uint8_t>(in, 5, 3, 1);
  ClTpIpImageExtension<> ext;
  Wire(ext, in, out);
  ext.m_nLeft = 2;
  ext.m_nTop = 1;
  ext.m_nRight = 3;
  ext.m_nBottom = 2;
  ext.m_nFillValue = 7;
  ASSERT_EQ(ext.Process(), 0);
  ASSERT_EQ(out.Width(), 10);
  ASSERT_EQ(out.Height(), 6);
  EXPECT_EQ(out.PelsX(), in.PelsX());
  for (int32_t y = 0; y < 6; ++y)
    for (int32_t x = 0; x < 10; ++x) {
      const bool bInside = x >= 2 && x < 7 && y >= 1 && y < 4;
      EXPECT_EQ(At<uint8_t>(out, x, y), bInside ? At<uint8_t>(in, x - 2, y - 1) : 7)
          << x << "," << y;
    }
}

TEST(FilterExtension, Refusals)
{
  ClImage in, out, rgb;
  MakeRandom<uint8_t>(in, 5, 3, 1);
  MakeRandom<uint8_t>(rgb, 5, 3, 1, 0, 255, 3);
  ClTpIpImageExtension<> ext;
  EXPECT_CL_THROW(ext.Process(), -44, nullptr);
  ext.m_pInImage = ext.m_pOutImage = &in;
  EXPECT_CL_THROW(ext.Process(), -44, nullptr);
  Wire(ext, rgb, out);
  EXPECT_CL_THROW(ext.Process(), -44, nullptr);
  ext.m_pInImage = &in;
  ext.m_nBottom = -1;
  EXPECT_CL_THROW(ext.Process(), -44, nullptr);
}
