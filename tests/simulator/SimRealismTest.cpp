// How far the simulated platen departs from a rigid, motionless, evenly lit print, measured
// on the pictures: skin that stretches while rolling, shaped roll contact, settling and
// tremor seen by the capture engine's motion measure, dry and uneven fingers, latent prints.
#include "simulator/SimRender.h"
#include "tests/simulator/SimMeasure.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

using namespace kxsim;
using namespace kxsimtest;

namespace {

constexpr int kLead = 3;   // empty frames before a roll
constexpr int kSettle = 3; // resting frames at the start of a roll
constexpr int64_t kMotionLimit = 800000000;

ClScript Roll(const ClFinger& f)
{
  ClRollMotion r;
  r.aPath = {220.0, 580.0};
  return MakeRollScript(f, r, 36, kLead);
}

std::vector<uint8_t> Both(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b)
{
  std::vector<uint8_t> m(a.size());
  for (size_t i = 0; i < m.size(); ++i)
    m[i] = a[i] && b[i];
  return m;
}

bool AllSet(const std::vector<uint8_t>& m, int x0, int y0, int n)
{
  for (int y = y0; y < y0 + n; ++y)
    for (int x = x0; x < x0 + n; ++x)
      if (!m[size_t(y) * kNormalWidth + size_t(x)])
        return false;
  return true;
}

struct ClFlow
{
  double dRms = 0, dMax = 0, dBehind = 0, dAhead = 0, dRough = 0, dOverlapDiff = 1e9;
  int nBlocks = 0;
};

// Shifts searched: less than a ridge period along any diagonal, so that a block never
// matches the next ridge over.
constexpr int kSearch = 4;

// Block matching between consecutive frames of the moving part of a roll.
ClFlow RollFlow(ClSimulator& sim)
{
  ClFlow f;
  double sq = 0, behind = 0, ahead = 0, nb = 0, na = 0, rough = 0, nr = 0;
  std::vector<double> all;
  for (int n = kLead + kSettle + 2; n < kLead + kSettle + 34; n += 3) {
    const ClGreyImage a = sim.Frame(uint64_t(n), false, -1, EOrientation::eDisplay);
    const ClGreyImage b = sim.Frame(uint64_t(n + 1), false, -1, EOrientation::eDisplay);
    const std::vector<uint8_t> firm = Both(LitMask(a, 30), LitMask(b, 30));
    f.dOverlapDiff = std::min(f.dOverlapDiff, MeanAbsDiff(a, b, firm));
    const double centre = sim.Scene(uint64_t(n)).dPatchX;
    for (int y0 = 48; y0 + 40 < kNormalHeight; y0 += 32) {
      int last = -1000;
      ClShift lastShift;
      for (int x0 = 8; x0 + 40 < kNormalWidth; x0 += 16) {
        if (!AllSet(firm, x0 - kSearch, y0 - kSearch, 32 + 2 * kSearch))
          continue;
        const ClShift s = BlockShift(a, b, x0, y0, 32, kSearch);
        const double d = std::hypot(s.nDx, s.nDy);
        sq += d * d;
        all.push_back(d);
        ++f.nBlocks;
        if (x0 + 16 < centre) {
          behind += d;
          ++nb;
        } else {
          ahead += d;
          ++na;
        }
        if (last == x0 - 16) {
          rough += std::abs(s.nDx - lastShift.nDx) > 1 ? 1 : 0;
          ++nr;
        }
        last = x0;
        lastShift = s;
      }
    }
  }
  f.dRms = f.nBlocks ? std::sqrt(sq / f.nBlocks) : 0;
  // The largest shift, leaving out the odd block that the ridges' periodicity misleads.
  std::sort(all.begin(), all.end());
  f.dMax = all.empty() ? 0.0 : all[all.size() * 99 / 100];
  f.dBehind = nb ? behind / nb : 0;
  f.dAhead = na ? ahead / na : 0;
  f.dRough = nr ? rough / nr : 0;
  return f;
}

// Rows of a lit region: first and last lit column per row (-1 where none).
struct ClOutline
{
  std::vector<int> aLeft, aRight;
  int64_t nArea = 0;
};

// The lit finger seen through a 21 by 21 mean, so that single ridges do not notch its edge.
ClOutline Outline(const ClGreyImage& frame)
{
  const std::vector<int> mean = BoxMean(frame, 10);
  std::vector<uint8_t> lit(mean.size());
  for (size_t i = 0; i < lit.size(); ++i)
    lit[i] = mean[i] > 16 + 25 ? 1 : 0;
  ClOutline o;
  o.aLeft.assign(kNormalHeight, -1);
  o.aRight.assign(kNormalHeight, -1);
  for (int y = 0; y < kNormalHeight; ++y)
    for (int x = 0; x < kNormalWidth; ++x)
      if (lit[size_t(y) * kNormalWidth + size_t(x)]) {
        if (o.aLeft[size_t(y)] < 0)
          o.aLeft[size_t(y)] = x;
        o.aRight[size_t(y)] = x;
        ++o.nArea;
      }
  return o;
}

// Largest distance of an edge from the straight line fitted through it.
double Bow(const std::vector<int>& edge)
{
  double n = 0, sy = 0, sx = 0, syy = 0, sxy = 0;
  for (size_t y = 0; y < edge.size(); ++y)
    if (edge[y] >= 0) {
      n += 1;
      sy += double(y);
      sx += edge[y];
      syy += double(y) * double(y);
      sxy += double(y) * edge[y];
    }
  const double b = (n * sxy - sy * sx) / (n * syy - sy * sy), a = (sx - b * sy) / n;
  double worst = 0;
  for (size_t y = 0; y < edge.size(); ++y)
    if (edge[y] >= 0)
      worst = std::max(worst, std::fabs(edge[y] - (a + b * double(y))));
  return worst;
}

// Worst inward dent of the outline, pixels: over 40 rows either way, the left edge must lie
// left of its chord and the right edge right of it. A convex region has none; the ridges
// under a fading rim move the lit edge by a few pixels.
double Dent(const ClOutline& o)
{
  const int h = 40;
  double worst = 0;
  for (int y = h; y + h < kNormalHeight; ++y) {
    const size_t a = size_t(y - h), m = size_t(y), b = size_t(y + h);
    if (o.aLeft[a] < 0 || o.aLeft[m] < 0 || o.aLeft[b] < 0)
      continue;
    worst = std::max(worst, o.aLeft[m] - 0.5 * (o.aLeft[a] + o.aLeft[b]));
    worst = std::max(worst, 0.5 * (o.aRight[a] + o.aRight[b]) - o.aRight[m]);
  }
  return worst;
}

// Share of the ridge pixels of the box that lie in pieces shorter than nShort pixels
// (extent of 8-connected ridge components); ridges are pixels above their 9 by 9 mean.
double ShortRidgeShare(const ClGreyImage& img, int x0, int y0, int x1, int y1, int nShort)
{
  const std::vector<int> mean = BoxMean(img, 4);
  const int w = x1 - x0, h = y1 - y0;
  std::vector<int> label(size_t(w) * size_t(h), 0);
  auto ridge = [&](int x, int y) {
    return img.At(x0 + x, y0 + y) > mean[size_t(y0 + y) * size_t(img.nWidth) + size_t(x0 + x)] + 3;
  };
  int64_t all = 0, brief = 0;
  std::vector<std::pair<int, int>> stack;
  int next = 0;
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      if (label[size_t(y) * w + x] || !ridge(x, y))
        continue;
      int lx = x, hx = x, ly = y, hy = y;
      int64_t n = 0;
      label[size_t(y) * w + x] = ++next;
      stack.assign(1, {x, y});
      while (!stack.empty()) {
        const auto [cx, cy] = stack.back();
        stack.pop_back();
        ++n;
        lx = std::min(lx, cx), hx = std::max(hx, cx), ly = std::min(ly, cy), hy = std::max(hy, cy);
        for (int dy = -1; dy <= 1; ++dy)
          for (int dx = -1; dx <= 1; ++dx) {
            const int nx = cx + dx, ny = cy + dy;
            if (nx < 0 || ny < 0 || nx >= w || ny >= h || label[size_t(ny) * w + nx] ||
                !ridge(nx, ny))
              continue;
            label[size_t(ny) * w + nx] = next;
            stack.push_back({nx, ny});
          }
      }
      all += n;
      if (std::max(hx - lx, hy - ly) + 1 < nShort)
        brief += n;
    }
  return all ? double(brief) / double(all) : 0.0;
}

} // namespace

