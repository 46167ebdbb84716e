// Eight threads of mixed calls on one and on two open scanners, with initialise and
// uninitialise pairs racing the open handles. LSKX2_STRESS_ROUNDS sets the rounds per
// thread (scripts/stress.sh runs 1000).
#include "Harden.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <mutex>
#include <sstream>
#include <thread>

using namespace harden;

namespace {

int Rounds()
{
  const char* s = std::getenv("LSKX2_STRESS_ROUNDS");
  return s ? std::max(1, std::atoi(s)) : 40;
}

struct StTally
{
  std::mutex mutex;
  std::map<int32_t, int64_t> codes;
  std::atomic<int64_t> nCalls{0};
  void Note(int32_t n)
  {
    ++nCalls;
    if (n != 0) {
      std::lock_guard<std::mutex> lock(mutex);
      ++codes[n];
    }
  }
};

// One round of what an application might do on a scanner it shares with other threads.
void Round(LS_KX2_HANDLE h, int nThread, int nRound, StTally& t, std::vector<uint8_t>& image)
{
  double d = 0;
  uint8_t b = 0;
  int32_t s = 0;
  switch ((nThread + nRound) % 9) {
  case 0:
    t.Note(HARDEN_CALL(LS_KX2SetCaptureMode, h,
                       (nThread + nRound) % 2 ? LS_KX2_MODE_ROLL : LS_KX2_MODE_PLAIN));
    break;
  case 1:
    t.Note(HARDEN_CALL(LS_KX2TriggerScanner, h));
    t.Note(HARDEN_CALL(LS_KX2GetPreviewImage, h, image.data(), &d, &b, &s));
    break;
  case 2:
    // A finished roll sends no composite until restarted; without the restart this
    // call would only measure the 30 second wait.
    t.Note(HARDEN_CALL(LS_KX2SetPropertyLongA, h, "nResetImage", 1));
    t.Note(HARDEN_CALL(LS_KX2TriggerScanner, h));
    t.Note(HARDEN_CALL(LS_KX2GetRollImage, h, image.data(), &d, &b, &s));
    break;
  case 3: {
    int32_t n = 0;
    t.Note(HARDEN_CALL(LS_KX2GetPropertyLongA, h, "nResetImage", &n));
    t.Note(HARDEN_CALL(LS_KX2SetPropertyLongA, h, "nResetImage", 1));
    break;
  }
  case 4: {
    uint64_t n = 0;
    HARDEN_CALL(LS_KX2ExtendedScannerAccess, h, 6, nullptr, &n);
    std::string text(n + 1, '\0');
    t.Note(HARDEN_CALL(LS_KX2ExtendedScannerAccess, h, 6, reinterpret_cast<uint8_t*>(text.data()),
                       &n));
    break;
  }
  case 5: {
    uint32_t n = 0;
    t.Note(HARDEN_CALL(LS_KX2GetCaptureMode, h, &n));
    t.Note(HARDEN_CALL(LS_KX2GetScannerCondition, h, &n, &n));
    break;
  }
  case 6: {
    // Thresholds at the ends of their range and documents past the reader's limits.
    static const char* const aDocs[] = {
        R"({"KX2":{"ROLLFINGER":{"BORDER_SIDE":"300","BORDER_TOP":"550"}}})",
        R"({"KX2":{"ROLLFINGER":{"BORDER_SIDE":"-2147483648"}}})",
        R"({"KX2":{"ROLLFINGER":{"SERIES_LEN_THRESHOLD":"2147483647"}}})",
        R"({"KX2":{"ROLLFINGER":{"ROTATION_THRESHOLD":"-1.7e308","BORDER_TOP":"0"}}})",
        R"({"KX2":{"ROLLFINGER":{"BORDER_SIDE":"0","MERGED_LEN_THRESHOLD":"3"}}})"};
    std::string sText =
        nRound % 6 == 5 ? std::string(5000, '[') + std::string(5000, ']') : aDocs[nRound % 5];
    uint64_t n = sText.size() + 1;
    t.Note(
        HARDEN_CALL(LS_KX2ExtendedScannerAccess, h, 7, reinterpret_cast<uint8_t*>(&sText[0]), &n));
    break;
  }
  case 7: {
    // Hostile arguments: modes out of range, null outputs, unknown names.
    uint32_t n = 0;
    t.Note(HARDEN_CALL(LS_KX2SetCaptureMode, h, 6 + nRound % 3));
    t.Note(HARDEN_CALL(LS_KX2GetImage, h, image.data(), nullptr, &b, &s));
    t.Note(HARDEN_CALL(LS_KX2GetPropertyLongA, h, nullptr, &s));
    t.Note(HARDEN_CALL(LS_KX2SetPropertyA, h, "nAverageLivenessScoreMode", "1"));
    t.Note(HARDEN_CALL(LS_KX2SetLED, h, 1, 9));
    t.Note(HARDEN_CALL(LS_KX2GetScannerCondition, h, &n, nullptr));
    break;
  }
  default:
    // Initialise and uninitialise in pairs: the test's own reference keeps the SDK alive.
    t.Note(HARDEN_CALL(LS_KX2Initialize, nullptr));
    t.Note(HARDEN_CALL(LS_KX2Uninitialize));
  }
}

void Stress(int nScanners)
{
  const std::string sSecond = R"({"interface":1,"serial":"21234568",)" + Script() + "}";
  ShortLimits();
  Sim().Load("{\"frame_interval_ms\":0,\"devices\":[{\"interface\":0," + Script() + "}," + sSecond +
             "]}");
  // A first thread makes a sanitizer start its helper thread before the count.
  std::thread([] {}).join();
  const int nThreads = Threads();
  ASSERT_EQ(LS_KX2Initialize(nullptr), 0);
  LS_KX2_HANDLE ah[2] = {};
  const char* aszNames[2] = {szScanner, "KX2 21234568"};
  for (int i = 0; i < nScanners; ++i)
    ASSERT_EQ(LS_KX2OpenScanner(aszNames[i], &ah[i]), 0);
  StTally t;
  const int nRounds = Rounds();
  const auto start = std::chrono::steady_clock::now();
  // Batches of rounds; between them the scanners are closed and reopened.
  const int nBatch = std::max(1, nRounds / 4);
  for (int nFirst = 0; nFirst < nRounds; nFirst += nBatch) {
    std::vector<std::thread> threads;
    for (int k = 0; k < 8; ++k)
      threads.emplace_back([&, k] {
        std::vector<uint8_t> image(800 * 750);
        for (int r = nFirst; r < std::min(nRounds, nFirst + nBatch); ++r)
          Round(ah[k % nScanners], k, r, t, image);
      });
    for (auto& th : threads)
      th.join();
    for (int i = 0; i < nScanners; ++i) {
      t.Note(HARDEN_CALL(LS_KX2CloseScanner, &ah[i]));
      t.Note(HARDEN_CALL(LS_KX2OpenScanner, aszNames[i], &ah[i]));
    }
  }
  const double dSeconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  std::ostringstream codes;
  for (auto& [c, k] : t.codes)
    codes << " " << c << "x" << k;
  std::cout << "stress " << nScanners << " scanner(s), 8 threads x " << nRounds
            << " rounds: " << t.nCalls << " calls in " << dSeconds
            << " s, failures by code:" << codes.str() << std::endl;
  // Handles never went bad, and each still captures.
  EXPECT_EQ(t.codes.count(-43), 0u);
  EXPECT_EQ(t.codes.count(-2), 0u);
  for (int i = 0; i < nScanners; ++i) {
    EXPECT_EQ(FreshCapture(ah[i]), 0);
    EXPECT_EQ(LS_KX2CloseScanner(&ah[i]), 0);
  }
  EXPECT_EQ(LS_KX2Uninitialize(), 0);
  EXPECT_TRUE(ClaimFree());
  EXPECT_EQ(Threads(), nThreads) << "threads left running";
  ExpectDocumented();
}

} // namespace

TEST(Stress, EightThreadsOnOneScanner) { Stress(1); }

TEST(Stress, EightThreadsOnTwoScanners) { Stress(2); }
