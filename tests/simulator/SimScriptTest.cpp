// Scripts: frame bookkeeping, roll departures, and reading them from JSON.
#include "simulator/SimRender.h"

#include <gtest/gtest.h>

using namespace kxsim;

TEST(SimScript, DemoLoopsThroughPlaceHoldLiftAndRoll)
{
  const ClScript s = ClScript::Demo();
  ASSERT_EQ(s.FrameCount(), 10 + 5 + 25 + 4 + 6 + (8 + 36) + 4 + 6);
  EXPECT_EQ(s.SceneAt(0).eContact, EContact::eNone);
  EXPECT_DOUBLE_EQ(s.SceneAt(0).dResidue, 0.1);
  EXPECT_EQ(s.InfoAt(10).eKind, EStep::ePlace);
  EXPECT_LT(s.SceneAt(10).dPlaced, s.SceneAt(14).dPlaced);
  EXPECT_EQ(s.InfoAt(20).eKind, EStep::eStill);
  EXPECT_EQ(s.SceneAt(20).eContact, EContact::eFlat);
  const int64_t roll = s.FirstFrameOf(EStep::eRoll, 0);
  ASSERT_EQ(roll, 50);
  EXPECT_DOUBLE_EQ(s.SceneAt(uint64_t(roll)).dPatchX, 220.0) << "resting before it moves";
  EXPECT_DOUBLE_EQ(s.SceneAt(uint64_t(roll + 8 + 35)).dPatchX, 580.0);
  // The lift after the roll shrinks the patch where the roll ended.
  const ClScene lift = s.SceneAt(uint64_t(roll + 44));
  EXPECT_EQ(lift.eContact, EContact::eRoll);
  EXPECT_DOUBLE_EQ(lift.dPatchX, 580.0);
  EXPECT_LT(lift.dPlaced, 1.0);
  // Looping: the pass repeats.
  EXPECT_EQ(s.InfoAt(uint64_t(s.FrameCount()) + 20).nStep, s.InfoAt(20).nStep);
  ClScript once = s;
  once.SetLoop(false);
  EXPECT_EQ(once.InfoAt(100000).nStep, int(s.Steps().size()) - 1);
}

TEST(SimScript, RollDeparturesShapeThePatchPath)
{
  const ClScript s = ClScript::FromJson(R"([
    {"roll": 20, "from_x": 200, "to_x": 600, "back": {"at": 0.5, "by": 80}, "settle": 0},
    {"roll": 10, "from_x": 200, "to_x": 600, "slip": {"at": 0.5, "dx": 25, "dy": -4}, "settle": 0},
    {"roll": 10, "from_x": 200, "to_x": 600, "lifted": {"at": 0.5, "frames": 6}, "settle": 0}])");
  // Backwards: the centre turns back by 80 pixels, then goes on.
  double lowest = 1e9, previous = 0;
  bool back = false;
  for (int n = 0; n < 20; ++n) {
    const double x = s.SceneAt(uint64_t(n)).dPatchX;
    if (n > 0 && x < previous)
      back = true;
    if (back)
      lowest = std::min(lowest, x);
    previous = x;
  }
  EXPECT_TRUE(back);
  EXPECT_NEAR(lowest, 400.0 - 80.0, 0.5);
  EXPECT_DOUBLE_EQ(previous, 600.0);
  // Slip: the pattern jumps by (25, -4) halfway.
  EXPECT_EQ(s.SceneAt(20 + 4).nShiftX, 0);
  EXPECT_EQ(s.SceneAt(20 + 5).nShiftX, 25);
  EXPECT_EQ(s.SceneAt(20 + 9).nShiftY, -4);
  // Lifted: six frames without contact in the middle, then the roll goes on where it was.
  const int64_t lifted = s.FirstFrameOf(EStep::eRoll, 2);
  EXPECT_EQ(s.FrameCount() - lifted, 16);
  EXPECT_EQ(s.SceneAt(uint64_t(lifted + 4)).eContact, EContact::eRoll);
  for (int k = 5; k < 11; ++k)
    EXPECT_EQ(s.SceneAt(uint64_t(lifted + k)).eContact, EContact::eNone);
  EXPECT_GT(s.SceneAt(uint64_t(lifted + 11)).dPatchX, s.SceneAt(uint64_t(lifted + 4)).dPatchX);
}

