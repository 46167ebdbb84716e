// What applications do that they should not: close or uninitialise while other threads
// still wait for images, change the mode in the middle of a roll, pull the cable.
#include "Harden.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

using namespace harden;

namespace {

class LifecycleAbuse : public ::testing::Test
{
protected:
  void SetUp() override
  {
    ShortLimits();
    Sim().Load(Config());
    // A first thread makes a sanitizer start its helper thread before the count.
    std::thread([] {}).join();
    m_nThreads = Threads();
    ASSERT_EQ(LS_KX2Initialize(nullptr), 0);
    ASSERT_EQ(LS_KX2OpenScanner(szScanner, &m_h), 0);
  }
  void TearDown() override
  {
    if (m_h) {
      EXPECT_EQ(LS_KX2CloseScanner(&m_h), 0);
    }
    EXPECT_EQ(LS_KX2Uninitialize(), 0);
    EXPECT_TRUE(ClaimFree());
    EXPECT_EQ(Threads(), m_nThreads) << "threads left running";
  }

  // A thread fetching images until told to stop or refused; counts what it got.
  void Fetcher(FnImage fn)
  {
    m_Thread = std::thread([this, fn] {
      std::vector<uint8_t> image(800 * 750);
      double d = 0;
      uint8_t b = 0;
      int32_t s = 0;
      while (!m_bStop) {
        LS_KX2TriggerScanner(m_hShared);
        const int32_t n = fn(m_hShared, image.data(), &d, &b, &s);
        ++m_nFetched;
        if (n == -1 || n == -2) // the handle went away
          break;
      }
    });
    while (m_nFetched < 3)
      std::this_thread::yield();
  }
  void Join()
  {
    m_bStop = true;
    m_Thread.join();
  }

  // The handle reopened with the product's limits, so that a wait which ends only at its
  // limit shows in the test's time.
  void ProductLimits()
  {
    ASSERT_EQ(LS_KX2CloseScanner(&m_h), 0);
    Limits(ClKX2LiveCaptureR2::StTuning().nPreviewMs, ClKX2LiveCaptureR2::StTuning().nResultMs);
    ASSERT_EQ(LS_KX2OpenScanner(szScanner, &m_h), 0);
  }

  // One call on another thread that waits for an image nobody triggers; its answer.
  void Waiter(FnImage fn)
  {
    m_nWaitCode = 1;
    m_Thread = std::thread([this, fn] {
      std::vector<uint8_t> image(800 * 750);
      double d = 0;
      uint8_t b = 0;
      int32_t s = 0;
      m_nWaitCode = fn(m_hShared, image.data(), &d, &b, &s);
    });
    // Long enough for the call to be inside its wait; if not, it only starts refused.
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
  }
  // Seconds until the waiter has answered.
  double JoinWaiter()
  {
    const auto start = std::chrono::steady_clock::now();
    m_Thread.join();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  }

  LS_KX2_HANDLE m_h = nullptr;
  LS_KX2_HANDLE m_hShared = nullptr; // the handle as the other thread saw it
  std::thread m_Thread;
  std::atomic<bool> m_bStop{false};
  std::atomic<int> m_nFetched{0};
  std::atomic<int32_t> m_nWaitCode{1};
  int m_nThreads = 0;
};

} // namespace

TEST_F(LifecycleAbuse, CloseWhileAnotherThreadWaitsForImages)
{
  for (uint32_t nMode : {LS_KX2_MODE_PLAIN, LS_KX2_MODE_ROLL}) {
    SCOPED_TRACE(nMode);
    ASSERT_EQ(LS_KX2SetCaptureMode(m_h, nMode), 0);
    m_hShared = m_h;
    m_bStop = false;
    m_nFetched = 0;
    Fetcher(nMode == LS_KX2_MODE_ROLL ? LS_KX2GetRollImage : LS_KX2GetPreviewImage);
    EXPECT_EQ(LS_KX2CloseScanner(&m_h), 0);
    EXPECT_EQ(m_h, nullptr);
    Join();
    EXPECT_TRUE(ClaimFree());
    ASSERT_EQ(LS_KX2OpenScanner(szScanner, &m_h), 0);
    EXPECT_EQ(FreshCapture(m_h), 0);
  }
}

