// What applications do that they should not: close or uninitialise while other threads
// still wait for images, change the mode in the middle of a roll, pull the cable.
#include "Harden.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

using namespace harden;

namespace {

class LifecycleAbuse : public ::testing::Test
{
protected:
  void SetUp() override
  {
    Sim().Load(Config());
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

  LS_KX2_HANDLE m_h = nullptr;
  LS_KX2_HANDLE m_hShared = nullptr; // the handle as the other thread saw it
  std::thread m_Thread;
  std::atomic<bool> m_bStop{false};
  std::atomic<int> m_nFetched{0};
  int m_nThreads = 0;
};

} // namespace

// Disabled until a call in progress keeps its handle alive: Close deletes the engine under
// a thread inside LS_KX2TriggerScanner, which then locks a destroyed mutex and aborts.
TEST_F(LifecycleAbuse, DISABLED_CloseWhileAnotherThreadWaitsForImages)
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

// Disabled until the last LS_KX2Uninitialize releases open handles: their engine threads
// keep running and their claim stays held, so the scanner cannot be opened again.
TEST_F(LifecycleAbuse, DISABLED_UninitialiseWithHandlesOpenAndThreadsWaiting)
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