TEST(SimRealism, RollingSkinStretchesBehindTheCentreLine)
{
  ClFinger f;
  ClSimulator sim(Roll(f));
  const ClFlow flow = RollFlow(sim);
  EXPECT_GT(flow.nBlocks, 200);
  // 10 pixels of roll per frame at a peak strain of 20 %: blocks move by well under a
  // ridge period between frames, most at the trailing edge.
  EXPECT_GE(flow.dRms, 0.4);
  EXPECT_LE(flow.dRms, 1.0);
  EXPECT_GE(flow.dMax, 1.5);
  EXPECT_LE(flow.dMax, 3.0);
  EXPECT_GT(flow.dBehind, 1.5 * flow.dAhead) << "larger towards the trailing edge";
  EXPECT_LT(flow.dRough, 0.1) << "a smooth field: neighbouring blocks agree";
  EXPECT_GE(flow.dOverlapDiff, 8.0) << "no slip, yet consecutive frames differ";

  f.dDistortion = 0.0;
  ClRollMotion still;
  still.aPath = {220.0, 580.0};
  still.dDrift = 0.0;
  ClSimulator rigid(MakeRollScript(f, still, 36, kLead));
  const ClFlow none = RollFlow(rigid);
  EXPECT_GT(none.nBlocks, 200);
  EXPECT_EQ(none.dMax, 0.0) << "a rigid print lines up to the pixel";
}

