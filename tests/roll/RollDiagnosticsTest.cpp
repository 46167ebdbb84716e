// The diagnostics tree and the thresholds loaded from a tree.
#include "tests/roll/RollScripts.h"

#include <boost/property_tree/json_parser.hpp>
#include <gtest/gtest.h>

#include <sstream>

namespace {

using boost::property_tree::ptree;

ptree FromJson(const char* szText)
{
  std::istringstream in(szText);
  ptree tree;
  boost::property_tree::read_json(in, tree);
  return tree;
}

TEST(RollDiagnostics, EveryKeyInOrderWithItsType)
{
  ClIpAutoRoll5 roll;
  ptree tree;
  roll.GetDiagnostics(tree);
  const char* aKeys[] = {"RETURNCODE",
                         "BACKROLL",
                         "OUT_OF_REGION",
                         "OUT_OF_REGION_T",
                         "OUT_OF_REGION_B",
                         "OUT_OF_REGION_L",
                         "OUT_OF_REGION_R",
                         "ROTATED",
                         "SHIFTED",
                         "TOO_SMALL",
                         "TOO_FAST",
                         "MERGED_LEN",
                         "MERGED_WIDTH",
                         "SERIES_LEN",
                         "ROLL_DURATION",
                         "BORDER_SIDE",
                         "BORDER_TOP",
                         "MERGED_LEN_THRESHOLD",
                         "MERGED_WIDTH_THRESHOLD",
                         "SERIES_LEN_THRESHOLD",
                         "SHIFT_DISTANCE_THRESHOLD",
                         "ROTATION_THRESHOLD",
                         "ROLL_VELOCITY",
                         "ROLL_VELOCITY_THRESHOLD",
                         "ROLL_SHIFT_AREAS",
                         "ROLL_SHIFT_AREA_ACTIVATION",
                         "ROLL_SHIFT_AREA_MODE",
                         "ROLL_SHIFT_DISTANCE",
                         "ROTATION"};
  ASSERT_EQ(sizeof(aKeys) / sizeof(aKeys[0]), tree.size());
  size_t i = 0;
  for (const auto& entry : tree) {
    const std::string sKey = aKeys[i++];
    EXPECT_EQ(sKey, entry.first);
    const std::string sValue = entry.second.data();
    if (sKey == "ROLL_SHIFT_AREAS") {
      EXPECT_TRUE(entry.second.empty() && sValue.empty());
    } else if (sKey != "ROTATION_THRESHOLD" && sKey != "ROTATION") {
      EXPECT_EQ(std::to_string(entry.second.get_value<int>()), sValue) << sKey;
    }
  }
  EXPECT_EQ("0.1", tree.get<std::string>("ROTATION_THRESHOLD"));
  EXPECT_EQ(-999.0, tree.get<double>("ROTATION"));
  EXPECT_EQ(150, tree.get<int>("MERGED_WIDTH_THRESHOLD"));
  EXPECT_EQ(85000, tree.get<int>("SHIFT_DISTANCE_THRESHOLD"));
  EXPECT_EQ(2, tree.get<int>("ROLL_SHIFT_AREA_MODE"));
}

TEST(RollDiagnostics, LoadedThresholdsChangeTheJudgement)
{
  const rolltest::StRollCase c = rolltest::GoodRolls()[4];
  kxsim::ClSimulator sim(rolltest::Script(c));
  const rolltest::FrameList aFrames = rolltest::Frames(c, sim);
  rolltest::ClRollRun run;
  ASSERT_EQ(0, run.FeedAll(aFrames));
  ptree before;
  run.m_Roll.GetDiagnostics(before);
  const int32_t nWidth = before.get<int>("MERGED_WIDTH");
  ASSERT_GT(nWidth, 150);

  ptree thresholds =
      FromJson(R"({"UNKNOWN": "x", "ROTATION_THRESHOLD": "0.25", "ROLL_SHIFT_AREA_MODE": "7"})");
  thresholds.put("MERGED_WIDTH_THRESHOLD", nWidth + 1);
  run.m_Roll.LoadThresholds(thresholds);
  EXPECT_EQ(ClIpAutoRoll5::eIdle, run.m_Roll.GetState());
  EXPECT_EQ(-805, run.FeedAll(aFrames));
  ptree after;
  run.m_Roll.GetDiagnostics(after);
  EXPECT_EQ(1, after.get<int>("TOO_SMALL"));
  EXPECT_EQ(nWidth + 1, after.get<int>("MERGED_WIDTH_THRESHOLD"));
  EXPECT_EQ(0.25, after.get<double>("ROTATION_THRESHOLD"));
  EXPECT_EQ(3, after.get<int>("ROLL_SHIFT_AREA_MODE"));
  EXPECT_EQ(3, after.get<int>("MERGED_LEN_THRESHOLD"));
  EXPECT_FALSE(after.get_child_optional("UNKNOWN"));
}

TEST(RollDiagnostics, AMalformedTreeIsRefused)
{
  ClIpAutoRoll5 roll;
  try {
    roll.LoadThresholds(FromJson(R"({"SERIES_LEN_THRESHOLD": "many"})"));
    ADD_FAILURE();
  } catch (const ClException& e) {
    EXPECT_EQ(-101, e.GetCode());
  }
  EXPECT_EQ(15, [&] {
    ptree t;
    roll.GetDiagnostics(t);
    return t.get<int>("SERIES_LEN_THRESHOLD");
  }());
}

TEST(RollDiagnostics, ShiftAreaModeIsClamped)
{
  ClIpAutoRoll5 roll;
  const std::pair<int32_t, int32_t> aCases[] = {{-4, 1}, {1, 1}, {2, 2}, {3, 3}, {9, 3}};
  for (const auto& c : aCases) {
    roll.SetRollShiftAreaMode(c.first);
    EXPECT_EQ(c.second, roll.GetRollShiftAreaMode());
  }
}

} // namespace
