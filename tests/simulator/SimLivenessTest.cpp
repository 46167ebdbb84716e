// The liveness stub through its entry points.
#include "simulator/SimRender.h"
#include "tests/simulator/SimLib.h"

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>

using namespace kxsimtest;

namespace {

using FnInit = int32_t (*)(void*);
using FnUninit = int32_t (*)();
using FnCreate = int32_t (*)(void**);
using FnScore = int32_t (*)(void*, int32_t, int32_t, const uint8_t*, const uint8_t*, double*);
using FnSetProp = int32_t (*)(void*, const char*, const char*);
using FnGetProp = int32_t (*)(void*, const char*, char*, uint64_t*);
using FnExtended = int32_t (*)(void*, int32_t, char*, uint64_t*);

template <class TpFn>
TpFn Fd(const char* szName)
{
  return LivenessLib().Fn<TpFn>(szName);
}

class SimLiveness : public ::testing::Test
{
protected:
  void Start(const char* szSettings = "{}")
  {
    ASSERT_EQ(Fd<KXSIMFD_CONFIGURE>("kxsimfdConfigure")(szSettings), 1);
    ASSERT_EQ(Fd<FnInit>("FD_KX2Initialize")(nullptr), 0);
    ASSERT_EQ(Fd<FnCreate>("FD_KX2CreateHandle")(&m_h), 0);
  }
  void TearDown() override
  {
    if (m_h)
      Fd<FnCreate>("FD_KX2DestroyHandle")(&m_h);
    while (Fd<FnUninit>("FD_KX2Uninitialize")() == 0) {
    }
    Fd<KXSIMFD_CONFIGURE>("kxsimfdConfigure")(nullptr);
  }
  int32_t Score(const kxsim::ClGreyImage& img, double& score)
  {
    return Fd<FnScore>("FD_KX2GetFakeFingerDetectionScore")(
        m_h, img.nWidth, img.nHeight, img.aPixels.data(), img.aPixels.data(), &score);
  }
  std::string Extended(uint64_t nStart, int32_t& result, uint64_t& size)
  {
    std::string text(size_t(nStart), '\0');
    size = nStart;
    result = Fd<FnExtended>("FD_KX2ExtendedAccess")(m_h, 0, &text[0], &size);
    return text.c_str();
  }
  void* m_h = nullptr;
};

kxsim::ClGreyImage Finger(bool bFake)
{
  kxsim::ClFinger f;
  f.bFake = bFake;
  return kxsim::RenderPlacedFinger(f, 0.0, 800, 750, 2, kxsim::EOrientation::eDisplay);
}

} // namespace

TEST_F(SimLiveness, LiveFingersScoreHighFakeOnesLow)
{
  Start();
  double live = -1, fake = -1, again = -1;
  ASSERT_EQ(Score(Finger(false), live), 0);
  ASSERT_EQ(Score(Finger(true), fake), 0);
  ASSERT_EQ(Score(Finger(false), again), 0);
  EXPECT_GT(live, 0.8);
  EXPECT_LT(fake, 0.3);
  EXPECT_EQ(live, again) << "the same picture, the same score";
  double none = -1;
  EXPECT_EQ(Score(kxsim::RenderEmptyPlaten(0.3), none), -15);
  auto score = Fd<FnScore>("FD_KX2GetFakeFingerDetectionScore");
  const kxsim::ClGreyImage img = Finger(false);
  EXPECT_EQ(score(m_h, 800, 750, nullptr, img.aPixels.data(), &none), -701);
  EXPECT_EQ(score(nullptr, 800, 750, img.aPixels.data(), img.aPixels.data(), &none), -42);
  EXPECT_EQ(score(&none, 800, 750, img.aPixels.data(), img.aPixels.data(), &none), -43);
}

