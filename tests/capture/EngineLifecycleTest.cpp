// Failures, mode changes while workers wait, deleting the engine mid-roll, and three
// threads driving one engine at once.
#include "EngineFixture.h"

#include <dirent.h>

#include <atomic>
#include <chrono>
#include <future>
#include <iostream>
#include <thread>

namespace {

typedef std::chrono::steady_clock Clock;

// Threads of this process.
int ThreadCount()
{
  int n = 0;
  if (DIR* d = opendir("/proc/self/task")) {
    while (dirent* e = readdir(d))
      n += e->d_name[0] != '.';
    closedir(d);
  }
  return n;
}

// Waits for a thread count without depending on how fast threads end.
bool ReachesThreadCount(int n)
{
  for (int i = 0; i < 1000 && ThreadCount() != n; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  return ThreadCount() == n;
}

class EngineLifecycle : public EngineFixture
{
protected:
  StFailure PreviewFailure()
  {
    return FailureOf([&] { ClImage i; uint32_t s; double d; Engine().GetPreviewImage(i, &s, &d); });
  }
  void ShortWaits(int32_t nMs)
  {
    ClKX2LiveCaptureR2::StTuning w = TestTuning();
    w.nPreviewMs = w.nResultMs = nMs;
    Engine().SetTuning(w);
  }
};

const char* const kStill = R"({"empty":2},{"place":2},{"still":400})";

} // namespace

TEST_F(EngineLifecycle, DisconnectSurfacesAsMinus60)
{
  Open(ScriptConfig(kStill, R"("faults":[{"disconnect_at_frame":6}])"));
  Engine().SetCaptureMode(3);
  for (int i = 0; i < 6; ++i)
    Step();
  EXPECT_EQ(CodeOf([&] { Engine().Trigger(); }), -60);
  ShortWaits(100);
  EXPECT_TRUE(IsFailure(PreviewFailure(), -60, "device seems to be disconnected"));
  EXPECT_EQ(CodeOf([&] { Engine().Trigger(); }), -60) << "the device stays gone";
  TearDown();

  Open(ScriptConfig(kStill, R"("faults":[{"disconnect_at_frame":3}])"));
  Engine().SetCaptureMode(4);
  for (int i = 0; i < 3; ++i)
    Engine().Trigger();
  EXPECT_EQ(CodeOf([&] { Engine().Trigger(); }), -60);
}

TEST_F(EngineLifecycle, WaitsEndWithoutTrigger)
{
  Open(ScriptConfig(kStill));
  ShortWaits(100);
  Engine().SetCaptureMode(3);
  EXPECT_TRUE(IsFailure(PreviewFailure(), -60, "device seems to be disconnected"));
  Engine().SetCaptureMode(4);
  EXPECT_TRUE(IsFailure(FailureOf([&] { ClImage i; uint32_t s; double d; Engine().GetRollImage(i, &s, &d); }),
                        -60, "timeout getting bitmap"));
  Engine().SetCaptureMode(5);
  EXPECT_TRUE(IsFailure(FailureOf([&] { ClImage i; uint32_t s; double d; Engine().GetImage(i, &s, &d); }),
                        -60, "timeout getting bitmap"));
}

TEST_F(EngineLifecycle, FailingWorkerEndsQuietly)
{
  Open(ScriptConfig(kStill));
  ShortWaits(300);
  Engine().SetCaptureMode(3);
  Step();
  // A sensitivity the mask refuses makes the mask worker throw on its next frame.
  Engine().m_nMaskSensitivity = 9;
  Engine().Trigger();
  EXPECT_TRUE(IsFailure(PreviewFailure(), -60, "device seems to be disconnected"));
  Engine().Trigger();
  EXPECT_TRUE(IsFailure(PreviewFailure(), -60, "device seems to be disconnected")) << "it stays ended";
  Engine().SetCaptureMode(5);
  Engine().Trigger();
  EXPECT_EQ(CodeOf([&] { ClImage i; uint32_t s; double d; Engine().GetImage(i, &s, &d); }), -60);

  // A mode change starts fresh workers, with nothing left locked by the failed ones.
  Engine().m_nMaskSensitivity = 3;
  Engine().SetCaptureMode(3);
  EXPECT_EQ(Step().nStatus, 0u);
}

TEST_F(EngineLifecycle, ModeChangesWakeWaitingWorkers)
{
  Open(ScriptConfig(kStill));
  // Workers that missed the wake-up would wait an hour.
  ClKX2LiveCaptureR2::StTuning w = TestTuning();
  w.nWorkerMs = 3600 * 1000;
  Engine().SetTuning(w);
  double dWorst = 0;
  for (int32_t nMode : {3, 6, 4, 5, 2, 4, 3, 1}) {
    const Clock::time_point t0 = Clock::now();
    std::future<void> change = std::async(std::launch::async, [&] { Engine().SetCaptureMode(nMode); });
    ASSERT_EQ(change.wait_for(std::chrono::seconds(120)), std::future_status::ready) << nMode;
    change.get();
    dWorst = std::max(dWorst, std::chrono::duration<double, std::milli>(Clock::now() - t0).count());
    if (nMode != 1)
      Engine().Trigger();
  }
  Engine().SetCaptureMode(4);
  std::future<void> end = std::async(std::launch::async, [&] { m_pEngine.reset(); });
  ASSERT_EQ(end.wait_for(std::chrono::seconds(120)), std::future_status::ready);
  std::cout << "[ figures  ] slowest mode change with waiting workers: " << dWorst << " ms\n";
}

TEST_F(EngineLifecycle, DeletingMidRollJoinsEveryWorker)
{
  Open(ScriptConfig(R"({"empty":2},{"roll":60,"from_x":300,"to_x":500},{"lift":4})"));
  const int nBase = ThreadCount();
  Engine().SetCaptureMode(4);
  EXPECT_EQ(ThreadCount(), nBase + 2);
  ClImage image;
  uint32_t nStatus = 0;
  double dScore = 0;
  for (int i = 0; i < 20; ++i) {
    Engine().Trigger();
    Engine().GetRollImage(image, &nStatus, &dScore);
  }
  EXPECT_EQ(nStatus, 1u) << "rolling";
  m_pEngine.reset();
  EXPECT_TRUE(ReachesThreadCount(nBase));
}

TEST_F(EngineLifecycle, StressTriggerPreviewAndModeChanges)
{
  // The built-in script: a finger placed and held, lifted, rolled, in a loop.
  Open(R"({"devices":[{"interface":0}]})");
  ClKX2LiveCaptureR2::StTuning w;
  w.nWorkerMs = 50;
  w.nPreviewMs = w.nResultMs = 20;
  // On a loaded machine an idle worker would make every change wait for its frame.
  w.bLowPriority = false;
  Engine().SetTuning(w);
  std::atomic<bool> bDone{false};
  std::atomic<int> nTriggers{0}, nPreviews{0}, nRolls{0};
  auto idle = [] { std::this_thread::sleep_for(std::chrono::microseconds(300)); };
  std::thread trigger([&] {
    while (!bDone) {
      try {
        Engine().Trigger();
        ++nTriggers;
      } catch (const ClException&) {
        idle();
      }
    }
  });
  std::thread preview([&] {
    ClImage image;
    uint32_t s;
    double d;
    while (!bDone) {
      try {
        Engine().GetPreviewImage(image, &s, &d);
        ++nPreviews;
      } catch (const ClException&) {
        try {
          Engine().GetRollImage(image, &s, &d);
          ++nRolls;
        } catch (const ClException&) {
          idle();
        }
      }
    }
  });
  const int32_t modes[] = {3, 6, 4, 5, 2, 1, 4, 3, 5, 6};
  for (int i = 0; i < 1000; ++i) {
    Engine().SetCaptureMode(modes[i % 10]);
    // Some frames flow in each mode before the next change.
    const int nSeen = nTriggers;
    for (int k = 0; k < 5 && nTriggers < nSeen + 2; ++k)
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    if (i % 25 == 0) {
      ClImage image;
      uint32_t s;
      double d;
      try {
        Engine().GetImage(image, &s, &d);
      } catch (const ClException&) {
      }
    }
  }
  bDone = true;
  trigger.join();
  preview.join();
  std::cout << "[ figures  ] 1000 mode changes with " << nTriggers << " triggers, " << nPreviews
            << " previews, " << nRolls << " roll images\n";
  EXPECT_GT(nTriggers, 0);
}
