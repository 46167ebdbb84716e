// The 1-to-1 frame: type check, in-place safety whatever the algorithm allows, and the
// generic pixel loop with its 256-entry table.
#include "model/FpImage.h"
#include "imaging/Ip1to1Base.h"
#include "parameters/ParameterContainer.h"
#include "parameters/ParameterInterface.h"
#include "tests/common/TestFailure.h"

#include <gtest/gtest.h>

namespace {

// value * m_dFactor + m_dAdd, per sample through ProcessPixel.
class ClIpLinear : public NewIpBase::ClIp1to1Base
{
public:
  explicit ClIpLinear(bool bAllTypes = false)
  {
    AddDataType(eUInt8);
    if (bAllTypes) {
      const EDataType aTypes[] = {eInt8,  eUInt16,  eInt16,    eUInt32,
                                  eInt32, eFloat32, eDouble64, eUInt8};
      AddDataTypes(aTypes, 8);
    }
  }
  ClProcessorBase* Clone() const override { return CloneNew<ClIpLinear>(); }
  const char* GetName() const override { return "ClIpLinear"; }
  double ProcessPixel(ClImage*, ClImage*, double d) override
  {
    ++m_nCalls;
    return d * m_dFactor + m_dAdd;
  }
  void AddType(EDataType e) { AddDataType(e); }
  uint32_t TypeCount() const { return GetDataTypeCount(); }

  double m_dFactor = 1, m_dAdd = 0;
  int m_nCalls = 0;
};

template <class T>
void FillRamp(ClImage& img, EDataType eType, int32_t w, int32_t h, uint32_t planes = 1)
{
  img.Create(eType, w, h, planes);
  for (int32_t y = 0; y < h; ++y)
    for (uint32_t i = 0; i < w * planes; ++i)
      img.Pixels<T>()[y * img.LineElements() + i] = static_cast<T>(y * 10 + i);
}

template <class T>
T At(const ClImage& img, int32_t x, int32_t y)
{
  return img.Pixels<T>()[y * img.LineElements() + x];
}

} // namespace

TEST(ProcessorIp1to1, TypeCheckDecidesIsReadyAndInitialize)
{
  ClIpLinear ip;
  EXPECT_FALSE(ip.IsReady());
  EXPECT_CL_THROW(ip.Run(), -701, nullptr);
  ClImage in, out;
  in.Create(eFloat32, 3, 2);
  ip.m_pInImage = &in;
  ip.m_pOutImage = &out;
  EXPECT_FALSE(ip.IsReady());
  EXPECT_CL_THROW(ip.Run(), -33, nullptr);
  in.Create(eUInt8, 3, 2);
  EXPECT_TRUE(ip.IsReady());
  EXPECT_EQ(0, ip.Run());
  // Types are listed once, in the order first added.
  ip.AddType(eUInt8);
  EXPECT_EQ(1u, ip.TypeCount());
}

TEST(ProcessorIp1to1, ProcessRefusesMissingImagesAndData)
{
  ClIpLinear ip;
  ClImage in, out;
  EXPECT_CL_THROW(ip.Process(), -701, nullptr);
  ip.m_pInImage = &in;
  EXPECT_CL_THROW(ip.Process(), -701, nullptr);
  ip.m_pOutImage = &out;
  EXPECT_CL_THROW(ip.Process(), -701, nullptr);
}

TEST(ProcessorIp1to1, OutputEqualToInputGetsANewBufferWhenNotInPlace)
{
  ClImage img, keep;
  FillRamp<uint8_t>(img, eUInt8, 5, 3);
  keep.Share(img);
  const uint8_t* pOld = img.Data();
  ClIpLinear ip;
  ip.m_dAdd = 100;
  ip.m_pInImage = ip.m_pOutImage = &img;
  ASSERT_EQ(0, ip.Run());
  EXPECT_NE(pOld, img.Data());
  EXPECT_EQ(pOld, keep.Data());
  for (int32_t y = 0; y < 3; ++y)
    for (int32_t x = 0; x < 5; ++x) {
      EXPECT_EQ(y * 10 + x + 100, At<uint8_t>(img, x, y));
      EXPECT_EQ(y * 10 + x, At<uint8_t>(keep, x, y));
    }

  // An in-place algorithm writes into the very buffer.
  ip.m_bInPlace = true;
  pOld = img.Data();
  ASSERT_EQ(0, ip.Run());
  EXPECT_EQ(pOld, img.Data());
  EXPECT_EQ(200, At<uint8_t>(img, 0, 0));
}

TEST(ProcessorIp1to1, Uint8GoesThroughTheTableOverAllPlanes)
{
  ClImage in, out;
  FillRamp<uint8_t>(in, eUInt8, 40, 30, 3);
  ClIpLinear ip;
  ip.m_dAdd = 246; // wraps past 255: the table keeps the low byte
  ip.m_pInImage = &in;
  ip.m_pOutImage = &out;
  ASSERT_EQ(0, ip.Run());
  EXPECT_EQ(256, ip.m_nCalls);
  EXPECT_EQ(uint8_t(246), At<uint8_t>(out, 0, 0));
  EXPECT_EQ(uint8_t(119 + 246), At<uint8_t>(out, 119, 0));
  EXPECT_EQ(uint8_t(290 + 119 + 246), At<uint8_t>(out, 119, 29));

  ip.m_bUseLookUp = false;
  ip.m_nCalls = 0;
  ASSERT_EQ(0, ip.Run());
  EXPECT_EQ(40 * 30, ip.m_nCalls);
}

TEST(ProcessorIp1to1, GenericLoopTruncatesAndCountsWidthSamplesPerRow)
{
  ClImage in, out;
  FillRamp<float>(in, eFloat32, 3, 2);
  ClIpLinear ip(true);
  ip.m_dFactor = 0.5;
  ip.m_pInImage = &in;
  ip.m_pOutImage = &out;
  ASSERT_EQ(0, ip.Run());
  EXPECT_FLOAT_EQ(5.5f, At<float>(out, 1, 1));

  FillRamp<int>(in, eInt32, 3, 2);
  ip.m_dFactor = -0.5;
  ASSERT_EQ(0, ip.Run());
  EXPECT_EQ(-5, At<int>(out, 1, 1)); // -5.5 truncates toward zero

  // Several planes: only the front Width() samples of each row are processed.
  FillRamp<unsigned short>(in, eUInt16, 4, 1, 3);
  ip.m_dFactor = 1;
  ip.m_dAdd = 1000;
  ip.m_nCalls = 0;
  ASSERT_EQ(0, ip.Run());
  EXPECT_EQ(4, ip.m_nCalls);
  EXPECT_EQ(1003, At<unsigned short>(out, 3, 0));
}

TEST(ProcessorIp1to1, UnknownSampleTypeIsMinus101)
{
  ClImage in, out;
  in.Create(static_cast<EDataType>(3), 2, 2);
  ClIpLinear ip;
  ip.AddType(static_cast<EDataType>(3));
  ip.m_pInImage = &in;
  ip.m_pOutImage = &out;
  EXPECT_EQ(-101, ip.Run());
}