TEST_F(LifecycleAbuse, UninitialiseWithHandlesOpenAndThreadsWaiting)
{
  ASSERT_EQ(LS_KX2SetCaptureMode(m_h, LS_KX2_MODE_PLAIN), 0);
  m_hShared = m_h;
  Fetcher(LS_KX2GetPreviewImage);
  EXPECT_EQ(LS_KX2Uninitialize(), 0);
  Join();
  EXPECT_TRUE(ClaimFree());
  // The old handle is refused, not used.
  uint32_t nMode = 0;
  EXPECT_NE(LS_KX2GetCaptureMode(m_h, &nMode), 0);
  EXPECT_NE(LS_KX2CloseScanner(&m_h), 0);
  m_h = nullptr;
  ASSERT_EQ(LS_KX2Initialize(nullptr), 0);
  ASSERT_EQ(LS_KX2OpenScanner(szScanner, &m_h), 0);
  EXPECT_EQ(FreshCapture(m_h), 0);
}

// Close used to delete the engine under a call still waiting in it; now the wait ends at
// once with the code of a wait that got nothing, and the handle is refused afterwards.
TEST_F(LifecycleAbuse, CloseEndsAWaitForAnImageAtOnce)
{
  ProductLimits();
  for (uint32_t nMode : {LS_KX2_MODE_PLAIN, LS_KX2_MODE_ROLL}) {
    SCOPED_TRACE(nMode);
    ASSERT_EQ(LS_KX2SetCaptureMode(m_h, nMode), 0);
    m_hShared = m_h;
    Waiter(nMode == LS_KX2_MODE_ROLL ? LS_KX2GetRollImage : LS_KX2GetPreviewImage);
    EXPECT_EQ(LS_KX2CloseScanner(&m_h), 0);
    EXPECT_LT(JoinWaiter(), 5.0);
    EXPECT_EQ(m_nWaitCode, -60);
    uint32_t nValue = 0;
    EXPECT_EQ(LS_KX2GetCaptureMode(m_hShared, &nValue), -43);
    EXPECT_EQ(LS_KX2CloseScanner(&m_hShared), -43);
    ASSERT_EQ(LS_KX2OpenScanner(szScanner, &m_h), 0);
  }
}

// A mode change used to leave a roll image call waiting its whole 30 seconds.
TEST_F(LifecycleAbuse, ModeChangeEndsAWaitForARollImage)
{
  ProductLimits();
  ASSERT_EQ(LS_KX2SetCaptureMode(m_h, LS_KX2_MODE_ROLL), 0);
  m_hShared = m_h;
  Waiter(LS_KX2GetRollImage);
  EXPECT_EQ(LS_KX2SetCaptureMode(m_h, LS_KX2_MODE_PLAIN), 0);
  EXPECT_LT(JoinWaiter(), 5.0);
  EXPECT_EQ(m_nWaitCode, -50);
  EXPECT_EQ(FreshCapture(m_h), 0);
}

// The last uninitialise used to leave open handles' threads running and their scanners
// claimed; now it closes their scanners. The handle stays, unusable, and closes.
TEST_F(LifecycleAbuse, LastUninitialiseClosesOpenHandles)
{
  ProductLimits();
  ASSERT_EQ(LS_KX2SetCaptureMode(m_h, LS_KX2_MODE_ROLL), 0);
  m_hShared = m_h;
  Waiter(LS_KX2GetRollImage);
  ASSERT_EQ(LS_KX2Initialize(nullptr), 0);
  EXPECT_EQ(LS_KX2Uninitialize(), 0);
  EXPECT_FALSE(ClaimFree()) << "one reference is left: the handle stays open";
  EXPECT_EQ(LS_KX2Uninitialize(), 0);
  EXPECT_LT(JoinWaiter(), 5.0);
  EXPECT_EQ(m_nWaitCode, -60);
  EXPECT_TRUE(ClaimFree());
  uint32_t nValue = 0;
  EXPECT_EQ(LS_KX2GetCaptureMode(m_h, &nValue), -2);
  ASSERT_EQ(LS_KX2Initialize(nullptr), 0);
  EXPECT_EQ(LS_KX2GetCaptureMode(m_h, &nValue), -2);
  EXPECT_EQ(LS_KX2CloseScanner(&m_h), 0);
  ASSERT_EQ(LS_KX2OpenScanner(szScanner, &m_h), 0);
  EXPECT_EQ(FreshCapture(m_h), 0);
}

