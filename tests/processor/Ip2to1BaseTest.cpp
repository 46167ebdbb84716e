// The 2-to-1 frame: readiness, the placement of both inputs for positive and negative
// offsets, plane pairs, output types and the uint8 pair table.
#include "model/FpImage.h"
#include "imaging/Ip2to1Base.h"
#include "parameters/ParameterContainer.h"
#include "tests/common/TestFailure.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

class ClIpSum : public ClIp2to1Base
{
public:
  ClProcessorBase* Clone() const override { return CloneNew<ClIpSum>(); }
  const char* GetName() const override { return "ClIpSum"; }
  double ProcessPixels(ClImage*, ClImage*, ClImage*, double a, double b) override
  {
    ++m_nCalls;
    return a + b;
  }
  int m_nCalls = 0;
};

// Rows given as lists of samples; one plane unless told.
void Make(ClImage& img, const std::vector<std::vector<int>>& rows, uint32_t nPlanes = 1,
          EDataType eType = eUInt8)
{
  img.Create(eType, int32_t(rows[0].size() / nPlanes), int32_t(rows.size()), nPlanes);
  for (size_t y = 0; y < rows.size(); ++y)
    for (size_t i = 0; i < rows[y].size(); ++i)
      img.Data()[y * img.LineBytes() + i] = uint8_t(rows[y][i]);
}

std::vector<std::vector<int>> Rows(const ClImage& img)
{
  std::vector<std::vector<int>> rows(size_t(img.Height()));
  for (int32_t y = 0; y < img.Height(); ++y)
    for (uint32_t i = 0; i < img.Width() * img.Planes(); ++i)
      rows[size_t(y)].push_back(img.Data()[y * img.LineBytes() + i]);
  return rows;
}

struct Pair
{
  Pair(const std::vector<std::vector<int>>& a, const std::vector<std::vector<int>>& b)
  {
    Make(in1, a);
    Make(in2, b);
    ip.m_pInImage1 = &in1;
    ip.m_pInImage2 = &in2;
    ip.m_pOutImage = &out;
    ip.m_bSizeMustBeEqual = false;
  }
  ClImage in1, in2, out;
  ClIpSum ip;
};

using Grid = std::vector<std::vector<int>>;

} // namespace

TEST(ProcessorIp2to1, NotReadyAndSizeRulesReturnStatusWithoutTouchingTheOutput)
{
  Pair p({{10, 20, 30, 40}}, {{1, 2, 3, 4}});
  Make(p.out, {{99}});
  p.ip.m_bSizeMustBeEqual = true;
  p.ip.m_nOffsetX = 2;
  EXPECT_EQ(-44, p.ip.Run());
  p.ip.m_nOffsetX = 0;
  Make(p.in2, {{1, 2, 3}});
  EXPECT_EQ(-44, p.ip.Run());
  EXPECT_EQ((Grid{{99}}), Rows(p.out));
  p.ip.m_pInImage2 = nullptr;
  EXPECT_FALSE(p.ip.IsReady());
  EXPECT_EQ(-37, p.ip.Run());
  p.ip.m_pInImage2 = &p.out;
  p.out.Clear();
  EXPECT_EQ(-37, p.ip.Run());
}

TEST(ProcessorIp2to1, EqualSizesCombineEverySample)
{
  Pair p({{10, 20}, {30, 40}}, {{1, 2}, {3, 4}});
  p.ip.m_bSizeMustBeEqual = true;
  ASSERT_EQ(0, p.ip.Run());
  EXPECT_EQ((Grid{{11, 22}, {33, 44}}), Rows(p.out));
  EXPECT_EQ(eUInt8, p.out.DataType());
}

