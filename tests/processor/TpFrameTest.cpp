// The template frames: every check with its message and code, in its order, and the
// output each frame prepares.
#include "model/FpImage.h"
#include "imaging/TpIp1To1.h"
#include "imaging/TpIp2To1.h"
#include "imaging/TpIpFilterSeparable.h"
#include "tests/common/TestFailure.h"

#include <gtest/gtest.h>

namespace {

template <class TIn, class TOut>
class ClTpIpCopy : public ClTpIp1To1<ClTpIpCopy<TIn, TOut>>
{
public:
  using InType = TIn;
  using OutType = TOut;
  int32_t DoProcess() override
  {
    ++m_nRuns;
    return 0;
  }
  int m_nRuns = 0;
};

template <class T>
class ClTpIpPair : public ClTpIp2To1<ClTpIpPair<T>>
{
public:
  using InType = T;
  using OutType = T;
  int32_t DoProcess() override { return ++m_nRuns; }
  int m_nRuns = 0;
};

template <class T>
class ClTpIpWindow : public ClTpIpFilterSeparable<ClTpIpWindow<T>>
{
public:
  using InType = T;
  int32_t DoProcess() override { return m_nStatus; }
  void Finish() override { ++m_nFinished; }
  int32_t m_nStatus = 0;
  int m_nFinished = 0;
};

} // namespace

TEST(ProcessorTpFrame, OneToOneChecksInOrder)
{
  ClTpIpCopy<uint8_t, uint16_t> ip;
  ClImage in, out;
  EXPECT_CL_THROW(ip.Process(), -44, nullptr);
  ip.m_pInImage = &in;
  EXPECT_CL_THROW(ip.Process(), -44, nullptr);
  ip.m_pOutImage = &out;
  in.Create(eUInt16, 4, 3, 2);
  EXPECT_CL_THROW(ip.Process(), -44, nullptr);
  in.Create(eInt8, 4, 3, 2);
  EXPECT_CL_THROW(ip.Process(), -44, nullptr);
  in.Create(eInt8, 4, 3, 1, 19685, 9842);
  ip.m_pOutImage = &in;
  EXPECT_CL_THROW(ip.Process(), -44, nullptr);
  EXPECT_EQ(0, ip.m_nRuns);

  ip.m_pOutImage = &out;
  ASSERT_EQ(0, ip.Process());
  EXPECT_EQ(eUInt16, out.DataType());
  EXPECT_EQ(4, out.Width());
  EXPECT_EQ(19685, out.PelsX());
  EXPECT_EQ(9842, out.PelsY());

  // In place with equal types leaves the image alone.
  ClTpIpCopy<uint8_t, uint8_t> same;
  same.m_pInImage = same.m_pOutImage = &in;
  const uint8_t* pData = in.Data();
  ASSERT_EQ(0, same.Process());
  EXPECT_EQ(pData, in.Data());
  EXPECT_EQ(1, same.m_nRuns);
}

TEST(ProcessorTpFrame, TwoToOneChecksInOrder)
{
  ClTpIpPair<uint8_t> ip;
  ClImage a, b, out;
  a.Create(eUInt8, 5, 4, 1, 100, 200);
  b.Create(eUInt8, 5, 4, 1, 300, 50);
  EXPECT_CL_THROW(ip.Process(), -44, nullptr);
  ip.m_pInImage1 = &a;
  EXPECT_CL_THROW(ip.Process(), -44, nullptr);
  ip.m_pInImage2 = &b;
  EXPECT_CL_THROW(ip.Process(), -44, nullptr);
  ip.m_pOutImage = &out;
  b.Create(eInt8, 5, 4, 1, 300, 50);
  EXPECT_CL_THROW(ip.Process(), -44, nullptr);
  b.Create(eUInt8, 5, 4, 2, 300, 50);
  EXPECT_CL_THROW(ip.Process(), -44, nullptr);
  b.Create(eUInt8, 5, 4, 1, 300, 50);
  EXPECT_CL_THROW(ip.Process(), -44, nullptr);
  // An unknown resolution on either side is no difference.
  b.SetPelsY(0);
  ASSERT_EQ(1, ip.Process());
  EXPECT_EQ(300, out.PelsX());
  EXPECT_EQ(200, out.PelsY());
  EXPECT_EQ(5, out.Width());

  ClTpIpPair<uint16_t> wide;
  wide.m_pInImage1 = &a;
  wide.m_pInImage2 = &b;
  wide.m_pOutImage = &out;
  EXPECT_CL_THROW(wide.Process(), -44, nullptr);
  a.Create(eUInt8, 5, 4, 3);
  b.Create(eUInt8, 5, 4, 3);
  EXPECT_CL_THROW(ip.Process(), -44, nullptr);
}

TEST(ProcessorTpFrame, FilterChecksInOrderAndFinishFollowsDoProcess)
{
  ClTpIpWindow<float> ip;
  ClImage in, out;
  EXPECT_CL_THROW(ip.Process(), -44, nullptr);
  ip.m_pInImage = &in;
  EXPECT_CL_THROW(ip.Process(), -44, nullptr);
  ip.m_pOutImage = &out;
  in.Create(eDouble64, 7, 5);
  EXPECT_CL_THROW(ip.Process(), -44, nullptr);
  in.Create(eFloat32, 7, 5, 3);
  EXPECT_CL_THROW(ip.Process(), -44, nullptr);
  in.Create(eFloat32, 7, 5);
  ip.m_pOutImage = &in;
  EXPECT_CL_THROW(ip.Process(), -44, nullptr);
  ip.m_pOutImage = &out;
  ip.m_nFilterWidth = 4;
  EXPECT_CL_THROW(ip.Process(), -44, nullptr);
  ip.m_nFilterWidth = 3;
  ip.m_nFilterHeight = -2;
  EXPECT_CL_THROW(ip.Process(), -44, nullptr);
  ip.m_nFilterHeight = 7;
  EXPECT_CL_THROW(ip.Process(), -44, nullptr);
  ip.m_nFilterWidth = 9;
  ip.m_nFilterHeight = 5;
  EXPECT_CL_THROW(ip.Process(), -44, nullptr);
  EXPECT_EQ(0, ip.m_nFinished);

  // 0 passes the odd test; the status of DoProcess is returned after Finish.
  ip.m_nFilterWidth = 0;
  ip.m_nFilterHeight = 5;
  ip.m_nStatus = -7;
  EXPECT_EQ(-7, ip.Process());
  EXPECT_EQ(1, ip.m_nFinished);
}
