// Roll mode end to end on simulator roll scripts, and the roll's part of the scanner data.
#include "EngineFixture.h"
#include "capture/KX2FrameJudge.h"

#include <cstring>

namespace {

// A slow roll from column 300 to 500, then the platen empty again.
const char* const kRoll =
    R"({"empty":4},{"roll":60,"from_x":300,"to_x":500},{"lift":4},{"empty":30})";

class EngineRoll : public EngineFixture
{
protected:
  void OpenRoll()
  {
    Open(ScriptConfig(kRoll));
    // The roll measures its speed by the clock, so frames come at a real pace.
    ClCaptureSim::Get().SetFrameInterval(20);
    Engine().SetCaptureMode(4);
  }
  void TearDown() override
  {
    ClCaptureSim::Get().SetFrameInterval(-1);
    EngineFixture::TearDown();
  }
  // One trigger and the roll so far; a finished roll is read as the handle reads it.
  uint32_t Roll(ClImage& image)
  {
    uint32_t nStatus = 9;
    double dScore = 9;
    Engine().Trigger();
    Engine().GetRollImage(image, &nStatus, &dScore);
    EXPECT_EQ(dScore, 0.0);
    if (nStatus == 2)
      Engine().TakeRollResult();
    return nStatus;
  }
};

bool SameImage(const ClImage& a, const ClImage& b)
{
  return a.Width() == b.Width() && a.Height() == b.Height() &&
         std::memcmp(a.Data(), b.Data(), size_t(a.LineBytes()) * a.Height()) == 0;
}

} // namespace

TEST_F(EngineRoll, RollingFinishedOnceThenIdle)
{
  OpenRoll();
  EXPECT_EQ(Document().get<int>("KX2.ROLLFINGER.MERGED_LEN"), 0) << "before any roll";
  std::vector<uint32_t> states;
  std::vector<int32_t> kinds;
  ClImage image, finished;
  for (int i = 0; i < 80; ++i) {
    kinds.push_back(ClCaptureSim::Get().FrameInfo(Frames()).nStepKind);
    states.push_back(Roll(image));
    ASSERT_EQ(image.Width(), 800);
    if (states.back() == 2)
      finished.Copy(image);
  }
  const int nFinished = int(std::count(states.begin(), states.end(), 2u));
  EXPECT_EQ(nFinished, 1) << "the result is reported once";
  const size_t nAt = size_t(std::find(states.begin(), states.end(), 2u) - states.begin());
  ASSERT_LT(nAt, states.size());
  EXPECT_TRUE(kinds[nAt] == 3 || kinds[nAt] == 0) << "the roll ends once the finger is gone";
  EXPECT_EQ(Engine().GetRollResult(), 0) << "a good roll";
  // While the patch moves across the platen the state is rolling, from the first rolling
  // report to the result; a busy machine may let the worker skip frames, which only brings
  // both earlier.
  const size_t nFirst = size_t(std::find(states.begin(), states.end(), 1u) - states.begin());
  EXPECT_LE(nFirst, 10u);
  ASSERT_LT(nFirst + 20, nAt) << "a roll of 60 frames reported as rolling over 20 at least";
  EXPECT_EQ(std::count(states.begin() + nFirst, states.begin() + nAt, 1u), nAt - nFirst);
  for (size_t i = nAt + 1; i < states.size(); ++i)
    EXPECT_EQ(states[i], 0u) << i;
  // The finished composite keeps flowing, masked: background white, a wide finger.
  Roll(image);
  EXPECT_TRUE(SameImage(image, finished));
  EXPECT_EQ(image.Data()[0], 255);
  EXPECT_GT(ClKX2FrameJudge::FingerArea(image), 40000);

  const pt::ptree doc = Document();
  EXPECT_EQ(doc.get<int>("KX2.ROLLFINGER.RETURNCODE"), 0);
  EXPECT_GT(doc.get<int>("KX2.ROLLFINGER.MERGED_LEN"), 15);
  EXPECT_GT(doc.get<int>("KX2.ROLLFINGER.MERGED_WIDTH"), 150);
}

TEST_F(EngineRoll, ThresholdsLoadedDuringARoll)
{
  OpenRoll();
  ClImage image;
  for (int i = 0; i < 20; ++i)
    Roll(image);
  ASSERT_EQ(Engine().GetState(), 1) << "rolling";
  // Loading restarts the processor; a series of 500 frames is more than this roll has.
  Load(R"({"KX2":{"ROLLFINGER":{"SERIES_LEN_THRESHOLD":"500"}},"OTHER":{"X":"1"}})");
  EXPECT_EQ(Document().get<int>("KX2.ROLLFINGER.SERIES_LEN_THRESHOLD"), 500);
  int nFinished = 0;
  for (int i = 0; i < 60; ++i)
    nFinished += Roll(image) == 2;
  EXPECT_EQ(nFinished, 1);
  EXPECT_LT(Engine().GetRollResult(), 0) << "too short for the new threshold";
  EXPECT_EQ(Document().get<int>("KX2.ROLLFINGER.RETURNCODE"), Engine().GetRollResult());

  // A restart by the application: idle until the next finger.
  Engine().ResetRoll(true);
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(Roll(image), 0u);
  EXPECT_EQ(Document().get<int>("KX2.ROLLFINGER.SERIES_LEN"), 0);
}
