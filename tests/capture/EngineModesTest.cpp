// Each capture mode: the device set-up the simulator records, and the answers of the
// trigger and the three image calls, refusals included.
#include "EngineFixture.h"

#include <chrono>
#include <cstring>
#include <future>

namespace {

class EngineModes : public EngineFixture
{
protected:
  void OpenStill()
  {
    Open(ScriptConfig(R"({"empty":4},{"place":3},{"still":400})",
                      R"("control_bytes":[1,2,3,64,17,34,51])"));
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
  } cases[] = {{3, 0x67, 2, 9}, {4, 8, 1, 2},    {6, 0x67, 2, 9},
               {5, 8, 1, 2},    {2, 0x67, 2, 9}, {1, 8, 1, 2}};
  for (const auto& c : cases) {
    Engine().SetCaptureMode(c.nMode);
    EXPECT_EQ(Engine().GetCaptureMode(), c.nMode);
    kxsimDeviceState s = Sim().State(0);
    const uint8_t expected[7] = {0x35, 0, c.nThird, 64, 17, 34, 51};
    EXPECT_EQ(0, std::memcmp(s.aControl, expected, 7)) << "mode " << c.nMode;
    EXPECT_EQ(s.nControlFlag, 0);
    if (c.nMode == 1)
      Call(&ClKX2LiveCaptureR2::GetImage);
    else
      Engine().Trigger();
    s = Sim().State(0);
    EXPECT_EQ(s.nLastMode, c.nImageMode) << "mode " << c.nMode;
    EXPECT_EQ(s.nLastDose, c.nDose) << "mode " << c.nMode;
  }
}

TEST_F(EngineModes, AnswersAndRefusalsOfEachMode)
{
  OpenStill();
  EXPECT_EQ(Engine().GetCaptureMode(), 1) << "the engine starts in single-shot mode";
  EXPECT_TRUE(IsFailure(FailureOf([&] { Engine().Trigger(); }), -103, nullptr));
  EXPECT_TRUE(IsFailure(PreviewFailure(), -50, nullptr));
  EXPECT_TRUE(IsFailure(RollFailure(), -50, nullptr));
  ClImage image;
  uint32_t nStatus = 9;
  double dScore = 9;
  Engine().GetImage(image, &nStatus, &dScore);
  EXPECT_EQ(image.Width(), 800);
  EXPECT_EQ(image.Height(), 750);
  EXPECT_EQ(nStatus, 0u) << "single shots are not judged";
  EXPECT_EQ(dScore, 0.0);

  for (int32_t nMode : {2, 6, 3}) {
    Engine().SetCaptureMode(nMode);
    EXPECT_TRUE(IsFailure(RollFailure(), -50, nullptr)) << nMode;
    Step(&image);
    EXPECT_EQ(image.Width(), 800);
    EXPECT_EQ(image.Height(), 750);
  }
  while (Step().nStatus != 2)
    ASSERT_LT(Frames(), 30u);
  // Preview mode judges nothing but the final image; the state keeps what it was.
  Engine().SetCaptureMode(6);
  EXPECT_EQ(Step().nStatus, 2u);
  Engine().GetImage(image, &nStatus, &dScore);
  EXPECT_EQ(nStatus, 2u);

  Engine().SetCaptureMode(4);
  EXPECT_TRUE(IsFailure(ImageFailure(), -103, nullptr));
  EXPECT_TRUE(IsFailure(PreviewFailure(), -50, nullptr));
  Engine().SetCaptureMode(5);
  EXPECT_TRUE(IsFailure(PreviewFailure(), -50, nullptr));
  EXPECT_TRUE(IsFailure(RollFailure(), -50, nullptr));
  for (int32_t nMode : {7, 0}) {
    EXPECT_TRUE(IsFailure(FailureOf([&] { Engine().SetCaptureMode(nMode); }), -103, nullptr));
    EXPECT_EQ(Engine().GetCaptureMode(), 5) << "the mode stays";
  }
  EXPECT_EQ(CodeOf([&] { Engine().CheckArgument(&image, nullptr); }), -44);
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
  std::future<void> result =
      std::async(std::launch::async, [&] { Engine().GetImage(image, &nStatus, &dScore); });
  while (result.wait_for(std::chrono::milliseconds(2)) != std::future_status::ready)
    Engine().Trigger();
  result.get();
  EXPECT_EQ(image.Width(), 800);
  EXPECT_EQ(image.Data()[0], 255) << "masked";
  EXPECT_EQ(nStatus, 0u);
  EXPECT_EQ(dScore, 0.0);
  ClImage raw;
  Engine().GetRawImage(raw);
  EXPECT_EQ(raw.Width(), 800);
  EXPECT_EQ(raw.PelsX(), 19685);
}

TEST_F(EngineModes, VersionWordsOfTheDevice)
{
  Open(ScriptConfig(R"({"empty":1})",
                    R"("version":{"lib":[10,0,0,1],"hw":[1,2,3,0],"fw":[4,5,6,0]})"));
  const char* const words[] = {"10.0.0.1", "4.5.6", "0.0.0.0", "1.2.3", "10.0.0.1"};
  for (uint32_t nId = 0; nId < 5; ++nId) {
    char text[32] = {};
    uint64_t nSize = sizeof(text);
    Engine().GetVersionInfo(nId, text, &nSize);
    EXPECT_STREQ(text, words[nId]) << nId;
  }
  char text[32] = {};
  uint64_t nSize = 5;
  EXPECT_TRUE(
      IsFailure(FailureOf([&] { Engine().GetVersionInfo(1, text, &nSize); }), -702, nullptr));
  EXPECT_EQ(nSize, 6u) << "the needed size is stored first";
  EXPECT_EQ(CodeOf([&] { Engine().GetVersionInfo(1, nullptr, &nSize); }), -702);
  EXPECT_TRUE(
      IsFailure(FailureOf([&] { Engine().GetVersionInfo(5, text, &nSize); }), -44, nullptr));
}
