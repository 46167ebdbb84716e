// The shift areas may be read from another thread while the roll runs on its own.
#include "tests/roll/RollScripts.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

// A light bar with ridges, 160 columns wide from column x0; no bar for x0 < 0.
void Bar(ClImage& frame, int32_t x0)
{
  frame.Create(eUInt8, 800, 750, 1, 19685, 19685);
  for (int32_t y = 0; y < 750; ++y) {
    uint8_t* p = frame.Data() + ptrdiff_t(y) * frame.LineElements();
    for (int32_t x = 0; x < 800; ++x)
      p[x] = x0 >= 0 && x >= x0 && x < x0 + 160 && y >= 150 && y < 600
                 ? (((x + y) / 5) % 2 ? 170 : 70)
                 : 16;
  }
}

TEST(RollConcurrency, ShiftAreasReadWhileRolling)
{
  rolltest::ClRollRun run;
  run.m_Roll.SetShiftAreaActivation(1);
  std::atomic<bool> bDone{false};
  std::atomic<int64_t> nReads{0};
  std::thread reader([&] {
    while (!bDone) {
      const boost::property_tree::ptree areas = run.m_Roll.GetRollShiftAreas();
      nReads += 1 + int64_t(areas.size() > 1000);
    }
  });
  ClImage frame;
  int32_t nFinished = 0;
  for (int32_t nRoll = 0; nRoll < 2; ++nRoll) {
    for (int32_t i = 0; i < 40; ++i) {
      Bar(frame, 200 + std::max(0, i - 6) * 8);
      run.Feed(frame);
    }
    for (int32_t i = 0; i < 6; ++i) {
      Bar(frame, -1);
      run.Feed(frame);
    }
    nFinished += run.m_Roll.GetState() == ClIpAutoRoll5::eFinished;
  }
  bDone = true;
  reader.join();
  EXPECT_EQ(2, nFinished);
  EXPECT_GT(nReads.load(), 0);
}

} // namespace
