// Frame assembly: scripted rolls are rebuilt from the simulator's frames and compared
// with its ground truth.
#include "tests/roll/RollScripts.h"

#include <gtest/gtest.h>

#include <cstdio>

namespace {

class RollFidelity : public ::testing::TestWithParam<rolltest::StRollCase>
{};

// Rebuilds the case from the frames and compares the rolled image with the truth: the
// print as it lies for a rigid finger, the print as the frames showed it otherwise.
void ExpectFidelity(const rolltest::StRollCase& c, bool bAssembled, double dLeastCorrelation,
                    bool bAsSeen = false)
{
  kxsim::ClSimulator sim(rolltest::Script(c));
  kxsim::ClGreyImage truth, mask;
  ASSERT_TRUE(
      sim.RollTruth(0, kxsim::EOrientation::eDisplay, truth, mask, kxsim::kNormalDose, bAsSeen));
  rolltest::ClRollRun run;
  const int32_t nResult =
      run.FeedAll(bAssembled ? rolltest::AssembledFrames(c, sim) : rolltest::Frames(c, sim));
  const rolltest::StFidelity f = rolltest::Compare(run.m_Out, run.m_OutMask, truth, mask);
  std::printf("%-40s %s: result %4d  correlation %.3f  coverage %.3f\n", c.sName.c_str(),
              bAssembled ? "assembled" : (bAsSeen ? "as seen  " : "rendered "), nResult,
              f.dCorrelation, f.dCoverage);
  EXPECT_EQ(nResult, c.nExpected);
  EXPECT_GE(f.dCorrelation, dLeastCorrelation);
  EXPECT_GE(f.dCoverage, 0.95);
}

// Frames cut from the ground truth are put back together into it.
TEST_P(RollFidelity, AssemblesFramesCutFromTheTruth) { ExpectFidelity(GetParam(), true, 0.95); }

// Rendered frames shade the ridges towards the rim of the contact, which the truth does
// not: the correlation is lower, the judgement and the coverage the same.
TEST_P(RollFidelity, RebuildsRenderedRolls) { ExpectFidelity(GetParam(), false, 0.75); }

INSTANTIATE_TEST_SUITE_P(Scripts, RollFidelity, ::testing::ValuesIn(rolltest::GoodRolls()),
                         [](const auto& info) { return rolltest::TestName(info.param.sName); });

} // namespace

namespace {

class RollRealisticFidelity : public ::testing::TestWithParam<rolltest::StRollCase>
{};

// Stretching skin, a shaped, growing, drifting contact and uneven light: the rolled image
// follows the print as the frames showed it.
TEST_P(RollRealisticFidelity, RebuildsThePrintAsSeen)
{
  ExpectFidelity(GetParam(), false, 0.75, true);
}

INSTANTIATE_TEST_SUITE_P(Scripts, RollRealisticFidelity,
                         ::testing::ValuesIn(rolltest::RealisticRolls()),
                         [](const auto& info) { return rolltest::TestName(info.param.sName); });

} // namespace
