// Faults an abuse run of the C interface found: deep JSON, thresholds at the ends of their
// range, and handles left stuck after a failed capture or mode change.
#include "Harden.h"

#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <future>
#include <string>
#include <thread>

using namespace harden;

namespace {

int32_t Write(LS_KX2_HANDLE h, std::string sText)
{
  uint64_t n = sText.size() + 1;
  return LS_KX2ExtendedScannerAccess(h, 7, reinterpret_cast<uint8_t*>(sText.data()), &n);
}

std::string Nested(size_t nDepth, const std::string& sInner = "\"1\"")
{
  std::string s;
  for (size_t i = 0; i < nDepth; ++i)
    s += "{\"a\":";
  s += sInner;
  s.append(nDepth, '}');
  return s;
}

int32_t GetImage(LS_KX2_HANDLE h, FnImage fn = LS_KX2GetImage)
{
  std::vector<uint8_t> image(800 * 750);
  double d = 0;
  uint8_t b = 0;
  int32_t s = 0;
  return fn(h, image.data(), &d, &b, &s);
}

class AbuseRegression : public ::testing::Test
{
protected:
  void Start(const std::string& sConfig = Config())
  {
    ShortLimits();
    Sim().Load(sConfig);
    ASSERT_EQ(LS_KX2Initialize(nullptr), 0);
    ASSERT_EQ(LS_KX2OpenScanner(szScanner, &m_h), 0);
  }
  void TearDown() override
  {
    if (m_h) {
      EXPECT_EQ(LS_KX2CloseScanner(&m_h), 0);
    }
    EXPECT_EQ(LS_KX2Uninitialize(), 0);
  }
  // Rolls until the roll reports its end; the last code of the calls.
  int32_t Roll()
  {
    StOutcome out;
    return CaptureUntilFinger(m_h, LS_KX2GetRollImage, 120, out);
  }
  LS_KX2_HANDLE m_h = nullptr;
};

} // namespace