TEST(SimScript, JsonStepsCarryFingerAndResidue)
{
  const ClScript s = ClScript::FromJson(R"({"loop": false, "script": [
    {"empty": 2, "residue": 0.7},
    {"place": 3, "finger": {"seed": 11, "pattern": "whorl", "pressure": 0.5, "moisture": -0.5,
                            "fake": true, "x": 380, "y": 360, "width": 320, "height": 480}},
    {"still": 4}, {"lift": 2}, {"empty": 1, "residue": 0}]})");
  EXPECT_FALSE(s.Loop());
  ASSERT_EQ(s.FrameCount(), 12);
  const ClScene held = s.SceneAt(6);
  EXPECT_EQ(held.eContact, EContact::eFlat);
  EXPECT_DOUBLE_EQ(held.dResidue, 0.7) << "residue stays until changed";
  EXPECT_EQ(held.finger.nSeed, 11u);
  EXPECT_EQ(held.finger.ePattern, EPattern::eWhorl);
  EXPECT_TRUE(held.finger.bFake);
  EXPECT_DOUBLE_EQ(held.finger.dCentreX, 380.0);
  EXPECT_DOUBLE_EQ(s.SceneAt(11).dResidue, 0.0);
}

TEST(SimScript, BrokenJsonSaysWhereAndWhy)
{
  struct ClCase
  {
    const char* szText;
    const char* szExpected;
  } cases[] = {
      {"[{\"empty\": 2,", "line"},
      {"[{\"rol\": 3}]", "script[0]"},
      {"[{\"empty\": 2, \"still\": 3}]", "exactly one"},
      {"[{\"still\": 0}]", "outside 1"},
      {"[{\"place\": 2, \"finger\": {\"pressure\": 1.5}}]", "script[0].finger.pressure"},
      {"[{\"place\": 2, \"finger\": {\"pattern\": \"spiral\"}}]", "spiral"},
      {"[{\"roll\": 2, \"path\": []}]", "script[0].path"},
      {"[{\"roll\": 2, \"lift\": 3}]", "exactly one"},
      {"[{\"roll\": 2, \"slip\": {\"at\": 0.5, \"dz\": 1}}]", "dz"},
      {"[{\"empty\": \"many\"}]", "whole number"},
      {"{\"script\": {\"empty\": 1}}", "array of steps"},
  };
  for (const ClCase& c : cases) {
    try {
      ClScript::FromJson(c.szText);
      ADD_FAILURE() << "accepted: " << c.szText;
    } catch (const ClSimConfigError& e) {
      EXPECT_NE(std::string(e.what()).find(c.szExpected), std::string::npos)
          << c.szText << " gave: " << e.what();
    }
  }
}

TEST(SimScript, GroundTruthExistsForEachRollAndStill)
{
  ClSimulator sim(ClScript::Demo());
  ClGreyImage image, mask;
  EXPECT_TRUE(sim.RollTruth(0, EOrientation::eDisplay, image, mask));
  EXPECT_EQ(image.nWidth, kNormalWidth);
  EXPECT_FALSE(sim.RollTruth(1, EOrientation::eDisplay, image, mask));
  ASSERT_TRUE(sim.PlainTruth(0, EOrientation::eDisplay, image, mask));
  const int64_t touched = std::count(mask.aPixels.begin(), mask.aPixels.end(), 255);
  // The held finger trembles a little about the place the truth shows.
  EXPECT_NEAR(double(touched), double(sim.ContactPixels(20)), 0.01 * double(touched));
  // Noise and residue are absent: the background is one grey level.
  EXPECT_EQ(image.At(5, 5), image.At(790, 740));
}

TEST(SimScript, LostFramesAndJitterShapeTheTiming)
{
  const ClScript s = ClScript::FromJson(R"([
    {"empty": 2, "jitter_ms": 4},
    {"roll": 20, "from_x": 200, "to_x": 600, "settle": 0, "drop": [10, 11]},
    {"empty": 2, "jitter_ms": 0}])");
  ASSERT_EQ(s.FrameCount(), 2 + 20 + 2 - 2);
  EXPECT_EQ(s.FirstFrameOf(EStep::eEmpty, 1), 2 + 20 - 2);
  // Delivered frame 11 (step frame 9) is followed by step frame 12: the patch jumps three steps.
  const double step = s.SceneAt(4).dPatchX - s.SceneAt(3).dPatchX;
  EXPECT_NEAR(s.SceneAt(12).dPatchX - s.SceneAt(11).dPatchX, 3 * step, 1e-9);
  EXPECT_EQ(s.TimingAt(12).nLost, 2);
  EXPECT_NEAR(s.TimingAt(12).IntervalMs(30), 90, 4);
  EXPECT_EQ(s.TimingAt(11).nLost, 0);
  int lo = 1000, hi = 0;
  for (uint64_t n = 0; n < 12; ++n) {
    const int ms = s.TimingAt(n).IntervalMs(30);
    lo = std::min(lo, ms);
    hi = std::max(hi, ms);
    EXPECT_EQ(ms, s.TimingAt(n + uint64_t(s.FrameCount())).IntervalMs(30)) << "the same every pass";
  }
  EXPECT_GE(lo, 26);
  EXPECT_LE(hi, 34);
  EXPECT_LT(lo, hi) << "the interval jitters";
  EXPECT_EQ(s.TimingAt(21).IntervalMs(30), 30) << "jitter switched off again";
  EXPECT_EQ(s.TimingAt(21).IntervalMs(0), 0) << "no pacing stays no pacing";
}