TEST(SimRealism, RollPatchesAreConvexBowedGrowingAndOfVaryingWidth)
{
  ClSimulator sim(Roll(ClFinger()));
  std::vector<int64_t> area;
  double narrowest = 1e9, widest = 0;
  for (int n = kLead; n < kLead + kSettle + 36; ++n) {
    const ClOutline o = Outline(sim.Frame(uint64_t(n), false, -1, EOrientation::eDisplay));
    area.push_back(o.nArea);
    ASSERT_GT(o.nArea, 5000) << "frame " << n;
    EXPECT_LE(Dent(o), 6.0) << "convex, frame " << n;
    EXPECT_GE(Bow(o.aLeft), 15.0) << "left side bowed, frame " << n;
    EXPECT_GE(Bow(o.aRight), 15.0) << "right side bowed, frame " << n;
    int width = 0;
    for (int y = 0; y < kNormalHeight; ++y)
      if (o.aLeft[size_t(y)] >= 0)
        width = std::max(width, o.aRight[size_t(y)] - o.aLeft[size_t(y)] + 1);
    if (n >= kLead + kSettle) {
      narrowest = std::min(narrowest, double(width));
      widest = std::max(widest, double(width));
    }
  }
  EXPECT_LE(narrowest, 0.65 * widest) << "narrow on the sides of the finger, widest on the pad";
  // Touching down: the contact grows over the first frames.
  EXPECT_GT(area[1], area[0] + area[0] / 10);
  EXPECT_GT(area[2], area[1] + area[1] / 10);
}

TEST(SimRealism, SettlingFingerMovesForTheScriptedFramesThenTheMotionMeasureCalms)
{
  for (int settle : {0, 6}) {
    ClScript script;
    script.SetLoop(false);
    ClScriptStep empty, place, still;
    empty.nFrames = 3;
    place.eKind = EStep::ePlace;
    place.nFrames = 4;
    place.nSettle = settle;
    place.bFinger = true;
    still.eKind = EStep::eStill;
    still.nFrames = 12;
    script.Add(empty);
    script.Add(place);
    script.Add(still);
    ClSimulator sim(script);
    std::vector<std::vector<int64_t>> h;
    const int placed = 3 + 4; // first frame after placing
    for (int64_t n = 0; n < sim.FrameCount(); ++n) {
      h.push_back(EngineHistogram(sim.Frame(uint64_t(n), true)));
      if (n < placed)
        continue;
      const int64_t d = MotionMeasure(h[size_t(n - 3)], h[size_t(n)]);
      if (n < placed + settle) {
        EXPECT_GE(d, kMotionLimit) << "still settling, frame " << n;
      } else if (n >= placed + settle + 3) {
        EXPECT_LT(d, kMotionLimit) << "settled, frame " << n;
        EXPECT_GT(d, 0) << "a held finger trembles";
      }
    }
  }
}

TEST(SimRealism, DryRidgesBreakIntoShortPiecesAndLightVariesAcrossTheContact)
{
  // The firmly pressed middle of the contact, away from pieces the box edge cuts off.
  const int x0 = 330, y0 = 300, x1 = 470, y1 = 450;
  const ClFinger normal;
  const double whole = ShortRidgeShare(RenderPlacedFinger(normal, 0.0, kNormalWidth, kNormalHeight,
                                                          kNormalDose, EOrientation::eDisplay),
                                       x0, y0, x1, y1, 27);
  const double dry =
      ShortRidgeShare(RenderPlacedFinger(FingerPreset("dry"), 0.0, kNormalWidth, kNormalHeight,
                                         kNormalDose, EOrientation::eDisplay),
                      x0, y0, x1, y1, 27);
  EXPECT_GE(dry, 0.25) << "dry ridges in pieces shorter than three periods";
  EXPECT_LT(whole, 0.1);

  // Ridge brightness (the brightest fifth of 24 by 24 blocks) over the middle of the
  // contact, where the pressure hardly falls off.
  auto spread = [](const ClFinger& f) {
    const ClGreyImage img = RenderPlacedFinger(f, 0.0, kNormalWidth, kNormalHeight, kNormalDose,
                                               EOrientation::eDisplay);
    double lo = 1e9, hi = 0;
    for (int by = 303; by + 24 <= 447; by += 24)
      for (int bx = 352; bx + 24 <= 448; bx += 24) {
        std::vector<int> v;
        for (int y = by; y < by + 24; ++y)
          for (int x = bx; x < bx + 24; ++x)
            v.push_back(img.At(x, y));
        std::sort(v.begin(), v.end());
        double top = 0;
        for (size_t i = v.size() * 4 / 5; i < v.size(); ++i)
          top += v[i];
        top /= double(v.size() - v.size() * 4 / 5);
        lo = std::min(lo, top);
        hi = std::max(hi, top);
      }
    return (hi - lo) / hi;
  };
  ClFinger even;
  even.dUneven = 0.0;
  EXPECT_GE(spread(normal), 0.15);
  EXPECT_LT(spread(even), spread(normal) / 2);
}