// Nesting that overflowed the reader's stack, and a liveness part whose pretty-printed
// copy grew with the square of its depth, are refused as malformed, and fast.
TEST_F(AbuseRegression, DeepJsonIsRefusedAsMalformed)
{
  Start();
  const auto start = std::chrono::steady_clock::now();
  for (uint32_t nMode : {LS_KX2_MODE_ROLL, LS_KX2_MODE_LIVENESS}) {
    ASSERT_EQ(LS_KX2SetCaptureMode(m_h, nMode), 0);
    EXPECT_EQ(Write(m_h, Nested(80000)), -101);
    EXPECT_EQ(Write(m_h, std::string(80000, '[') + std::string(80000, ']')), -101);
    EXPECT_EQ(Write(m_h, R"({"KX2":{"PAD":)" + Nested(40000) + "}}"), -101);
    EXPECT_EQ(Write(m_h, R"({"KX2":{"PAD":{"N":)" + std::string(100, '1') + "}}}"), -101);
    // Within the limits the document is taken.
    EXPECT_EQ(Write(m_h, R"({"KX2":{"PAD":)" + Nested(60) + "}}"), 0);
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

// Every threshold at both ends of what the document can carry, then a roll that every
// call of goes through; borders that leave no room to roll are refused.
TEST_F(AbuseRegression, ThresholdsAtTheirEndsStillRoll)
{
  Start();
  ASSERT_EQ(LS_KX2SetCaptureMode(m_h, LS_KX2_MODE_ROLL), 0);
  const std::string sMin = std::to_string(INT_MIN), sMax = std::to_string(INT_MAX);
  const char* const aKeys[] = {"MERGED_LEN_THRESHOLD",    "MERGED_WIDTH_THRESHOLD",
                               "SERIES_LEN_THRESHOLD",    "SHIFT_DISTANCE_THRESHOLD",
                               "ROLL_VELOCITY_THRESHOLD", "ROLL_SHIFT_AREA_ACTIVATION",
                               "ROLL_SHIFT_AREA_MODE",    "ROTATION_THRESHOLD"};
  struct StCase
  {
    std::string sKey, sValue;
    int32_t nWrite;
  };
  std::vector<StCase> cases = {{"BORDER_SIDE", "0", 0},
                               {"BORDER_SIDE", "300", 0},
                               {"BORDER_TOP", "0", 0},
                               {"BORDER_TOP", "550", 0},
                               {"BORDER_SIDE", "301", -101},
                               {"BORDER_SIDE", "400", -101},
                               {"BORDER_TOP", "551", -101},
                               {"BORDER_SIDE", sMin, -101},
                               {"BORDER_TOP", sMin, -101},
                               {"BORDER_TOP", sMax, -101},
                               {"ROTATION_THRESHOLD", "-1.7e308", 0},
                               {"ROTATION_THRESHOLD", "1.7e308", 0}};
  for (const char* k : aKeys)
    for (const std::string& v : {sMin, sMax})
      cases.push_back({k, v, 0});
  const std::string sDefaults =
      R"({"KX2":{"ROLLFINGER":{"MERGED_LEN_THRESHOLD":"3",)"
      R"("MERGED_WIDTH_THRESHOLD":"150","SERIES_LEN_THRESHOLD":"15",)"
      R"("SHIFT_DISTANCE_THRESHOLD":"85000","ROTATION_THRESHOLD":"0.1",)"
      R"("ROLL_VELOCITY_THRESHOLD":"500","ROLL_SHIFT_AREA_ACTIVATION":"0",)"
      R"("ROLL_SHIFT_AREA_MODE":"2","BORDER_SIDE":"0","BORDER_TOP":"0"}}})";
  for (const StCase& c : cases) {
    SCOPED_TRACE(c.sKey + " " + c.sValue);
    ASSERT_EQ(Write(m_h, sDefaults), 0);
    EXPECT_EQ(Write(m_h, R"({"KX2":{"ROLLFINGER":{")" + c.sKey + R"(":")" + c.sValue + R"("}}})"),
              c.nWrite);
    ASSERT_EQ(LS_KX2SetPropertyLongA(m_h, "nResetImage", 1), 0);
    // Every call answers; a finger outside what large borders leave may never end a roll.
    const int32_t n = Roll();
    EXPECT_TRUE(n == 0 || n == -9999) << n;
  }
}

// A device fault in a plain capture leaves the raw set-up the triggers need.
TEST_F(AbuseRegression, FailedCaptureKeepsTriggersWorking)
{
  Start(Config(R"({"call":"ftrScanGetImage","at":0,"error":31,"count":1})"));
  ASSERT_EQ(LS_KX2SetCaptureMode(m_h, LS_KX2_MODE_PLAIN), 0);
  EXPECT_NE(GetImage(m_h), 0);
  EXPECT_EQ(LS_KX2TriggerScanner(m_h), 0);
  EXPECT_EQ(GetImage(m_h, LS_KX2GetPreviewImage), 0);
  EXPECT_EQ(GetImage(m_h), 0);
}

// A mode change that fails half-way leaves the single-shot mode, which works, and the
// failed mode can be set again.
TEST_F(AbuseRegression, FailedModeChangeLeavesAWorkingMode)
{
  Start();
  ASSERT_EQ(LS_KX2SetCaptureMode(m_h, LS_KX2_MODE_PLAIN), 0);
  const int64_t nAt = Sim().Calls("ftrScanRestore7ControlBytes");
  ASSERT_EQ(LS_KX2CloseScanner(&m_h), 0);
  ASSERT_EQ(LS_KX2Uninitialize(), 0);
  Start(Config(R"({"call":"ftrScanRestore7ControlBytes","at":)" + std::to_string(nAt) +
               R"(,"error":31,"count":1})"));
  ASSERT_EQ(LS_KX2SetCaptureMode(m_h, LS_KX2_MODE_PLAIN), 0);
  EXPECT_NE(LS_KX2SetCaptureMode(m_h, LS_KX2_MODE_ROLL), 0);
  uint32_t nMode = 99;
  EXPECT_EQ(LS_KX2GetCaptureMode(m_h, &nMode), 0);
  EXPECT_EQ(nMode, LS_KX2_MODE_SINGLE_SHOT);
  EXPECT_EQ(GetImage(m_h), 0);
  ASSERT_EQ(LS_KX2SetCaptureMode(m_h, LS_KX2_MODE_PLAIN), 0);
  EXPECT_EQ(LS_KX2TriggerScanner(m_h), 0);
  EXPECT_EQ(GetImage(m_h, LS_KX2GetPreviewImage), 0);
}

// A triggered capture waiting for its frame holds up no other call of the handle: a mode
// change goes through at once and ends the wait.
TEST_F(AbuseRegression, TriggeredWaitDoesNotBlockTheHandle)
{
  Limits(1500, 20000);
  Sim().Load(Config());
  ASSERT_EQ(LS_KX2Initialize(nullptr), 0);
  ASSERT_EQ(LS_KX2OpenScanner(szScanner, &m_h), 0);
  ASSERT_EQ(LS_KX2SetCaptureMode(m_h, LS_KX2_MODE_TRIGGERED), 0);
  auto waiting = std::async(std::launch::async, [this] { return GetImage(m_h); });
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(LS_KX2SetCaptureMode(m_h, LS_KX2_MODE_PLAIN), 0);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  EXPECT_EQ(waiting.get(), -50);
}

// The corners where codes escaped the header: calls before initialise, a handle kept over
// the last uninitialise, liveness-only refusals. Each answer is one the header lists.
TEST(DocumentedCodes, CornersOfTheLifecycle)
{
  ShortLimits();
  Sim().Load(Config());
  LS_KX2_HANDLE h = reinterpret_cast<LS_KX2_HANDLE>(&h);
  int32_t n = 0;
  EXPECT_EQ(HARDEN_CALL(LS_KX2GetPropertyLongA, nullptr, "nResetImage", &n), -2);
  EXPECT_EQ(HARDEN_CALL(LS_KX2SetPropertyLongA, nullptr, "nResetImage", 1), -2);
  EXPECT_EQ(HARDEN_CALL(LS_KX2GetCaptureMode, nullptr, nullptr), -42);
  EXPECT_EQ(HARDEN_CALL(LS_KX2OpenScanner, szScanner, &h), -2);
  EXPECT_EQ(h, reinterpret_cast<LS_KX2_HANDLE>(&h)) << "left as it was before initialise";
  ASSERT_EQ(LS_KX2Initialize(nullptr), 0);
  ASSERT_EQ(HARDEN_CALL(LS_KX2OpenScanner, szScanner, &h), 0);
  EXPECT_EQ(HARDEN_CALL(LS_KX2SetCaptureMode, h, LS_KX2_MODE_LIVENESS), 0);
  HARDEN_CALL(LS_KX2SetPropertyA, h, "nAverageLivenessScoreMode", "1");
  HARDEN_CALL(LS_KX2SetPropertyLongA, h, "nAverageLivenessScoreMode", 1);
  ASSERT_EQ(LS_KX2Uninitialize(), 0);
  for (int i = 0; i < 2; ++i) {
    const char* const aNames[] = {"nResetImage", "nUseFastMask", "nAverageLivenessScoreMode",
                                  "nMaskSensitivity", "Version"};
    for (const char* szName : aNames) {
      HARDEN_CALL(LS_KX2SetPropertyLongA, h, szName, 1);
      HARDEN_CALL(LS_KX2SetPropertyA, h, szName, "1");
      HARDEN_CALL(LS_KX2SetPropertyDoubleA, h, szName, 1.0);
      HARDEN_CALL(LS_KX2GetPropertyLongA, h, szName, &n);
    }
    HARDEN_CALL(LS_KX2TriggerScanner, h);
    if (i == 0) {
      ASSERT_EQ(LS_KX2Initialize(nullptr), 0);
    }
  }
  EXPECT_EQ(HARDEN_CALL(LS_KX2CloseScanner, &h), 0);
  EXPECT_EQ(LS_KX2Uninitialize(), 0);
  ExpectDocumented();
}