TEST_F(SimLiveness, AveragingPropertyStartsFromTheConfiguredText)
{
  Start(R"({"average_text": "TRue"})");
  auto get = Fd<FnGetProp>("FD_KX2GetPropertyA");
  auto set = Fd<FnSetProp>("FD_KX2SetPropertyA");
  char text[16] = {};
  uint64_t size = 3;
  EXPECT_EQ(get(m_h, "bAverageFingersLivenessScores", text, &size), -702);
  EXPECT_EQ(size, 5u);
  size = sizeof text;
  ASSERT_EQ(get(m_h, "bAverageFingersLivenessScores", text, &size), 0);
  EXPECT_STREQ(text, "TRue");
  EXPECT_EQ(get(m_h, "bNoSuchProperty", text, &size), -206);
  EXPECT_EQ(set(m_h, "bAverageFingersLivenessScores", "maybe"), -44);

  ASSERT_EQ(set(m_h, "bAverageFingersLivenessScores", "True"), 0);
  double live = 0, fake = 0;
  ASSERT_EQ(Score(Finger(false), live), 0);
  ASSERT_EQ(Score(Finger(true), fake), 0);
  ASSERT_EQ(set(m_h, "bAverageFingersLivenessScores", "False"), 0);
  double alone = 0;
  ASSERT_EQ(Score(Finger(true), alone), 0);
  EXPECT_NEAR(fake, (live + alone) / 2, 1e-9) << "averaged while on";
}

TEST_F(SimLiveness, ExtendedAccessGrowsThroughTooSmallAndTakesSettings)
{
  Start();
  int32_t result = 0;
  uint64_t size = 0;
  Extended(10, result, size);
  EXPECT_EQ(result, -702);
  const uint64_t need = size;
  const std::string text = Extended(need, result, size);
  ASSERT_EQ(result, 0);
  EXPECT_EQ(text.size() + 1, need);
  boost::property_tree::ptree t;
  std::istringstream in(text);
  boost::property_tree::read_json(in, t);
  EXPECT_EQ(t.get<std::string>("bAverageFingersLivenessScores"), "False");

  std::string settings = R"({"THRESHOLD": "0.4"})";
  uint64_t n = settings.size() + 1;
  ASSERT_EQ(Fd<FnExtended>("FD_KX2ExtendedAccess")(m_h, 1, &settings[0], &n), 0);
  std::istringstream in2(Extended(1 << 16, result, size));
  boost::property_tree::read_json(in2, t);
  EXPECT_EQ(t.get<std::string>("SETTINGS.THRESHOLD"), "0.4");
  std::string broken = "{ not json";
  n = broken.size() + 1;
  EXPECT_EQ(Fd<FnExtended>("FD_KX2ExtendedAccess")(m_h, 1, &broken[0], &n), -39);
  EXPECT_EQ(Fd<FnExtended>("FD_KX2ExtendedAccess")(m_h, 5, &broken[0], &n), -44);
}

TEST_F(SimLiveness, LargeAndZeroSizedExtendedTexts)
{
  Start(R"({"extended_padding": 1600000})");
  int32_t result = 0;
  uint64_t size = 0;
  Extended(1500000, result, size);
  EXPECT_EQ(result, -702);
  EXPECT_GT(size, 1600000u);
  TearDown();
  Start(R"({"extended_zero_size": true})");
  Extended(10, result, size);
  EXPECT_EQ(result, -702);
  EXPECT_EQ(size, 0u);
}

TEST_F(SimLiveness, ConfiguredFailuresOfStartAndHandle)
{
  ASSERT_EQ(Fd<KXSIMFD_CONFIGURE>("kxsimfdConfigure")(R"({"init_error": -101})"), 1);
  EXPECT_EQ(Fd<FnInit>("FD_KX2Initialize")(nullptr), -101);
  ASSERT_EQ(Fd<KXSIMFD_CONFIGURE>("kxsimfdConfigure")(R"({"create_error": -102})"), 1);
  ASSERT_EQ(Fd<FnInit>("FD_KX2Initialize")(nullptr), 0);
  EXPECT_EQ(Fd<FnCreate>("FD_KX2CreateHandle")(&m_h), -102);
  EXPECT_EQ(m_h, nullptr);
  EXPECT_EQ(Fd<KXSIMFD_CONFIGURE>("kxsimfdConfigure")(R"({"init_eror": 1})"), 0) << "misspelt key";
  // From the environment, read at initialisation.
  setenv("KXSIM_FD_INIT_ERROR", "-7", 1);
  Fd<KXSIMFD_CONFIGURE>("kxsimfdConfigure")(nullptr);
  EXPECT_EQ(Fd<FnInit>("FD_KX2Initialize")(nullptr), -7);
  unsetenv("KXSIM_FD_INIT_ERROR");
  EXPECT_EQ(Fd<FnInit>("FD_KX2Initialize")(nullptr), 0);
}