// The property table used to be built without a lock by whichever call came first, and a
// name walk rebuilds it under the others.
TEST_F(LifecycleAbuse, PropertyCallsFromManyThreadsOnAFreshHandle)
{
  std::vector<std::thread> threads;
  std::atomic<int> nFailed{0};
  for (int k = 0; k < 4; ++k)
    threads.emplace_back([&, k] {
      for (int i = 0; i < 50; ++i) {
        int32_t n = 0;
        char text[64];
        uint64_t nSize = sizeof(text);
        const int32_t r = k == 0   ? LS_KX2GetPropertyA(m_h, "Version", text, &nSize)
                          : k == 1 ? LS_KX2GetPropertyLongA(m_h, "nResetImage", &n)
                          : k == 2 ? LS_KX2SetPropertyLongA(m_h, "nResetImage", 1)
                                   : LS_KX2GetPropertyLongA(m_h, "nRollFingerStartMode", &n);
        nFailed += r != 0;
      }
    });
  for (auto& t : threads)
    t.join();
  EXPECT_EQ(nFailed, 0);
}

// The workers read the mask settings while the application writes them; under
// ThreadSanitizer a plain store into a bound setting shows here.
TEST_F(LifecycleAbuse, MaskPropertiesWrittenWhileCapturing)
{
  ASSERT_EQ(LS_KX2SetCaptureMode(m_h, LS_KX2_MODE_PLAIN), 0);
  m_hShared = m_h;
  Fetcher(LS_KX2GetPreviewImage);
  for (int i = 0; i < 40; ++i) {
    EXPECT_EQ(LS_KX2SetPropertyLongA(m_h, "nUseFastMask", i % 2), 0);
    EXPECT_EQ(LS_KX2SetPropertyLongA(m_h, "nMaskSensitivity", i % 6), 0);
    EXPECT_EQ(LS_KX2SetPropertyLongA(m_h, "nRolledPostProcess", i % 2), 0);
  }
  Join();
}

TEST_F(LifecycleAbuse, ModeChangesDuringARoll)
{
  ASSERT_EQ(LS_KX2SetCaptureMode(m_h, LS_KX2_MODE_ROLL), 0);
  m_hShared = m_h;
  Fetcher(LS_KX2GetRollImage);
  for (int i = 0; i < 20; ++i) {
    const uint32_t nMode = i % 2 ? LS_KX2_MODE_ROLL : uint32_t(i % 6);
    EXPECT_EQ(LS_KX2SetCaptureMode(m_h, nMode), 0) << nMode;
    EXPECT_EQ(LS_KX2SetPropertyLongA(m_h, "nResetImage", 1), 0);
  }
  Join();
  EXPECT_EQ(FreshCapture(m_h), 0);
}

TEST_F(LifecycleAbuse, UnpluggedAndPluggedBackThenReopened)
{
  ASSERT_EQ(LS_KX2SetCaptureMode(m_h, LS_KX2_MODE_PLAIN), 0);
  m_hShared = m_h;
  Fetcher(LS_KX2GetPreviewImage);
  Sim().SetConnected(0, false);
  EXPECT_NE(FreshCapture(m_h), 0);
  Join();
  EXPECT_EQ(LS_KX2CloseScanner(&m_h), 0);
  EXPECT_TRUE(ClaimFree());
  EXPECT_NE(LS_KX2OpenScanner(szScanner, &m_h), 0);
  EXPECT_EQ(m_h, nullptr);
  Sim().SetConnected(0, true);
  ASSERT_EQ(LS_KX2OpenScanner(szScanner, &m_h), 0);
  EXPECT_EQ(FreshCapture(m_h), 0);
}

// An exit with a scanner left open used to close it from the exit hook, after the liveness
// library's own statics had gone: a double free on the way out of the process.
TEST(LifecycleExit, ExitWithAScannerOpenEndsCleanly)
{
  Sim().Load(Config());
  const pid_t pid = fork();
  if (pid == 0) {
    LS_KX2_HANDLE h = nullptr;
    if (LS_KX2Initialize(nullptr) != 0 || LS_KX2OpenScanner(szScanner, &h) != 0)
      _exit(3);
    std::exit(0);
  }
  int nStatus = 0;
  ASSERT_EQ(waitpid(pid, &nStatus, 0), pid);
  EXPECT_TRUE(WIFEXITED(nStatus) && WEXITSTATUS(nStatus) == 0) << nStatus;
}
