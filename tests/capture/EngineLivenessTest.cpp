// Liveness mode with the fake finger stub, without it, and the stub's part of the
// scanner data.
#include "EngineFixture.h"

namespace {

const char* const kLive = R"({"empty":4},{"place":3},{"still":60})";
const char* const kFake = R"({"empty":4},{"place":3,"finger":{"fake":true}},{"still":60})";

class EngineLiveness : public EngineFixture
{
protected:
  void OpenWith(const char* szSteps, const char* szStub = nullptr)
  {
    ClCaptureSim::Get().ConfigureLiveness(szStub);
    Open(ScriptConfig(szSteps));
  }
  // Steps until state 2 or n frames; the state reached.
  uint32_t StepUntilAccepted(int n, double* pdScore = nullptr)
  {
    StPreview p;
    for (int i = 0; i < n && p.nStatus != 2; ++i)
      p = Step();
    if (pdScore)
      *pdScore = p.dScore;
    return p.nStatus;
  }
};

} // namespace

TEST_F(EngineLiveness, LiveFingerAcceptedAndItsCaptureHandedOutOnce)
{
  OpenWith(kLive);
  ASSERT_TRUE(Engine().HasFakeFingerLibrary());
  Engine().SetCaptureMode(2);
  double dScore = 0;
  ASSERT_EQ(StepUntilAccepted(30, &dScore), 2u);
  EXPECT_GT(dScore, 0.8);
  EXPECT_EQ(Engine().GetDetectResult(), 0);

  const int64_t nCalls = Sim().Calls("ftrScanGetImage");
  ClImage image;
  uint32_t nStatus = 0;
  double dImageScore = 0;
  Engine().GetImage(image, &nStatus, &dImageScore);
  EXPECT_EQ(Sim().Calls("ftrScanGetImage"), nCalls) << "the stored capture, no new frame";
  EXPECT_EQ(nStatus, 2u);
  EXPECT_EQ(dImageScore, dScore);
  EXPECT_EQ(image.Width(), 800);
  Engine().GetImage(image, &nStatus, &dImageScore);
  EXPECT_EQ(Sim().Calls("ftrScanGetImage"), nCalls + 1) << "the second call captures anew";
  EXPECT_EQ(nStatus, 2u);
  EXPECT_EQ(Sim().State(0).aControl[2], 0x67) << "back on the raw stream";
}

TEST_F(EngineLiveness, FakeFingersScoreLowAndNeverPassARefusal)
{
  OpenWith(kFake);
  Engine().SetCaptureMode(2);
  double dScore = 1;
  ASSERT_EQ(StepUntilAccepted(30, &dScore), 2u) << "the SDK applies no threshold";
  EXPECT_LT(dScore, 0.3);
  TearDown();

  OpenWith(kFake, R"({"score_error":-15})");
  Engine().SetCaptureMode(2);
  EXPECT_EQ(StepUntilAccepted(40), 1u) << "a still finger, never accepted";
  EXPECT_EQ(Engine().GetDetectResult(), -15);
}

TEST_F(EngineLiveness, AveragingPropertyReadAtStartAndSetOnEntry)
{
  OpenWith(kLive, R"({"average_text":"TRUE"})");
  EXPECT_TRUE(Engine().GetAverageLiveness());
  TearDown();
  OpenWith(kLive, R"({"average_text":"TRue"})");
  EXPECT_FALSE(Engine().GetAverageLiveness());

  EXPECT_TRUE(IsFailure(FailureOf([&] { Engine().SetAverageLiveness(2); }), -44, nullptr));
  Engine().SetAverageLiveness(1);
  EXPECT_TRUE(Engine().GetAverageLiveness());
  Engine().SetCaptureMode(2);
  EXPECT_EQ(Document().get<std::string>("KX2.PAD.bAverageFingersLivenessScores"), "True");
  EXPECT_TRUE(IsFailure(FailureOf([&] { Engine().SetAverageLiveness(0); }), -50, nullptr));
  Engine().SetCaptureMode(3);
  Engine().SetAverageLiveness(0);
  Engine().SetCaptureMode(2);
  EXPECT_EQ(Document().get<std::string>("KX2.PAD.bAverageFingersLivenessScores"), "False");
}

