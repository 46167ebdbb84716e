// The application loops through the exports against the simulator's demo script: a
// finger is placed, held, lifted, rolled and lifted again, over and over.
#include "ScannerFixture.h"

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

// More frames than two turns of the demo script.
const int nMaxFrames = 400;

struct StResult
{
  int32_t nCode = 0;
  double dScore = -99;
  uint8_t bFinger = 9;
  int32_t nStatus = 99;
  std::vector<uint8_t> image = std::vector<uint8_t>(800 * 750, 0xA5);

  // Pixels darker than the masks' background.
  size_t FingerPixels() const
  {
    return static_cast<size_t>(
        std::count_if(image.begin(), image.end(), [](uint8_t v) { return v < 255; }));
  }
};

using FnImage = int32_t (*)(LS_KX2_HANDLE, uint8_t*, double*, uint8_t*, int32_t*);

StResult Fetch(LS_KX2_HANDLE h, FnImage fn)
{
  StResult r;
  r.nCode = fn(h, r.image.data(), &r.dScore, &r.bFinger, &r.nStatus);
  return r;
}

// Triggers and fetches until the finger flag is set; the frames it took, or -1.
int TriggerUntilFinger(LS_KX2_HANDLE h, FnImage fn, StResult& r)
{
  for (int i = 0; i < nMaxFrames; ++i) {
    EXPECT_EQ(LS_KX2TriggerScanner(h), 0);
    r = Fetch(h, fn);
    if (r.nCode != 0) {
      ADD_FAILURE() << "code " << r.nCode << " at frame " << i;
      return -1;
    }
    if (r.bFinger)
      return i;
    EXPECT_EQ(r.nStatus, -15);
  }
  return -1;
}

boost::property_tree::ptree Document(LS_KX2_HANDLE h)
{
  uint64_t n = 0;
  EXPECT_EQ(LS_KX2ExtendedScannerAccess(h, 6, nullptr, &n), -702);
  std::string text(n, '\0');
  EXPECT_EQ(LS_KX2ExtendedScannerAccess(h, 6, reinterpret_cast<uint8_t*>(text.data()), &n), 0);
  boost::property_tree::ptree tree;
  std::istringstream in(text.c_str());
  boost::property_tree::read_json(in, tree);
  return tree;
}

uint32_t Mode(LS_KX2_HANDLE h)
{
  uint32_t n = 99;
  EXPECT_EQ(LS_KX2GetCaptureMode(h, &n), 0);
  return n;
}

bool HasFakeFingerLibrary()
{
  return access(LSKX2_TEST_BIN_DIR "/libveltranofakefingerdetectionkx2.so", F_OK) == 0;
}

} // namespace

TEST_F(ScannerExports, PlainCaptureUntilTheFingerLiesStill)
{
  ASSERT_EQ(LS_KX2SetCaptureMode(m_h, LS_KX2_MODE_PLAIN), 0);
  EXPECT_EQ(Mode(m_h), LS_KX2_MODE_PLAIN);
  EXPECT_EQ(Fetch(m_h, LS_KX2GetRollImage).nCode, -50);
  StResult preview;
  ASSERT_GE(TriggerUntilFinger(m_h, LS_KX2GetPreviewImage, preview), 0);
  EXPECT_EQ(preview.nStatus, 0);
  EXPECT_GT(preview.FingerPixels(), 8000u);

  StResult final = Fetch(m_h, LS_KX2GetImage);
  ASSERT_EQ(final.nCode, 0);
  EXPECT_EQ(final.bFinger, 1);
  EXPECT_EQ(final.nStatus, 0);
  EXPECT_GT(final.FingerPixels(), 8000u);
  uint32_t c = 999, r = 9;
  ASSERT_EQ(LS_KX2GetScannerCondition(m_h, &c, &r), 0);
  EXPECT_LE(c, 100u);
  EXPECT_EQ(r, 0u);
  // Outside roll and liveness the document holds an empty "KX2".
  EXPECT_TRUE(Document(m_h).get_child("KX2").empty());
}

TEST_F(ScannerExports, SingleShotTakesItsImageWithoutTrigger)
{
  EXPECT_EQ(Mode(m_h), LS_KX2_MODE_SINGLE_SHOT);
  ASSERT_EQ(LS_KX2SetCaptureMode(m_h, LS_KX2_MODE_SINGLE_SHOT), 0);
  EXPECT_EQ(LS_KX2TriggerScanner(m_h), -103);
  EXPECT_EQ(Fetch(m_h, LS_KX2GetPreviewImage).nCode, -50);
  EXPECT_EQ(Fetch(m_h, LS_KX2GetRollImage).nCode, -50);
  StResult r = Fetch(m_h, LS_KX2GetImage);
  ASSERT_EQ(r.nCode, 0);
  // The image is good, the two flags say nothing in this mode.
  EXPECT_EQ(r.bFinger, 0);
  EXPECT_EQ(r.nStatus, -15);
  EXPECT_EQ(r.dScore, 0.0);
  EXPECT_EQ(std::count(r.image.begin(), r.image.end(), 0xA5), 0);
}

