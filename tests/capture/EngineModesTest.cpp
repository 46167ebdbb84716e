// Each capture mode: the device set-up the simulator records, and the answers of the
// trigger and the three image calls, refusals included.
#include "EngineFixture.h"

#include <chrono>
#include <future>

namespace {

const char* const kNotImplemented = "Current capture mode is not implemented yet. (should never happen)";

class EngineModes : public EngineFixture
{
protected:
  void OpenStill() { Open(ScriptConfig(R"({"empty":4},{"place":3},{"still":400})", R"("control_bytes":[1,2,3,64,17,34,51])")); }
  StFailure PreviewFailure()
  {
    return FailureOf([&] { ClImage i; uint32_t s; double d; Engine().GetPreviewImage(i, &s, &d); });
  }
  StFailure RollFailure()
  {
    return FailureOf([&] { ClImage i; uint32_t s; double d; Engine().GetRollImage(i, &s, &d); });
  }
  StFailure ImageFailure()
  {
    return FailureOf([&] { ClImage i; uint32_t s; double d; Engine().GetImage(i, &s, &d); });
  }
};

} // namespace

TEST_F(EngineModes, DeviceSetUpOfEachMode)
{
  OpenStill();
  const struct
  {
    int32_t nMode;
    uint8_t nThird;
    int32_t nImageMode; // 1 normal, 2 raw
    int32_t nDose;
  } cases[] = {{3, 0x67, 2, 9}, {4, 8, 1, 2}, {6, 0x67, 2, 9}, {5, 8, 1, 2}, {2, 0x67, 2, 9}, {1, 8, 1, 2}};
  for (const auto& c : cases) {
    Engine().SetCaptureMode(c.nMode);
    EXPECT_EQ(Engine().GetCaptureMode(), c.nMode);
    kxsimDeviceState s = Sim().State(0);
    const uint8_t expected[7] = {0x35, 0, c.nThird, 64, 17, 34, 51};
    for (int i = 0; i < 7; ++i)
      EXPECT_EQ(s.aControl[i], expected[i]) << "mode " << c.nMode << " byte " << i;
    EXPECT_EQ(s.nControlFlag, 0);
    if (c.nMode == 1) {
      ClImage image;
      uint32_t nStatus = 9;
      double dScore = 9;
      Engine().GetImage(image, &nStatus, &dScore);
      EXPECT_EQ(image.Width(), 800);
      EXPECT_EQ(image.Height(), 750);
      EXPECT_EQ(nStatus, 0u);
      EXPECT_EQ(dScore, 0.0);
    } else {
      Engine().Trigger();
    }
    s = Sim().State(0);
    EXPECT_EQ(s.nLastMode, c.nImageMode) << "mode " << c.nMode;
    EXPECT_EQ(s.nLastDose, c.nDose) << "mode " << c.nMode;
  }
}

TEST_F(EngineModes, RefusalsOfEachMode)
{
  OpenStill();
  // The engine starts in single-shot mode.
  EXPECT_EQ(Engine().GetCaptureMode(), 1);
  EXPECT_TRUE(IsFailure(FailureOf([&] { Engine().Trigger(); }), -103, kNotImplemented));
  EXPECT_TRUE(IsFailure(PreviewFailure(), -50, "Invalid capture mode."));
  EXPECT_TRUE(IsFailure(RollFailure(), -50, "Invalid capture mode."));

  for (int32_t nMode : {2, 3, 6}) {
    Engine().SetCaptureMode(nMode);
    EXPECT_TRUE(IsFailure(RollFailure(), -50, "Invalid capture mode.")) << nMode;
    ClImage preview;
    Step(&preview);
    EXPECT_EQ(preview.Width(), 800);
    EXPECT_EQ(preview.Height(), 750);
  }
  Engine().SetCaptureMode(4);
  EXPECT_TRUE(IsFailure(ImageFailure(), -103, kNotImplemented));
  EXPECT_TRUE(IsFailure(PreviewFailure(), -50, "Invalid capture mode."));
  Engine().SetCaptureMode(5);
  EXPECT_TRUE(IsFailure(PreviewFailure(), -50, "Invalid capture mode."));
  EXPECT_TRUE(IsFailure(RollFailure(), -50, "Invalid capture mode."));

  EXPECT_TRUE(IsFailure(FailureOf([&] { Engine().SetCaptureMode(7); }), -103, "Unknown capture mode."));
  EXPECT_EQ(Engine().GetCaptureMode(), 5) << "the mode stays";
  EXPECT_TRUE(IsFailure(FailureOf([&] { Engine().SetCaptureMode(0); }), -103, "Unknown capture mode."));
  EXPECT_EQ(CodeOf([&] { Engine().CheckArgument(nullptr, nullptr); }), -44);
  EXPECT_EQ(CodeOf([&] { Engine().ForwardToDevice(0, nullptr, nullptr); }), -103);
}

