// The pictures of the simulator, measured the way the SDK's algorithms see them.
#include "simulator/SimRender.h"
#include "simulator/render/FingerTexture.h"
#include "simulator/render/LivenessScore.h"
#include "tests/simulator/SimMeasure.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

using namespace kxsim;
using namespace kxsimtest;

namespace {

constexpr double kPi = 3.14159265358979323846;

struct ClBox
{
  int x0 = 1 << 30, y0 = 1 << 30, x1 = -1, y1 = -1;
  int Width() const { return x1 - x0 + 1; }
  int Height() const { return y1 - y0 + 1; }
};

ClBox BoundingBox(const std::vector<uint8_t>& m, int W)
{
  ClBox b;
  for (size_t i = 0; i < m.size(); ++i)
    if (m[i]) {
      const int x = int(i % size_t(W)), y = int(i / size_t(W));
      b.x0 = std::min(b.x0, x);
      b.x1 = std::max(b.x1, x);
      b.y0 = std::min(b.y0, y);
      b.y1 = std::max(b.y1, y);
    }
  return b;
}

double MeanWhere(const ClGreyImage& img, const std::vector<uint8_t>& m)
{
  double s = 0, n = 0;
  for (size_t i = 0; i < m.size(); ++i)
    if (m[i]) {
      s += img.aPixels[i];
      ++n;
    }
  return n ? s / n : 0.0;
}

} // namespace

TEST(SimFrames, EmptyPlatenIsDarkFlatAndNoisy)
{
  for (bool raw : {false, true}) {
    const int W = raw ? kRawWidth : kNormalWidth, H = raw ? kRawHeight : kNormalHeight;
    const ClGreyImage img = RenderEmptyPlaten(0.0, W, H, raw ? kRawDose : kNormalDose);
    const ClStats all = Stats(img, 0, 0, W, H);
    EXPECT_GE(all.dMean, 10.0);
    EXPECT_LE(all.dMean, 30.0);
    EXPECT_GT(all.dStd, 0.8) << "sensor noise of a few grey levels";
    EXPECT_LT(all.dStd, 2.5);
    EXPECT_LE(all.nMax, int(all.dMean) + 9);
    for (int by = 0; by < 4; ++by)
      for (int bx = 0; bx < 4; ++bx) {
        const ClStats b = Stats(img, bx * W / 4, by * H / 4, (bx + 1) * W / 4, (by + 1) * H / 4);
        EXPECT_NEAR(b.dMean, all.dMean, 2.5) << "block " << bx << "," << by;
      }
  }
  EXPECT_THROW(RenderEmptyPlaten(0.0, 4000, 2000), std::invalid_argument)
      << "beyond the sensor noise table";
}

TEST(SimFrames, FingerHasBrightRidgesWithPeriodNearNine)
{
  for (uint32_t seed : {7u, 1u, 2u}) { // a loop, a whorl, an arch
    ClFinger f;
    f.nSeed = seed;
    const ClGreyImage img = RenderPlacedFinger(f, 0.0, kNormalWidth, kNormalHeight, kNormalDose,
                                               EOrientation::eDisplay);
    const std::vector<uint8_t> lit = LitMask(img);
    EXPECT_GT(MeanWhere(img, lit), 70.0) << "finger light on dark, seed " << seed;
    const ClStats centre = Stats(img, 350, 325, 450, 425);
    EXPECT_GT(centre.nMax, 140) << "bright ridges";
    EXPECT_LT(centre.nMin, 50) << "dark valleys";

    const auto tex = ClFingerTexture::Get(seed, EPattern::eAuto);
    for (int dy : {-90, 0, 90})
      for (int dx : {-70, 70}) {
        const int x0 = 400 + dx - 24, y0 = 375 + dy - 24;
        const ClWave w = DominantWave(img, x0, y0, 48);
        EXPECT_GE(w.dPeriod, 7.5) << "seed " << seed << " at " << dx << "," << dy;
        EXPECT_LE(w.dPeriod, 10.75) << "seed " << seed << " at " << dx << "," << dy;
        EXPECT_GT(w.dPower, 10.0 * w.dMeanPower) << "a clear ridge wave";
        // The wave runs across the ridges of the orientation field. Display (400, 375) is
        // the texture's contact centre.
        const double ridge =
            tex->RidgeAngleAt(ClFingerTexture::kCoreX + dx, ClFingerTexture::kCentreY + dy);
        double diff = std::fabs(std::fmod(w.dNormal - (ridge + kPi / 2) + 2 * kPi, kPi));
        diff = std::min(diff, kPi - diff);
        EXPECT_LT(diff, 0.35) << "seed " << seed << " at " << dx << "," << dy;
      }
  }
}

