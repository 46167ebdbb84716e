// Plain capture on simulator scripts: the finger states, the final image and the
// scanner condition.
#include "EngineFixture.h"
#include "capture/KX2FrameJudge.h"

#include <iostream>

namespace {

class EnginePlain : public EngineFixture
{
protected:
  void StepThrough(int nFrames)
  {
    for (int i = 0; i < nFrames; ++i)
      Step();
  }
  int32_t StepKind(uint64_t nFrame) { return ClCaptureSim::Get().FrameInfo(nFrame).nStepKind; }
};

} // namespace

TEST_F(EnginePlain, FingerPlacedThenStillReachesStateTwo)
{
  Open(ScriptConfig(R"({"empty":6},{"place":6},{"still":12},{"lift":4},{"empty":4})"));
  Engine().SetCaptureMode(3);
  EXPECT_EQ(Engine().GetState(), 0);
  int nSettled = -1, nAccepted = -1;
  for (int i = 0; i < 32; ++i) {
    const int32_t nKind = StepKind(Frames());
    const uint32_t nState = Step().nStatus;
    // Empty gives 0, placing 1; once accepted, a lifting finger is never moving again.
    const uint32_t nExpected[] = {0, 1, nState, nState == 1 ? 2u : nState};
    EXPECT_EQ(nState, nExpected[nKind]) << "frame " << i << " of kind " << nKind;
    if (nKind == 2 && nSettled < 0)
      nSettled = i;
    if (nState == 2 && nAccepted < 0)
      nAccepted = i;
  }
  ASSERT_GE(nSettled, 0);
  ASSERT_GE(nAccepted, nSettled);
  // Motion compares with the frame two before, so the second still frame is the first
  // that can be accepted.
  EXPECT_EQ(nAccepted - nSettled, 1);
  std::cout << "[ figures  ] state 2 reached " << nAccepted - nSettled
            << " frame(s) after the finger settled\n";
  EXPECT_EQ(Step().nStatus, 0u) << "lifted: the platen is empty again";
}

TEST_F(EnginePlain, FirstThreeFramesAreNeverJudged)
{
  Open(ScriptConfig(R"({"place":1},{"still":30})"));
  Engine().SetCaptureMode(3);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(Step().nStatus, 0u) << i;
    EXPECT_EQ(Engine().GetFingerArea(), 0) << i;
    EXPECT_EQ(Engine().GetDetectResult(), 0) << i;
  }
  EXPECT_EQ(Step().nStatus, 2u) << "the fourth frame is judged";
  EXPECT_GT(Engine().GetFingerArea(), 32000);
  // A mode change starts the count anew.
  Engine().SetCaptureMode(6);
  Engine().SetCaptureMode(3);
  EXPECT_EQ(Step().nStatus, 0u);
}

TEST_F(EnginePlain, FinalImageIsMaskedAndJudgedByItsCentre)
{
  Open(ScriptConfig(R"({"place":1},{"still":10},{"lift":1},{"empty":10})"));
  Engine().SetCaptureMode(3);
  while (Step().nStatus != 2)
    ASSERT_LT(Frames(), 8u);
  const uint64_t nBefore = Sim().Calls("ftrScanGetImage");
  ClImage image;
  uint32_t nStatus = 0;
  double dScore = 9;
  Engine().GetImage(image, &nStatus, &dScore);
  EXPECT_EQ(Sim().Calls("ftrScanGetImage"), nBefore + 1) << "a normal frame of its own";
  EXPECT_EQ(nStatus, 2u);
  EXPECT_EQ(dScore, 0.0);
  ASSERT_EQ(image.Width(), 800);
  ASSERT_EQ(image.Height(), 750);
  // Masked: the corners are background, the centre holds the finger.
  EXPECT_EQ(image.Data()[0], 255);
  EXPECT_EQ(image.Data()[749 * image.LineBytes() + 799], 255);
  EXPECT_GE(ClKX2FrameJudge::FingerArea(image), 8000);
  kxsimDeviceState s = Sim().State(0);
  EXPECT_EQ(s.aControl[2], 0x67) << "the device is back on the raw stream";

  while (Frames() < 14)
    Step();
  Engine().GetImage(image, &nStatus, &dScore);
  EXPECT_EQ(nStatus, 0u) << "an empty platen";
  EXPECT_LT(ClKX2FrameJudge::FingerArea(image), 8000);
}

TEST_F(EnginePlain, ConditionFollowsResidueWithoutFinger)
{
  Open(ScriptConfig(R"({"empty":12,"residue":0.0},{"empty":12,"residue":0.4},)"
                    R"({"place":3},{"still":6},{"lift":2},{"empty":12,"residue":1.0})"));
  Engine().SetCaptureMode(3);
  StepThrough(12);
  EXPECT_EQ(Engine().GetCondition(), 0) << "clean platen";
  StepThrough(12);
  const int32_t nSome = Engine().GetCondition();
  EXPECT_GT(nSome, 10);
  EXPECT_LT(nSome, 90);
  StepThrough(9);
  EXPECT_EQ(Engine().GetCondition(), nSome) << "not judged while a finger lies there";
  StepThrough(14);
  EXPECT_EQ(Engine().GetCondition(), 100) << "very dirty platen";
  std::cout << "[ figures  ] condition: residue 0 -> 0, 0.4 -> " << nSome << ", 1.0 -> 100\n";
  Engine().SetCaptureMode(3);
  EXPECT_EQ(Engine().GetCondition(), 0) << "cleared even when the mode stays";
  Step();
  EXPECT_GT(Engine().GetCondition(), 0);
  Engine().SetCaptureMode(6);
  EXPECT_EQ(Engine().GetCondition(), 0);
}