TEST_F(EngineModes, TriggeredModeHandsOutTheMaskedFrame)
{
  OpenStill();
  Engine().SetCaptureMode(5);
  uint32_t nStatus = 9;
  double dScore = 9;
  ClImage image;
  // Only a frame masked while GetImage waits is seen, so the trigger goes on meanwhile.
  std::future<void> result = std::async(std::launch::async, [&] { Engine().GetImage(image, &nStatus, &dScore); });
  for (int i = 0; i < 5000 && result.wait_for(std::chrono::milliseconds(0)) != std::future_status::ready; ++i) {
    Engine().Trigger();
    result.wait_for(std::chrono::milliseconds(2));
  }
  result.get();
  EXPECT_EQ(image.Width(), 800);
  EXPECT_EQ(image.Height(), 750);
  EXPECT_EQ(nStatus, 0u);
  EXPECT_EQ(dScore, 0.0);
  ClImage raw;
  Engine().GetRawImage(raw);
  EXPECT_EQ(raw.Width(), 800);
  EXPECT_EQ(raw.PelsX(), 19685);
}

TEST_F(EngineModes, PreviewModeJudgesOnlyTheFinalImage)
{
  OpenStill();
  Engine().SetCaptureMode(6);
  for (int i = 0; i < 10; ++i)
    EXPECT_EQ(Step().nStatus, static_cast<uint32_t>(-1)) << "the state keeps what it last was";
  ClImage image;
  uint32_t nStatus = 0;
  double dScore = 9;
  Engine().GetImage(image, &nStatus, &dScore);
  EXPECT_EQ(nStatus, 2u) << "the finger lies on the platen";
  EXPECT_EQ(Sim().State(0).nControlFlag, 0);
  EXPECT_EQ(Sim().State(0).aControl[2], 0x67) << "back to the raw stream";
  Engine().Trigger();
  EXPECT_EQ(Sim().State(0).nLastMode, 2);
}

TEST_F(EngineModes, VersionWordsOfTheDevice)
{
  Open(ScriptConfig(R"({"empty":1})", R"("version":{"lib":[10,0,0,1],"hw":[1,2,3,0],"fw":[4,5,6,0]})"));
  const struct
  {
    uint32_t nId;
    const char* szWord;
  } cases[] = {{1, "4.5.6"}, {2, "0.0.0.0"}, {3, "1.2.3"}, {4, "10.0.0.1"}};
  for (const auto& c : cases) {
    char text[32] = {};
    uint64_t nSize = sizeof(text);
    Engine().GetVersionInfo(c.nId, text, &nSize);
    EXPECT_STREQ(text, c.szWord);
    EXPECT_EQ(nSize, std::strlen(c.szWord) + 1);
  }
  char text[32] = {};
  uint64_t nSize = 5;
  EXPECT_TRUE(IsFailure(FailureOf([&] { Engine().GetVersionInfo(1, text, &nSize); }), -702,
                        "The given string is too small."));
  EXPECT_EQ(nSize, 6u) << "the needed size is stored first";
  EXPECT_EQ(CodeOf([&] { Engine().GetVersionInfo(1, nullptr, &nSize); }), -702);
  EXPECT_TRUE(IsFailure(FailureOf([&] { Engine().GetVersionInfo(5, text, &nSize); }), -44,
                        "VersionId not supported."));
  nSize = sizeof(text);
  Engine().GetVersionInfo(0, text, &nSize);
  EXPECT_STREQ(text, "10.0.0.1") << "id 0 is the device library's own version";
}