TEST(SimFrames, ContactAreaFollowsPlacingHoldingAndLifting)
{
  ClFinger f;
  ClSimulator sim(MakePlainScript(f, 5, 4, 2, 4, 2));
  std::vector<int64_t> area;
  for (int64_t n = 0; n < sim.FrameCount(); ++n)
    area.push_back(Count(LitMask(sim.Frame(uint64_t(n)))));
  ASSERT_EQ(area.size(), 17u);
  EXPECT_EQ(area[0], 0);
  EXPECT_EQ(area[1], 0);
  for (int n = 3; n <= 6; ++n)
    EXPECT_GT(area[size_t(n)], area[size_t(n - 1)]) << "placing grows, frame " << n;
  for (int n = 7; n <= 10; ++n)
    EXPECT_NEAR(double(area[size_t(n)]), double(area[6]), 0.01 * double(area[6]));
  for (int n = 12; n <= 13; ++n)
    EXPECT_LT(area[size_t(n)], area[size_t(n - 1)]) << "lifting shrinks, frame " << n;
  EXPECT_EQ(area[14], 0) << "the last lifting frame is empty";
  EXPECT_EQ(area[16], 0);

  // A flat finger: an ellipse of 12 to 16 mm by 16 to 22 mm, what the script says.
  const ClGreyImage held = sim.Frame(8, false, -1, EOrientation::eDisplay);
  const ClBox box = BoundingBox(LitMask(held), kNormalWidth);
  EXPECT_GE(box.Width(), 230);
  EXPECT_LE(box.Width(), 320);
  EXPECT_GE(box.Height(), 320);
  EXPECT_LE(box.Height(), 450);
  const double expected = double(sim.ContactPixels(8));
  EXPECT_GT(double(area[8]), 0.75 * expected);
  EXPECT_LT(double(area[8]), 1.02 * expected);
}

TEST(SimFrames, PressureChangesSizeAndContrast)
{
  ClFinger light, firm;
  light.dPressure = 0.2;
  firm.dPressure = 1.0;
  const ClGreyImage a = RenderPlacedFinger(light), b = RenderPlacedFinger(firm);
  const std::vector<uint8_t> ma = LitMask(a), mb = LitMask(b);
  EXPECT_LT(Count(ma), Count(mb) * 9 / 10);
  EXPECT_LT(Stats(a, 370, 345, 430, 405).dStd, Stats(b, 370, 345, 430, 405).dStd);
}

TEST(SimFrames, ResidueLevelsAreToldApartAndNeverLookLikeAFinger)
{
  std::vector<int> samples;
  for (double r : {0.0, 0.25, 0.5, 0.75, 1.0}) {
    const ClGreyImage img = RenderEmptyPlaten(r);
    samples.push_back(ResidueSample(img));
    EXPECT_EQ(Count(LitMask(img)), 0) << "residue " << r;
  }
  // The scanner condition is the sample / 300, capped at 100.
  EXPECT_LT(samples.front(), 1500) << "clean platen";
  EXPECT_GE(samples.back(), 27000) << "very dirty platen";
  for (size_t i = 1; i < samples.size(); ++i)
    EXPECT_GT(samples[i], samples[i - 1] + 3000) << "level " << i;
}