TEST_F(EngineLiveness, WithoutTheLibraryOnlyLivenessIsRefused)
{
  Open(ScriptConfig(kLive), "libno_such_liveness.so");
  EXPECT_FALSE(Engine().HasFakeFingerLibrary());
  EXPECT_FALSE(Engine().GetAverageLiveness());
  Engine().SetCaptureMode(3);
  EXPECT_TRUE(IsFailure(FailureOf([&] { Engine().SetCaptureMode(2); }), -103, nullptr));
  EXPECT_EQ(Engine().GetCaptureMode(), 1) << "left in single-shot mode, usable";
  EXPECT_EQ(Sim().State(0).aControl[2], 8) << "normal set-up";
  ClImage image;
  uint32_t nStatus = 9;
  double dScore = 9;
  Engine().GetImage(image, &nStatus, &dScore);
  EXPECT_EQ(image.Width(), 800);
  // The library's part of a document is dropped.
  Load(R"({"KX2":{"PAD":{"A":"1"}}})");
  EXPECT_EQ(Document().get<std::string>("KX2"), "");
}

TEST_F(EngineLiveness, PadPartOnlyWhenTheLibraryAnswers)
{
  OpenWith(kLive);
  Engine().SetCaptureMode(3);
  EXPECT_EQ(Document().get<std::string>("KX2"), "")
      << "neither part outside the roll and liveness modes";
  Engine().SetCaptureMode(2);
  EXPECT_EQ(Document().get<std::string>("KX2.PAD.VERSION"), "1.0.0");
  Load(R"({"KX2":{"PAD":{"LEVEL":"3"},"ROLLFINGER":{"SERIES_LEN_THRESHOLD":"20"}}})");
  EXPECT_EQ(Document().get<std::string>("KX2.PAD.SETTINGS.LEVEL"), "3");

  // Above the first buffer's 1500000 bytes the text comes in a second, larger buffer.
  ClCaptureSim::Get().ConfigureLiveness(R"({"extended_padding":1600000})");
  EXPECT_EQ(Document().get<std::string>("KX2.PAD.PADDING").size(), 1600000u);
  ClCaptureSim::Get().ConfigureLiveness(
      R"({"extended_padding":1600000,"extended_zero_size":true})");
  EXPECT_EQ(Document().get<std::string>("KX2"), "");
  ClCaptureSim::Get().ConfigureLiveness(R"({"extended_error":-2})");
  EXPECT_EQ(Document().get<std::string>("KX2"), "") << "a refusal leaves the part out";
  ClCaptureSim::Get().ConfigureLiveness(R"({"extended_text":"{ not json"})");
  EXPECT_TRUE(IsFailure(FailureOf([&] { Document(); }), -101, nullptr));
  ClCaptureSim::Get().ConfigureLiveness(R"({"settings_error":-39})");
  EXPECT_EQ(CodeOf([&] { Load(R"({"KX2":{"PAD":{"LEVEL":"4"}}})"); }), -39);

  EXPECT_TRUE(IsFailure(FailureOf([&] { Load("KX2 = 1"); }), -101, nullptr));
  Load(R"({"OTHER":{"PAD":"1"}})");
  TearDown();

  Open(ScriptConfig(kLive), nullptr, BinDir() + "/variants/fd-no-extended");
  ASSERT_TRUE(Engine().HasFakeFingerLibrary()) << "the extended entry is optional";
  Engine().SetCaptureMode(2);
  EXPECT_EQ(Document().get<std::string>("KX2"), "");
  Load(R"({"KX2":{"PAD":{"LEVEL":"3"}}})");
  EXPECT_EQ(StepUntilAccepted(30), 2u);
}