TEST(ProcessorIp2to1, OffsetsPlaceAndClipTheInputs)
{
  const struct
  {
    Grid a, b;
    int32_t nX, nY, nFill;
    Grid expected;
  } cases[] = {
      // Positive offsets place input 2 behind input 1.
      {{{10, 20, 30, 40}}, {{1, 2, 3, 4}}, 2, 0, 7, {{10, 20, 31, 42, 3, 4}}},
      {{{10}, {20}, {30}}, {{1}, {2}, {3}}, 0, 1, 7, {{10}, {21}, {32}, {3}}},
      // Negative ones paste both at the same place; the overlap reads input 1 from 0 and
      // input 2 from the shift.
      {{{10, 20, 30, 40}}, {{1, 2, 3, 4}}, -2, 0, 7, {{7, 7, 13, 24, 3, 4}}},
      {{{10, 20}, {30, 40}}, {{1, 2}, {3, 4}}, -1, -1, 7, {{7, 7, 7}, {7, 14, 2}, {7, 3, 4}}},
      // Input 2 wider than input 1 with a negative shift runs past the output: clipped.
      {{{10, 20}}, {{1, 2, 3, 4}}, -1, 0, 0, {{0, 12, 2, 3}}},
      {{{10, 20, 30, 40}}, {{1, 2}}, 0, 0, 0, {{11, 22, 30, 40}}},
      {{{10, 20}}, {{1, 2}}, 5, 0, 0, {{10, 20, 0, 0, 0, 1, 2}}},
  };
  for (const auto& c : cases) {
    Pair p(c.a, c.b);
    p.ip.m_dFillColor = c.nFill;
    p.ip.m_nOffsetX = c.nX;
    p.ip.m_nOffsetY = c.nY;
    ASSERT_EQ(0, p.ip.Run());
    EXPECT_EQ(c.expected, Rows(p.out)) << c.nX << "," << c.nY;
  }
  Pair p({{10, 20, 30, 40}}, {{1, 2, 3, 4}});
  p.ip.m_nOffsetX = 2;
  ASSERT_EQ(0, p.ip.Run());
  EXPECT_EQ((std::vector<int32_t>{2, 2, 2, 0}),
            (std::vector<int32_t>{p.ip.m_nOverlapWidth, p.ip.m_nOutStart, p.ip.m_nIn1Start,
                                  p.ip.m_nIn2Start}));
  p.ip.m_nOffsetX = -2;
  ASSERT_EQ(0, p.ip.Run());
  EXPECT_EQ(0, p.ip.m_nIn1Start);
  EXPECT_EQ(2, p.ip.m_nIn2Start);
  p.ip.m_nOffsetX = 5;
  ASSERT_EQ(0, p.ip.Run());
  EXPECT_EQ(0, p.ip.m_nIn1Start);
  p.ip.m_nOffsetX = 2147483647;
  EXPECT_EQ(-44, p.ip.Run());
}

TEST(ProcessorIp2to1, ThreePlanesAgainstOneCombineEachPlane)
{
  Pair p({{10, 20, 30, 40, 50, 60}}, {{1, 2}});
  Make(p.in1, {{10, 20, 30, 40, 50, 60}}, 3);
  ASSERT_EQ(0, p.ip.Run());
  EXPECT_EQ((Grid{{11, 21, 31, 42, 52, 62}}), Rows(p.out));

  // One plane against three does nothing in the overlap; the target keeps its fill.
  Pair q({{10, 20}}, {{1, 2, 3, 4, 5, 6}});
  Make(q.in2, {{1, 2, 3, 4, 5, 6}}, 3);
  q.ip.m_nOffsetX = 1;
  ASSERT_EQ(0, q.ip.Run());
  EXPECT_EQ((Grid{{10, 20, 0}}), Rows(q.out));
}

TEST(ProcessorIp2to1, OutputTypeAndInPlaceOutput)
{
  Pair p({{200, 20}}, {{100, 2}});
  p.ip.m_eOutImageType = eUInt16;
  ASSERT_EQ(0, p.ip.Run());
  ASSERT_EQ(eUInt16, p.out.DataType());
  EXPECT_EQ(300, p.out.Pixels<uint16_t>()[0]);

  p.ip.m_eOutImageType = eTypeDefault;
  p.ip.m_pOutImage = &p.in1;
  const uint8_t* pOld = p.in1.Data();
  ASSERT_EQ(0, p.ip.Run());
  EXPECT_NE(pOld, p.in1.Data());
  EXPECT_EQ((Grid{{44, 22}}), Rows(p.in1));

  p.ip.m_eOutImageType = static_cast<EDataType>(3);
  EXPECT_EQ(-101, p.ip.Run());
}

TEST(ProcessorIp2to1, Uint8PairTableGivesTheDirectResult)
{
  Pair p({{10, 200}, {0, 255}}, {{1, 100}, {0, 255}});
  p.ip.m_bUseLookUp = true;
  ASSERT_EQ(0, p.ip.Run());
  EXPECT_EQ(65536, p.ip.m_nCalls);
  EXPECT_EQ((Grid{{11, 44}, {0, 254}}), Rows(p.out));
}

TEST(ProcessorIp2to1, ParametersReachTheMembers)
{
  ClIpSum ip;
  ClParameterContainer c;
  ip.CaptureDefaults(c);
  c.Find("OutImageType")->SetFromString("Unsigned Short");
  c.Find("SizeMustBeEqual")->SetFromString("false");
  c.Find("OffsetX")->SetFromString("-3");
  EXPECT_EQ(eUInt16, ip.m_eOutImageType);
  EXPECT_FALSE(ip.m_bSizeMustBeEqual);
  EXPECT_EQ(-3, ip.m_nOffsetX);
  c.ResetToDefault();
  EXPECT_EQ(eTypeDefault, ip.m_eOutImageType);
  EXPECT_TRUE(ip.m_bSizeMustBeEqual);
}
