// Failures, mode changes while workers wait, deleting the engine mid-roll, and three
// threads driving one engine at once.
#include "EngineFixture.h"

#include <dirent.h>

#include <fstream>

#include <atomic>
#include <chrono>
#include <future>
#include <iostream>
#include <thread>

namespace {

typedef std::chrono::steady_clock Clock;

// Workers of engines in this process, known by their names.
int Workers()
{
  int n = 0;
  if (DIR* d = opendir("/proc/self/task")) {
    while (dirent* e = readdir(d)) {
      std::ifstream comm(std::string("/proc/self/task/") + e->d_name + "/comm");
      std::string name;
      n += e->d_name[0] != '.' && std::getline(comm, name) && name.rfind("kx2-", 0) == 0;
    }
    closedir(d);
  }
  return n;
}

// Waits for a number of workers, polling: an ended thread leaves the list a little later.
bool ReachesWorkers(int n)
{
  for (int i = 0; i < 1000 && Workers() != n; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  return Workers() == n;
}

class EngineLifecycle : public EngineFixture
{
protected:
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
  EXPECT_TRUE(IsFailure(PreviewFailure(), -60, nullptr));
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
  EXPECT_TRUE(IsFailure(PreviewFailure(), -60, nullptr));
  Engine().SetCaptureMode(4);
  EXPECT_TRUE(IsFailure(RollFailure(), -60, nullptr));
  Engine().SetCaptureMode(5);
  EXPECT_TRUE(IsFailure(ImageFailure(), -60, nullptr));
}

TEST_F(EngineLifecycle, FailingWorkerEndsQuietly)
{
  Open(ScriptConfig(kStill));
  ShortWaits(300);
  // A sensitivity the mask refuses makes the mask workers throw on their first frame.
  // It is written while no worker runs, as the property is.
  Engine().m_nMaskSensitivity = 9;
  Engine().SetCaptureMode(3);
  Engine().Trigger();
  EXPECT_TRUE(IsFailure(PreviewFailure(), -60, nullptr));
  Engine().Trigger();
  EXPECT_TRUE(IsFailure(PreviewFailure(), -60, nullptr)) << "it stays ended";
  Engine().SetCaptureMode(5);
  Engine().Trigger();
  EXPECT_EQ(ImageFailure().nCode, -60);

  // A mode change starts fresh workers, with nothing left locked by the failed ones.
  Engine().SetCaptureMode(1);
  Engine().m_nMaskSensitivity = 3;
  Engine().SetTuning(TestTuning());
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
    std::future<void> change =
        std::async(std::launch::async, [&] { Engine().SetCaptureMode(nMode); });
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
  Engine().SetCaptureMode(4);
  EXPECT_TRUE(ReachesWorkers(2));
  ClImage image;
  uint32_t nStatus = 0;
  double dScore = 0;
  for (int i = 0; i < 20; ++i) {
    Engine().Trigger();
    Engine().GetRollImage(image, &nStatus, &dScore);
  }
  EXPECT_EQ(nStatus, 1u) << "rolling";
  m_pEngine.reset();
  EXPECT_TRUE(ReachesWorkers(0));
}

TEST_F(EngineLifecycle, StressTriggerPreviewAndModeChanges)
{
  // The built-in script (a finger placed and held, lifted, rolled, in a loop) on a small
  // platen, with the fast mask: what counts here is the threads, not the pixels.
  Open(R"({"devices":[{"interface":0,"normal_size":[320,300],"raw_size":[640,600]}]})");
  Engine().m_nUseFastMask = 1;
  ClKX2LiveCaptureR2::StTuning w;
  w.nWorkerMs = 50;
  w.nPreviewMs = w.nResultMs = 20;
  w.bLowPriority = false;
  Engine().SetTuning(w);
  std::atomic<bool> bDone{false};
  std::atomic<int> nTriggers{0}, nImages{0};
  // Refusals and time-outs are expected as the modes change under the callers' feet.
  auto loop = [&](auto fnCall) {
    return std::thread([&, fnCall] {
      while (!bDone)
        if (!fnCall())
          std::this_thread::sleep_for(std::chrono::microseconds(300));
    });
  };
  std::thread trigger =
      loop([&] { return FailureOf([&] { Engine().Trigger(); }).nCode == 0 && ++nTriggers; });
  std::thread preview =
      loop([&] { return (PreviewFailure().nCode == 0 || RollFailure().nCode == 0) && ++nImages; });
  const int32_t modes[] = {3, 6, 4, 5, 2, 1, 4, 3, 5, 6};
  for (int i = 0; i < 1000; ++i) {
    Engine().SetCaptureMode(modes[i % 10]);
    // Some frames flow in each mode before the next change.
    const int nSeen = nTriggers;
    for (int k = 0; k < 5 && nTriggers < nSeen + 2; ++k)
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    if (i % 25 == 0)
      ImageFailure();
  }
  bDone = true;
  trigger.join();
  preview.join();
  std::cout << "[ figures  ] 1000 mode changes with " << nTriggers << " triggers and " << nImages
            << " preview or roll images\n";
  EXPECT_GT(nTriggers, 0);
}
