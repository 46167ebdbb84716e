// A running roll allocates nothing per frame: every allocation of the process is counted
// while the roll is in its rolling state.
#include "tests/roll/RollScripts.h"
#include "tests/common/CountingAllocator.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

class RollAllocation : public ::testing::TestWithParam<int32_t>
{};

TEST_P(RollAllocation, NoneWhileRolling)
{
  const rolltest::StRollCase c = rolltest::Realistic(rolltest::GoodRolls()[0]);
  kxsim::ClSimulator sim(rolltest::Script(c));
  const rolltest::FrameList aFrames = rolltest::Frames(c, sim);
  rolltest::ClRollRun run;
  run.m_Roll.SetMergeMode(GetParam());
  int32_t nCounted = 0, nRolling = 0;
  int64_t nAllocations = 0;
  for (const auto& pFrame : aFrames) {
    // The first rolling frames size the work images; the last one judges the roll.
    const bool bCount = run.m_Roll.GetState() == ClIpAutoRoll5::eRolling && ++nRolling > 3;
    g_nAllocations = 0;
    g_bCounting = bCount;
    const int32_t nState = run.Feed(*pFrame);
    g_bCounting = false;
    if (bCount && nState == ClIpAutoRoll5::eRolling) {
      ++nCounted;
      nAllocations += g_nAllocations;
    }
  }
  EXPECT_GT(nCounted, 30);
  EXPECT_EQ(0, nAllocations);
}

INSTANTIATE_TEST_SUITE_P(Merges, RollAllocation,
                         ::testing::Values(ClIpAutoRoll5::eMergeExact,
                                           ClIpAutoRoll5::eMergeRegistered),
                         [](const auto& info) { return info.param ? "Registered" : "Exact"; });

} // namespace
