// The template operators on the instances in use.
#include "imaging/operators/TpIpAnd.h"
#include "imaging/operators/TpIpBinarize.h"
#include "imaging/operators/TpIpDelta.h"
#include "imaging/operators/TpIpInvert.h"
#include "imaging/operators/TpIpOr.h"
#include "imaging/operators/TpIpScale.h"
#include "imaging/operators/TpIpSubtract.h"
#include "tests/common/TestImages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <utility>

namespace {

template <class P>
void Run2(P& op, ClImage& a, ClImage& b, ClImage& out)
{
  op.m_pInImage1 = &a;
  op.m_pInImage2 = &b;
  op.m_pOutImage = &out;
  ASSERT_EQ(op.Process(), 0);
}

template <class P>
void Run1(P& op, ClImage& in, ClImage& out)
{
  Wire(op, in, out);
  ASSERT_EQ(op.Process(), 0);
}

} // namespace

TEST(OperatorTemplate, PairsSampleBySample)
{
  ClImage a, b, out;
  MakeRandom<uint8_t>(a, 203, 37, 1);
  MakeRandom<uint8_t>(b, 203, 37, 2);
  ClTpIpSubtract<uint8_t, uint8_t, int> sub;
  ClTpIpDelta<uint8_t, int> delta;
  ClTpIpOr<uint8_t> orOp;
  ClTpIpAnd<uint8_t> andOp;
  struct
  {
    const char* szName;
    std::function<void()> run;
    std::function<int(int, int)> f;
  } aCases[] = {
      {"subtract", [&] { Run2(sub, a, b, out); }, [](int x, int y) { return std::max(x - y, 0); }},
      {"delta", [&] { Run2(delta, a, b, out); }, [](int x, int y) { return std::abs(x - y); }},
      {"or", [&] { Run2(orOp, a, b, out); }, [](int x, int y) { return x | y; }},
      {"and", [&] { Run2(andOp, a, b, out); }, [](int x, int y) { return x & y; }},
  };
  for (auto& c : aCases) {
    c.run();
    for (int32_t y = 0; y < 37; ++y)
      for (int32_t x = 0; x < 203; ++x)
        ASSERT_EQ(At<uint8_t>(out, x, y), c.f(At<uint8_t>(a, x, y), At<uint8_t>(b, x, y)))
            << c.szName;
  }
  ClImage p, q, r;
  MakeImage<uint8_t>(p, 1, 1, {3});
  MakeImage<uint8_t>(q, 1, 1, {200});
  Run2(delta, p, q, r);
  EXPECT_EQ(At<uint8_t>(r, 0, 0), 197);
  Run2(delta, q, p, r);
  EXPECT_EQ(At<uint8_t>(r, 0, 0), 197);
  // In place into the first input.
  Run2(sub, q, p, q);
  EXPECT_EQ(At<uint8_t>(q, 0, 0), 197);
  // Input 2 of another size is taken off where it covers input 1; the output keeps
  // input 1's size, and beyond input 2 nothing is taken off.
  for (auto size : {std::make_pair(200, 30), std::make_pair(210, 40), std::make_pair(150, 50)}) {
    MakeRandom<uint8_t>(b, size.first, size.second, 2);
    Run2(sub, a, b, out);
    ASSERT_EQ(out.Width(), 203);
    ASSERT_EQ(out.Height(), 37);
    for (int32_t y = 0; y < 37; ++y)
      for (int32_t x = 0; x < 203; ++x) {
        const bool bCovered = x < size.first && y < size.second;
        const int nExpected = bCovered ? std::max(At<uint8_t>(a, x, y) - At<uint8_t>(b, x, y), 0)
                                       : At<uint8_t>(a, x, y);
        ASSERT_EQ(At<uint8_t>(out, x, y), nExpected) << size.first << "x" << size.second;
      }
  }
}

TEST(OperatorTemplate, OneInputOperators)
{
  ClImage in, out;
  MakeImage<uint8_t>(in, 4, 1, {0, 1, 100, 255});
  ClTpIpInvert<uint8_t, uint8_t> inv8;
  Run1(inv8, in, out);
  EXPECT_EQ(At<uint8_t>(out, 1, 0), 254);
  EXPECT_EQ(At<uint8_t>(out, 3, 0), 0);
  // The inner difference wraps in the input's width before it reaches 16 bits.
  ClTpIpInvert<uint8_t, uint16_t> inv16;
  Run1(inv16, in, out);
  EXPECT_EQ(out.DataType(), eUInt16);
  EXPECT_EQ(At<uint16_t>(out, 0, 0), 255);
  EXPECT_EQ(At<uint16_t>(out, 1, 0), 510);
  EXPECT_EQ(At<uint16_t>(out, 3, 0), 256);

  ClTpIpBinarize<uint8_t, uint8_t> bin;
  Run1(bin, in, out);
  for (int32_t x = 0; x < 4; ++x)
    EXPECT_EQ(At<uint8_t>(out, x, 0), 255) << "threshold 0 leaves all high";
  bin.m_nThreshold = 100;
  bin.m_nLow = 3;
  Run1(bin, in, out);
  EXPECT_EQ(At<uint8_t>(out, 1, 0), 3);
  EXPECT_EQ(At<uint8_t>(out, 2, 0), 255);

  ClTpIpScale<uint8_t, uint8_t, double> scale;
  scale.m_dFactor = 1.7;
  scale.m_dLower = 10.9;
  scale.m_dUpper = 200.5;
  Run1(scale, in, out);
  EXPECT_EQ(At<uint8_t>(out, 0, 0), 10);
  EXPECT_EQ(At<uint8_t>(out, 2, 0), 170);
  EXPECT_EQ(At<uint8_t>(out, 3, 0), 200);
  ClImage f;
  MakeImage<float>(f, 1, 1, {1});
  EXPECT_THROW(Run1(scale, f, out), ClException);
}
