// A running roll allocates nothing per frame: every allocation of the process is counted
// while the roll is in its rolling state.
#include "tests/roll/RollScripts.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

// The replacements pair malloc with free throughout; the compiler cannot see that.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

namespace {
std::atomic<bool> g_bCounting{false};
std::atomic<int64_t> g_nAllocations{0};
} // namespace

void* operator new(size_t n)
{
  if (g_bCounting.load(std::memory_order_relaxed))
    ++g_nAllocations;
  if (void* p = std::malloc(n ? n : 1))
    return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }
void* operator new[](size_t n) { return operator new(n); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete[](void* p, size_t) noexcept { std::free(p); }
void* operator new(size_t n, const std::nothrow_t&) noexcept
{
  try {
    return operator new(n);
  } catch (...) {
    return nullptr;
  }
}
void* operator new[](size_t n, const std::nothrow_t& t) noexcept { return operator new(n, t); }

namespace {

class RollAllocation : public ::testing::TestWithParam<int32_t>
{};

TEST_P(RollAllocation, NoneWhileRolling)
{
  const rolltest::StRollCase c = rolltest::Realistic(rolltest::GoodRolls()[0]);
  kxsim::ClSimulator sim(rolltest::Script(c));
  const rolltest::FrameList aFrames = rolltest::Frames(c, sim);
  rolltest::ClRollRun run;
  run.m_Roll.m_nMergeMode = GetParam();
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
