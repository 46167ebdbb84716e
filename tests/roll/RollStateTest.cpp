// The roll's state machine on synthetic frames: a light bar on a dark platen.
#include "tests/roll/RollScripts.h"

#include <gtest/gtest.h>

namespace {

constexpr int32_t kW = 800, kH = 750;

// A finger-like bar with ridges, nWidth columns wide from column x0; no bar for x0 < 0.
void Bar(ClImage& frame, int32_t x0, int32_t nWidth = 140)
{
  frame.Create(eUInt8, kW, kH, 1, 19685, 19685);
  for (int32_t y = 0; y < kH; ++y) {
    uint8_t* p = frame.Data() + ptrdiff_t(y) * frame.LineElements();
    for (int32_t x = 0; x < kW; ++x)
      p[x] = x0 >= 0 && x >= x0 && x < x0 + nWidth && y >= 150 && y < 600 ? ((y / 4) % 2 ? 170 : 90)
                                                                          : 16;
  }
}

class RollState : public ::testing::Test
{
protected:
  // Feeds a bar at x0 (or no finger), nMs after the last frame.
  int32_t Feed(int32_t x0, int64_t nMs = 30, int32_t nWidth = 140)
  {
    Bar(m_Frame, x0, nWidth);
    m_Run.m_Clock.AdvanceMs(nMs - 30);
    return m_Run.Feed(m_Frame);
  }
  // Settles a bar at x0 and rolls it right until the state is rolling.
  void StartRolling(int32_t x0 = 200)
  {
    for (int32_t i = 0; i < 5; ++i)
      Feed(x0);
    ASSERT_EQ(ClIpAutoRoll5::eRolling, Feed(x0));
  }
  ClIpAutoRoll5& Roll() { return m_Run.m_Roll; }