TEST_F(ScannerExports, TriggeredModeDeliversOneMaskedFramePerTrigger)
{
  ASSERT_EQ(LS_KX2SetCaptureMode(m_h, LS_KX2_MODE_TRIGGERED), 0);
  uint32_t n;
  EXPECT_EQ(LS_KX2GetCaptureMode(m_h, &n), -103);
  EXPECT_EQ(Fetch(m_h, LS_KX2GetPreviewImage).nCode, -50);
  // GetImage waits for the next masked frame: triggers go on until it has one.
  std::atomic<bool> bDone{false};
  StResult r;
  std::thread waiter([&] {
    r = Fetch(m_h, LS_KX2GetImage);
    bDone = true;
  });
  for (int i = 0; i < 2000 && !bDone; ++i) {
    EXPECT_EQ(LS_KX2TriggerScanner(m_h), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  waiter.join();
  ASSERT_EQ(r.nCode, 0);
  EXPECT_EQ(r.bFinger, 0);
  EXPECT_EQ(r.nStatus, -15);
  EXPECT_EQ(std::count(r.image.begin(), r.image.end(), 0xA5), 0);
}

TEST_F(ScannerExports, PreviewModeShowsFramesWithoutJudging)
{
  ASSERT_EQ(LS_KX2SetCaptureMode(m_h, LS_KX2_MODE_PREVIEW), 0);
  uint32_t n;
  EXPECT_EQ(LS_KX2GetCaptureMode(m_h, &n), -103);
  size_t nMostFinger = 0;
  for (int i = 0; i < 40; ++i) {
    ASSERT_EQ(LS_KX2TriggerScanner(m_h), 0);
    StResult r = Fetch(m_h, LS_KX2GetPreviewImage);
    ASSERT_EQ(r.nCode, 0);
    EXPECT_EQ(r.bFinger, 0);
    nMostFinger = std::max(nMostFinger, r.FingerPixels());
  }
  // The demo's finger lies on the platen within its first 40 frames.
  EXPECT_GT(nMostFinger, 8000u);
  EXPECT_EQ(Fetch(m_h, LS_KX2GetImage).nCode, 0);
}

TEST_F(ScannerExports, LivenessModeScoresTheStillFinger)
{
  const int32_t nCode = LS_KX2SetCaptureMode(m_h, LS_KX2_MODE_LIVENESS);
  if (!HasFakeFingerLibrary()) {
    EXPECT_EQ(nCode, -103);
    EXPECT_EQ(Mode(m_h), LS_KX2_MODE_SINGLE_SHOT);
    return;
  }
  ASSERT_EQ(nCode, 0);
  EXPECT_EQ(Mode(m_h), LS_KX2_MODE_LIVENESS);
  StResult preview;
  ASSERT_GE(TriggerUntilFinger(m_h, LS_KX2GetPreviewImage, preview), 0);
  StResult final = Fetch(m_h, LS_KX2GetImage);
  ASSERT_EQ(final.nCode, 0);
  EXPECT_EQ(final.bFinger, 1);
  EXPECT_EQ(final.nStatus, 0);
  EXPECT_GT(final.dScore, 0.0);
  // The liveness library's own part of the document.
  EXPECT_TRUE(Document(m_h).get_child_optional("KX2.PAD")) << "no KX2.PAD";
}

TEST_F(ScannerExports, RollUntilFinishedThenAgainAfterReset)
{
  ASSERT_EQ(LS_KX2SetCaptureMode(m_h, LS_KX2_MODE_ROLL), 0);
  EXPECT_EQ(Mode(m_h), LS_KX2_MODE_ROLL);
  EXPECT_EQ(Fetch(m_h, LS_KX2GetImage).nCode, -103);
  EXPECT_EQ(Fetch(m_h, LS_KX2GetPreviewImage).nCode, -50);
  // Thresholds come out with id 6 and go back in with id 7.
  const char* szKey = "KX2.ROLLFINGER.MERGED_LEN_THRESHOLD";
  const int nThreshold = Document(m_h).get<int>(szKey);
  const std::string sWrite = "{\"KX2\":{\"ROLLFINGER\":{\"MERGED_LEN_THRESHOLD\":\"" +
                             std::to_string(nThreshold + 7) + "\"}}}";
  uint64_t n = sWrite.size() + 1;
  ASSERT_EQ(LS_KX2ExtendedScannerAccess(
                m_h, 7, reinterpret_cast<uint8_t*>(const_cast<char*>(sWrite.c_str())), &n),
            0);
  EXPECT_EQ(Document(m_h).get<int>(szKey), nThreshold + 7);
  const std::string sBack = "{\"KX2\":{\"ROLLFINGER\":{\"MERGED_LEN_THRESHOLD\":\"" +
                            std::to_string(nThreshold) + "\"}}}";
  n = sBack.size() + 1;
  ASSERT_EQ(LS_KX2ExtendedScannerAccess(
                m_h, 7, reinterpret_cast<uint8_t*>(const_cast<char*>(sBack.c_str())), &n),
            0);
  for (int nRoll = 0; nRoll < 2; ++nRoll) {
    SCOPED_TRACE(nRoll);
    StResult r;
    ASSERT_GE(TriggerUntilFinger(m_h, LS_KX2GetRollImage, r), 0);
    EXPECT_TRUE(r.nStatus == 0 || (r.nStatus <= -800 && r.nStatus >= -811)) << r.nStatus;
    EXPECT_GT(r.FingerPixels(), 8000u);
    // Reading the result consumes it; a frame already on its way may report it once
    // more, after that the roll reports none until it is restarted.
    StResult after;
    for (int i = 0; i < 5 && after.bFinger != 0; ++i) {
      ASSERT_EQ(LS_KX2TriggerScanner(m_h), 0);
      after = Fetch(m_h, LS_KX2GetRollImage);
    }
    EXPECT_EQ(after.bFinger, 0);
    EXPECT_EQ(after.nStatus, -15);
    ASSERT_EQ(LS_KX2SetPropertyLongA(m_h, "nResetImage", nRoll), 0);
  }
}