TEST(SimFrames, RawFramesAreTheSameSceneBrighter)
{
  ClFinger f;
  const ClGreyImage normal = RenderPlacedFinger(f, 0.0, kNormalWidth, kNormalHeight, kNormalDose);
  const ClGreyImage raw = RenderPlacedFinger(f, 0.0, kRawWidth, kRawHeight, kRawDose);
  ClGreyImage half(kNormalWidth, kNormalHeight);
  for (int y = 0; y < kNormalHeight; ++y)
    for (int x = 0; x < kNormalWidth; ++x)
      half.Row(y)[x] = uint8_t((raw.At(2 * x, 2 * y) + raw.At(2 * x + 1, 2 * y) +
                                raw.At(2 * x, 2 * y + 1) + raw.At(2 * x + 1, 2 * y + 1) + 2) /
                               4);
  const std::vector<uint8_t> lit = LitMask(normal);
  EXPECT_GT(MeanWhere(half, lit), MeanWhere(normal, lit) + 15.0);
  EXPECT_GT(Correlation(half, normal, lit), 0.85);
}

TEST(SimFrames, DeviceRowsAreTheDisplayFlipped)
{
  ClSimulator sim(ClScript::Demo());
  ClGreyImage display = sim.Frame(20, false, -1, EOrientation::eDisplay);
  const ClGreyImage device = sim.Frame(20, false, -1, EOrientation::eDevice);
  FlipRows(display);
  EXPECT_EQ(display.aPixels, device.aPixels);
}

TEST(SimFrames, SameFrameSameBitsAndOnlyNoiseBetweenStillFrames)
{
  ClSimulator a(ClScript::Demo()), b(ClScript::Demo());
  const ClGreyImage a20 = a.Frame(20, true), b20 = b.Frame(20, true);
  EXPECT_EQ(a20.aPixels, b20.aPixels);
  const ClGreyImage n20 = a.Frame(20), n21 = a.Frame(21);
  EXPECT_NE(n20.aPixels, n21.aPixels);
  double diff = 0;
  for (size_t i = 0; i < n20.aPixels.size(); ++i)
    diff += std::abs(int(n20.aPixels[i]) - int(n21.aPixels[i]));
  EXPECT_LT(diff / double(n20.aPixels.size()), 3.0);
}

TEST(SimFrames, RigidRollPatchesTileTheGroundTruth)
{
  const ClFinger f = FingerPreset("rigid");
  ClRollMotion r;
  r.aPath = {220.0, 580.0};
  r.nTouchdown = 0;
  r.dDrift = 0.0;
  ClSimulator sim(MakeRollScript(f, r, 36));
  ClGreyImage truth, mask;
  ASSERT_TRUE(sim.RollTruth(0, EOrientation::eDevice, truth, mask));
  const int64_t truthArea = std::count(mask.aPixels.begin(), mask.aPixels.end(), 255);
  std::vector<uint8_t> seen(mask.aPixels.size(), 0);
  int lastCentre = -1, patches = 0;
  for (int64_t n = 0; n < sim.FrameCount(); ++n) {
    const ClScene scene = sim.Scene(uint64_t(n));
    const ClGreyImage frame = sim.Frame(uint64_t(n));
    const std::vector<uint8_t> lit = LitMask(frame);
    if (sim.Info(uint64_t(n)).eKind != EStep::eRoll)
      continue;
    ++patches;
    int64_t inside = 0, all = 0;
    for (size_t i = 0; i < lit.size(); ++i)
      if (lit[i]) {
        ++all;
        inside += mask.aPixels[i] ? 1 : 0;
        seen[i] = 1;
      }
    EXPECT_GT(double(inside), 0.99 * double(all)) << "frame " << n << " lies on the unrolled print";
    const ClBox box = BoundingBox(lit, kNormalWidth);
    EXPECT_GE(box.Width(), 120) << "frame " << n;
    EXPECT_LE(box.Width(), 250) << "frame " << n;
    EXPECT_GE(box.Height(), 1.2 * box.Width()) << "tall and narrow, frame " << n;
    const int centre = (box.x0 + box.x1) / 2;
    EXPECT_GE(centre, lastCentre) << "left to right, frame " << n;
    lastCentre = centre;
    // Where the patch presses firmly the frame shows the ground truth's ridges.
    std::vector<uint8_t> core(lit.size(), 0);
    for (int y = 0; y < kNormalHeight; ++y)
      for (int x = std::max(0, int(scene.dPatchX) - 40);
           x < std::min(kNormalWidth, int(scene.dPatchX) + 40); ++x)
        core[size_t(y) * kNormalWidth + size_t(x)] = lit[size_t(y) * kNormalWidth + size_t(x)];
    EXPECT_GT(Correlation(frame, truth, core), 0.8) << "frame " << n;
  }
  EXPECT_EQ(patches, 3 + 36);
  EXPECT_GT(double(Count(seen)), 0.85 * double(truthArea)) << "the patches cover the rolled print";
  const ClBox whole = BoundingBox(mask.aPixels, kNormalWidth);
  EXPECT_GE(whole.Width(), 500);
  EXPECT_LE(whole.Width(), 650);
}

