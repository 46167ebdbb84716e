// Ground truth as the frames saw it and the displacement field, through the exports.
#include "tests/simulator/SimLib.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

using namespace kxsimtest;

namespace {

// Empty frames, a roll from 220 to 580 over 36 frames after 5 resting ones, a lift. A
// rigid finger touches down at once and does not drift.
std::string RollConfig(const std::string& sFinger, bool bRigid)
{
  return R"({"devices":[{"interface":0,"loop":false,"script":[{"empty":3},{"roll":36,"from_x":220,"to_x":580,"settle":5,)" +
         std::string(bRigid ? R"("drift":0,"touchdown":0,)" : "") + R"("finger":)" + sFinger +
         R"(},{"lift":4},{"empty":3}]}]})";
}

struct StTruth
{
  std::vector<uint8_t> aImage = std::vector<uint8_t>(800 * 750), aMask = aImage;
};

StTruth Truth(int nKind)
{
  StTruth t;
  int32_t w = 0, h = 0;
  EXPECT_EQ(ScanLib().Fn<KXSIM_GETGROUNDTRUTH>("kxsimGetGroundTruth")(
                0, nKind, 0, 1, t.aImage.data(), t.aMask.data(), t.aImage.size(), &w, &h),
            1);
  return t;
}

struct StField
{
  std::vector<float> aDx = std::vector<float>(25 * 23), aDy = aDx;
  std::vector<uint8_t> aTouched = std::vector<uint8_t>(25 * 23);
};

StField Field(uint64_t nFrame)
{
  StField f;
  int32_t cols = 0, rows = 0;
  EXPECT_EQ(ScanLib().Fn<KXSIM_GETDISPLACEMENTFIELD>("kxsimGetDisplacementField")(
                0, nFrame, 32, 1, f.aDx.data(), f.aDy.data(), f.aTouched.data(), f.aDx.size(),
                &cols, &rows),
            1);
  EXPECT_EQ(cols, 25);
  EXPECT_EQ(rows, 23);
  return f;
}

} // namespace

TEST(SimTruth, AsSeenEqualsTheIdealRollOfARigidFingerThatDoesNotDrift)
{
  LoadConfig(RollConfig(R"({"preset":"rigid","seed":5})", true));
  const StTruth ideal = Truth(0), seen = Truth(2);
  EXPECT_EQ(seen.aMask, ideal.aMask);
  int differ = 0, most = 0;
  for (size_t i = 0; i < seen.aImage.size(); ++i)
    if (seen.aImage[i] != ideal.aImage[i]) {
      ++differ;
      most = std::max(most, std::abs(int(seen.aImage[i]) - int(ideal.aImage[i])));
    }
  EXPECT_EQ(differ, 0) << "by up to " << most;
  int32_t w = 0, h = 0;
  EXPECT_EQ(ScanLib().Fn<KXSIM_GETGROUNDTRUTH>("kxsimGetGroundTruth")(0, 3, 0, 1, nullptr, nullptr,
                                                                      0, &w, &h),
            0)
      << "no kind 3";
}

TEST(SimTruth, DisplacementFieldIsZeroForARigidFingerAndBoundedForSkin)
{
  LoadConfig(RollConfig(R"({"preset":"rigid"})", true));
  const StField rigid = Field(20);
  int touched = 0;
  for (size_t i = 0; i < rigid.aDx.size(); ++i)
    if (rigid.aTouched[i]) {
      ++touched;
      EXPECT_EQ(rigid.aDx[i], 0.0f);
      EXPECT_EQ(rigid.aDy[i], 0.0f);
    }
  EXPECT_GT(touched, 20);

  // Skin: 10 pixels of roll per frame; between consecutive frames blocks under the contact
  // move by the strain times that advance, at most about 0.25 * 10, never by whole ridges.
  LoadConfig(RollConfig("{}", false));
  for (uint64_t n = 12; n < 40; n += 9) {
    const StField a = Field(n), b = Field(n + 1);
    double sum = 0, most = 0;
    int count = 0;
    for (size_t i = 0; i < a.aDx.size(); ++i)
      if (a.aTouched[i] && b.aTouched[i]) {
        const double d = std::hypot(b.aDx[i] - a.aDx[i], b.aDy[i] - a.aDy[i]);
        sum += d * d;
        most = std::max(most, d);
        ++count;
      }
    ASSERT_GT(count, 10) << n;
    EXPECT_GT(std::sqrt(sum / count), 0.1) << n;
    EXPECT_LT(most, 4.0) << n;
  }
}
