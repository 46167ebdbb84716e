// ClTpIpImageExtension: border placement and its refusals.
#include "imaging/TpIpImageExtension.h"
#include "tests/operators/TestImages.h"

#include <gtest/gtest.h>

TEST(FilterExtension, PlacesTheInputInsideTheFill)
{
  ClImage in, out;
  MakeRandom<uint8_t>(in, 5, 3, 1);
  ClTpIpImageExtension<> ext;
  ext.m_pInImage = &in;
  ext.m_pOutImage = &out;
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
      EXPECT_EQ(At<uint8_t>(out, x, y), bInside ? At<uint8_t>(in, x - 2, y - 1) : 7) << x << "," << y;
    }
}

TEST(FilterExtension, Refusals)
{
  ClImage in, out, rgb;
  MakeRandom<uint8_t>(in, 5, 3, 1);
  MakeRandom<uint8_t>(rgb, 5, 3, 1, 0, 255, 3);
  ClTpIpImageExtension<> ext;
  auto Message = [&]() -> std::string {
    try {
      ext.Process();
    } catch (const ClException& e) {
      EXPECT_EQ(e.GetCode(), -44);
      return e.GetMessage();
    }
    return "";
  };
  EXPECT_NE(Message().find("Both, input and output image must be supplied."), std::string::npos);
  ext.m_pInImage = ext.m_pOutImage = &in;
  EXPECT_NE(Message().find("Inplace processing not possible."), std::string::npos);
  ext.m_pInImage = &rgb;
  ext.m_pOutImage = &out;
  EXPECT_NE(Message().find("Only single plane images supported."), std::string::npos);
  ext.m_pInImage = &in;
  ext.m_nBottom = -1;
  EXPECT_NE(Message().find("Extends must be positive in each direction."), std::string::npos);
}