  rolltest::ClRollRun m_Run;
  ClImage m_Frame;
};

TEST_F(RollState, SettlesBeforeRolling)
{
  EXPECT_EQ(ClIpAutoRoll5::eIdle, Feed(-1));
  EXPECT_EQ(ClIpAutoRoll5::eSettling, Feed(200));
  EXPECT_EQ(0, Roll().GetMeasures().nSeriesLen);
  // Up to m_nSettleFrames (2) the series is still settling, then one more frame.
  for (int32_t n = 1; n <= 3; ++n) {
    EXPECT_EQ(ClIpAutoRoll5::eSettling, Feed(200));
    EXPECT_EQ(n, Roll().GetMeasures().nSeriesLen);
  }
  EXPECT_EQ(ClIpAutoRoll5::eRolling, Feed(200));
  // Settling frames pass merging without new pixels: they count but have no direction.
  EXPECT_EQ(4, Roll().GetMeasures().nMergedLen);
  EXPECT_EQ(ClIpAutoRoll5::eUndecided, Roll().GetMeasures().nDirection);
}

TEST_F(RollState, WithoutSettlingTheSecondFrameRolls)
{
  Roll().SetStartSettling(0);
  EXPECT_EQ(ClIpAutoRoll5::eSettling, Feed(200));
  EXPECT_EQ(ClIpAutoRoll5::eRolling, Feed(200));
  EXPECT_EQ(1, Roll().GetMeasures().nSeriesLen);
}

TEST_F(RollState, AFingerJumpWhileSettlingStartsAfresh)
{
  Feed(200);
  Feed(200);
  Feed(200);
  EXPECT_EQ(2, Roll().GetMeasures().nSeriesLen);
  EXPECT_EQ(ClIpAutoRoll5::eSettling, Feed(420));
  EXPECT_EQ(0, Roll().GetMeasures().nSeriesLen);
}

TEST_F(RollState, LostFramesEndTheRoll)
{
  StartRolling();
  for (int32_t i = 1; i < 5; ++i) {
    EXPECT_EQ(ClIpAutoRoll5::eRolling, Feed(-1));
    EXPECT_EQ(i, Roll().GetMeasures().nLostFrames);
  }
  EXPECT_EQ(ClIpAutoRoll5::eFinished, Feed(-1));
  // Eleven frames of 30 ms from the first with finger.
  EXPECT_EQ(300, Roll().GetMeasures().nRollDuration);
}

TEST_F(RollState, AFrameWithoutOverlapCountsAsLostAndSoDoesTheNext)
{
  StartRolling(100);
  Feed(500);
  EXPECT_EQ(1, Roll().GetMeasures().bNoOverlap);
  EXPECT_EQ(0, Roll().GetMeasures().nLostFrames);
  Feed(100);
  EXPECT_EQ(1, Roll().GetMeasures().nLostFrames);
  EXPECT_EQ(0, Roll().GetMeasures().bNoOverlap);
}

TEST_F(RollState, ARollCannotOutlast200FramesOrFiveSecondsWithoutProgress)
{
  StartRolling();
  // A finger lying still gives no direction; 1 ms apart the five seconds never pass.
  int32_t nFrames = 0;
  while (Feed(200, 1) == ClIpAutoRoll5::eRolling && nFrames < 300)
    ++nFrames;
  EXPECT_EQ(201, Roll().GetMeasures().nSeriesLen);
  EXPECT_EQ(ClIpAutoRoll5::eFinished, Roll().GetState());

  Roll().Reset();
  StartRolling();
  const int32_t nSeries = Roll().GetMeasures().nSeriesLen;
  Feed(200, 2000);
  Feed(200, 2000);
  EXPECT_EQ(0, Roll().GetMeasures().nLostFrames);
  Feed(200, 1100);
  EXPECT_EQ(1, Roll().GetMeasures().nLostFrames);
  EXPECT_EQ(nSeries + 2, Roll().GetMeasures().nSeriesLen);
}

TEST_F(RollState, AFingerAfterAFinishedRollStartsANewOne)
{
  StartRolling();
  for (int32_t i = 0; i < 5; ++i)
    Feed(-1);
  ASSERT_EQ(ClIpAutoRoll5::eFinished, Roll().GetState());
  const int32_t nResult = Roll().GetResultCode();
  EXPECT_NE(0, nResult);
  EXPECT_EQ(ClIpAutoRoll5::eSettling, Feed(300));
  EXPECT_EQ(0, Roll().GetResultCode());
  EXPECT_TRUE(Roll().GetDefects().empty());
}

TEST_F(RollState, FinishedKeepsItsImageAndItsAnswer)
{
  const rolltest::StRollCase c = rolltest::GoodRolls()[0];
  kxsim::ClSimulator sim(rolltest::Script(c));
  rolltest::FrameList aFrames = rolltest::Frames(c, sim);
  for (size_t i = 0; i < aFrames.size() && Roll().GetState() != ClIpAutoRoll5::eFinished; ++i)
    m_Run.Feed(*aFrames[i]);
  ASSERT_EQ(ClIpAutoRoll5::eFinished, Roll().GetState());
  ClImage finished;
  finished.Copy(m_Run.m_Out);
  // Each further frame repeats the check with the same answer.
  for (int32_t i = 0; i < 3; ++i) {
    Feed(-1);
    EXPECT_EQ(0, Roll().GetResultCode());
    EXPECT_TRUE(Roll().GetDefects().empty());
    EXPECT_EQ(0,
              std::memcmp(finished.Data(), m_Run.m_Out.Data(), size_t(finished.LineBytes()) * kH));
  }
}

TEST_F(RollState, ResetKeepsTheEdgesRestartClearsThem)
{
  StartRolling();
  const int32_t nLeft = Roll().GetMeasures().nFirstLeft;
  EXPECT_GE(nLeft, 195);
  Roll().Reset();
  EXPECT_EQ(ClIpAutoRoll5::eIdle, Roll().GetState());
  EXPECT_EQ(0, Roll().GetMeasures().nSeriesLen);
  EXPECT_EQ(nLeft, Roll().GetMeasures().nFirstLeft);
  Roll().RestartRoll();
  EXPECT_EQ(-1, Roll().GetMeasures().nFirstLeft);
  EXPECT_EQ(-1, Roll().GetMeasures().nMaxRight);
}

TEST_F(RollState, BordersAreCutAwayAndFilledBack)
{
  Roll().SetBorders(20, 30);
  StartRolling(12);
  ASSERT_EQ(kW, m_Run.m_Out.Width());
  ASSERT_EQ(kH, m_Run.m_Out.Height());
  EXPECT_EQ(kW - 40, m_Run.m_OutMask.Width());
  EXPECT_EQ(kH - 30, m_Run.m_OutMask.Height());
  // The cut columns show background, even where the frame had the bar.
  const uint8_t* pRow = m_Run.m_Out.Data() + ptrdiff_t(300) * m_Run.m_Out.LineElements();
  EXPECT_EQ(0, pRow[15]);
  EXPECT_EQ(170, pRow[25]);
  EXPECT_EQ(0, pRow[kW - 1]);
  // Another frame size starts from idle.
  Roll().SetBorders(0, 30);
  EXPECT_EQ(ClIpAutoRoll5::eSettling, Feed(200));
  EXPECT_EQ(0, Roll().GetMeasures().nSeriesLen);
}

TEST_F(RollState, VelocityMeasureIsTheFastestQuarterAboveTheMean)
{
  EXPECT_EQ(0, Roll().GetVelocityMeasure());
  Roll().AddVelocitySample(900);
  EXPECT_EQ(0, Roll().GetVelocityMeasure());
  for (unsigned v : {100u, 100u, 100u})
    Roll().AddVelocitySample(v);
  EXPECT_EQ(600, Roll().GetVelocityMeasure());
}

TEST_F(RollState, RefusesMissingAndEmptyImages)
{
  ClImage empty, out;
  empty.Create(eUInt8, 0, 10, 1);
  Roll().m_pInImage = &empty;
  Roll().m_pOutImage = &out;
  try {
    Roll().Run();
    ADD_FAILURE();
  } catch (const ClException& e) {
    EXPECT_EQ(-14, e.GetCode());
  }
  Bar(m_Frame, 100);
  Roll().m_pInImage = &m_Frame;
  Roll().m_pOutImage = nullptr;
  try {
    Roll().Run();
    ADD_FAILURE();
  } catch (const ClException& e) {
    EXPECT_EQ(-701, e.GetCode());
  }
}

} // namespace