TEST(SimRealism, LiftedFingerLeavesALatentPrintTheConditionSees)
{
  auto condition = [](double dLatent) {
    ClScript s = ClScript::FromJson(R"([{"empty": 2, "residue": 0.05}, {"place": 3}, {"still": 3},
                                        {"lift": 3, "latent": )" +
                                    std::to_string(dLatent) + R"(}, {"empty": 3}])");
    s.SetLoop(false);
    ClSimulator sim(s);
    EXPECT_EQ(sim.Scene(11).eContact, EContact::eNone);
    return ResidueSample(sim.Frame(12)) / 300;
  };
  const int clean = condition(0.0), left = condition(1.0), faint = condition(0.3);
  EXPECT_GE(left, clean + 10) << "the latent print raises the platen's condition value";
  EXPECT_GT(faint, clean);
  EXPECT_LT(faint, left);
}

TEST(SimRealism, PresetsSpanFaintToStrongAndPeriodsEightToTwelve)
{
  auto contrast = [](const ClFinger& f) {
    const ClGreyImage img = RenderPlacedFinger(f, 0.0, kNormalWidth, kNormalHeight, kNormalDose,
                                               EOrientation::eDisplay);
    std::vector<int> v;
    for (int y = 345; y < 405; ++y)
      for (int x = 370; x < 430; ++x)
        v.push_back(img.At(x, y));
    std::sort(v.begin(), v.end());
    return v[v.size() * 95 / 100] - v[v.size() * 5 / 100];
  };
  const int faint = contrast(FingerPreset("faint")), strong = contrast(FingerPreset("strong"));
  EXPECT_NEAR(faint, 30, 10);
  EXPECT_NEAR(strong, 150, 30);
  for (double period : {8.0, 12.0}) {
    ClFinger f;
    f.dPeriod = period;
    const ClGreyImage img = RenderPlacedFinger(f, 0.0, kNormalWidth, kNormalHeight, kNormalDose,
                                               EOrientation::eDisplay);
    double sum = 0;
    for (int dy : {-80, 0, 80})
      sum += DominantWave(img, 376, 351 + dy, 48).dPeriod;
    EXPECT_NEAR(sum / 3, period, 1.0);
  }
}

TEST(SimRealism, RollAsSeenTruthHoldsWhatEachFrameShowedAtItsCentreLine)
{
  ClSimulator sim(Roll(ClFinger()));
  ClGreyImage truth, truthMask, seen, seenMask;
  ASSERT_TRUE(sim.RollTruth(0, EOrientation::eDisplay, truth, truthMask));
  ASSERT_TRUE(sim.RollTruth(0, EOrientation::eDisplay, seen, seenMask, kNormalDose, true));
  EXPECT_EQ(truthMask.aPixels, seenMask.aPixels) << "both cover all touched skin";
  double seenSum = 0, truthSum = 0;
  int frames = 0;
  for (int n = kLead + kSettle + 4; n < kLead + kSettle + 32; n += 4) {
    const ClGreyImage frame = sim.Frame(uint64_t(n), false, -1, EOrientation::eDisplay);
    const std::vector<uint8_t> lit = LitMask(frame, 40);
    // The centre line of the contact.
    const int centre = int(sim.Scene(uint64_t(n)).dPatchX);
    std::vector<uint8_t> band(lit.size(), 0);
    for (int y = 0; y < kNormalHeight; ++y)
      for (int x = centre - 4; x <= centre + 4; ++x)
        band[size_t(y) * kNormalWidth + size_t(x)] = lit[size_t(y) * kNormalWidth + size_t(x)];
    seenSum += Correlation(frame, seen, band);
    truthSum += Correlation(frame, truth, band);
    ++frames;
  }
  EXPECT_GT(seenSum / frames, 0.85);
  EXPECT_GT(seenSum, truthSum)
      << "the undistorted print lies where the finger started, without its drift";
}
