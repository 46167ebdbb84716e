// Each departure of a scripted roll is judged with its code; its good twin is not.
#include "tests/roll/RollScripts.h"

#include <gtest/gtest.h>

namespace {

class RollJudgement : public ::testing::TestWithParam<rolltest::StRollCase>
{};

TEST_P(RollJudgement, JudgesTheScriptedRoll)
{
  const rolltest::StRollCase& c = GetParam();
  kxsim::ClSimulator sim(rolltest::Script(c));
  rolltest::ClRollRun run(c.nBorderTop);
  EXPECT_EQ(c.nExpected, run.FeedAll(rolltest::Frames(c, sim)));
  EXPECT_EQ(ClIpAutoRoll5::eFinished, run.m_Roll.GetState());
  if (c.nDetail != 0) {
    EXPECT_TRUE(run.m_Roll.HasDefect(c.nDetail));
  }
  if (c.nExpected == 0) {
    EXPECT_TRUE(run.m_Roll.GetDefects().empty());
  }
}

INSTANTIATE_TEST_SUITE_P(Scripts, RollJudgement, ::testing::ValuesIn(rolltest::DefectRolls()),
                         [](const auto& info) { return rolltest::TestName(info.param.sName); });

const rolltest::StRollCase& Case(const char* szName)
{
  const rolltest::StRollCase* p = rolltest::FindRoll(szName);
  if (!p)
    throw std::runtime_error(szName);
  return *p;
}

TEST(RollBackroll, NothingIsMergedAfterIt)
{
  const rolltest::StRollCase& c = Case("backroll");
  kxsim::ClSimulator sim(rolltest::Script(c));
  rolltest::ClRollRun run;
  ClImage atBackroll;
  for (const auto& pFrame : rolltest::Frames(c, sim)) {
    run.Feed(*pFrame);
    if (run.m_Roll.HasDefect(-803) && !atBackroll.Data())
      atBackroll.Copy(run.m_Out);
  }
  ASSERT_TRUE(atBackroll.Data());
  EXPECT_EQ(0, std::memcmp(atBackroll.Data(), run.m_Out.Data(),
                           size_t(atBackroll.LineBytes()) * atBackroll.Height()));
  // The backroll wins over whatever the final checks say.
  EXPECT_EQ(-803, run.m_Roll.GetResultCode());
}

TEST(RollShiftAreas, ASlipIsOutlinedAtLevelTwoWhenActivated)
{
  const rolltest::StRollCase& c = Case("slip");
  kxsim::ClSimulator sim(rolltest::Script(c));
  for (int32_t nActivation : {0, 1}) {
    rolltest::ClRollRun run;
    run.m_Roll.SetShiftAreaActivation(nActivation);
    EXPECT_EQ(-801, run.FeedAll(rolltest::Frames(c, sim)));
    const boost::property_tree::ptree areas = run.m_Roll.GetRollShiftAreas();
    if (nActivation == 0) {
      EXPECT_TRUE(areas.empty());
      continue;
    }
    ASSERT_FALSE(areas.empty());
    for (const auto& area : areas) {
      EXPECT_EQ("", area.first);
      EXPECT_EQ(2, area.second.get<int>("LEVEL"));
      const boost::property_tree::ptree& points = area.second.get_child("POINTS");
      EXPECT_GT(points.size(), 8u);
      for (const auto& point : points) {
        // Y counts from the end of the rows: the outline lies on the rolled finger.
        const int x = point.second.get<int>("X"), y = point.second.get<int>("Y");
        EXPECT_TRUE(x >= 100 && x < 700 && y >= 100 && y < 650) << x << "," << y;
      }
    }
  }
}

TEST(RollShiftAreas, AGoodRollHasNoShiftedArea)
{
  const rolltest::StRollCase& c = Case("slip-twin");
  kxsim::ClSimulator sim(rolltest::Script(c));
  rolltest::ClRollRun run;
  run.m_Roll.SetShiftAreaActivation(1);
  EXPECT_EQ(0, run.FeedAll(rolltest::Frames(c, sim)));
  for (const auto& area : run.m_Roll.GetRollShiftAreas())
    EXPECT_EQ(1, area.second.get<int>("LEVEL"));
}

} // namespace