TEST(SimFrames, RollOverTheEdgeTouchesTheBorderColumn)
{
  ClFinger f;
  ClRollMotion r;
  r.aPath = {20.0, 400.0};
  ClSimulator sim(MakeRollScript(f, r, 30));
  const ClGreyImage first = sim.Frame(3 + 1); // resting at the start, half off the platen
  const std::vector<uint8_t> lit = LitMask(first);
  int rows = 0;
  for (int y = 0; y < kNormalHeight; ++y)
    rows += lit[size_t(y) * kNormalWidth] ? 1 : 0;
  EXPECT_GT(rows, 225) << "enough rows in column 0 to count as rolled out of the area";
}

TEST(SimFrames, DryWetAndArtificialFingersDiffer)
{
  ClFinger normal, dry, wet, fake;
  dry.dMoisture = -1.0;
  wet.dMoisture = 1.0;
  fake.bFake = true;
  const ClGreyImage n = RenderPlacedFinger(normal), d = RenderPlacedFinger(dry),
                    w = RenderPlacedFinger(wet), a = RenderPlacedFinger(fake);
  auto bright = [](const ClGreyImage& img) {
    int c = 0;
    for (int y = 325; y < 425; ++y)
      for (int x = 350; x < 450; ++x)
        c += img.At(x, y) > 110 ? 1 : 0;
    return c;
  };
  auto valley = [](const ClGreyImage& img) {
    std::vector<uint8_t> v;
    for (int y = 325; y < 425; ++y)
      for (int x = 350; x < 450; ++x)
        v.push_back(img.At(x, y));
    std::nth_element(v.begin(), v.begin() + long(v.size() / 10), v.end());
    return int(v[v.size() / 10]);
  };
  EXPECT_LT(bright(d), bright(n) * 3 / 4) << "dry ridges break";
  EXPECT_GT(bright(w), bright(n)) << "wet ridges merge";
  EXPECT_GT(valley(w), valley(n) + 10);
  EXPECT_GT(valley(a), valley(n) + 30) << "artificial material fills the valleys";
  // The liveness stub's judgement follows.
  EXPECT_GT(LivenessScore(kNormalWidth, kNormalHeight, n.aPixels.data()).dScore, 0.8);
  EXPECT_LT(LivenessScore(kNormalWidth, kNormalHeight, a.aPixels.data()).dScore, 0.3);
  EXPECT_FALSE(
      LivenessScore(kNormalWidth, kNormalHeight, RenderEmptyPlaten(1.0).aPixels.data()).bFinger);
}
