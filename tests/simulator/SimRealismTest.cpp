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

constexpr int kLead = 3;                 // empty frames before a roll
constexpr int kSettle = 3;               // resting frames at the start of a roll
constexpr int64_t kMotionLimit = 800000000;

ClScript Roll(const ClFinger& f) {
  ClRollSpec r;
  r.aPath = {220.0, 580.0};
  return MakeRollScript(f, r, 36, kLead);
}

std::vector<uint8_t> Both(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
  std::vector<uint8_t> m(a.size());
  for (size_t i = 0; i < m.size(); ++i) m[i] = a[i] && b[i];
  return m;
}

bool AllSet(const std::vector<uint8_t>& m, int x0, int y0, int n) {
  for (int y = y0; y < y0 + n; ++y)
    for (int x = x0; x < x0 + n; ++x)
      if (!m[size_t(y) * kNormalWidth + size_t(x)]) return false;
  return true;
}

struct ClFlow {
  double dRms = 0, dMax = 0, dBehind = 0, dAhead = 0, dRough = 0, dOverlapDiff = 1e9;
  int nBlocks = 0;
};

// Shifts searched: less than a ridge period along any diagonal, so that a block never
// matches the next ridge over.
constexpr int kSearch = 4;

// Block matching between consecutive frames of the moving part of a roll.
ClFlow RollFlow(ClSimulator& sim) {
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
        if (!AllSet(firm, x0 - kSearch, y0 - kSearch, 32 + 2 * kSearch)) continue;
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

}  // namespace

TEST(SimRealism, RollingSkinStretchesBehindTheCentreLine) {
  ClFinger f;
  ClSimulator sim(Roll(f));
  const ClFlow flow = RollFlow(sim);
  std::printf("rms %.2f max %.2f behind %.2f ahead %.2f rough %.3f overlap %.1f blocks %d\n", flow.dRms, flow.dMax,
              flow.dBehind, flow.dAhead, flow.dRough, flow.dOverlapDiff, flow.nBlocks);
  EXPECT_GT(flow.nBlocks, 200);
  EXPECT_GE(flow.dRms, 1.0);
  EXPECT_GE(flow.dMax, 3.0);
  EXPECT_LE(flow.dMax, 4.5);
  EXPECT_GT(flow.dBehind, 1.5 * flow.dAhead) << "larger towards the trailing edge";
  EXPECT_LT(flow.dRough, 0.1) << "a smooth field: neighbouring blocks agree";
  EXPECT_GE(flow.dOverlapDiff, 20.0) << "no slip, yet consecutive frames differ";

  f.dDistortion = 0.0;
  ClRollSpec still;
  still.aPath = {220.0, 580.0};
  still.dDrift = 0.0;
  ClSimulator rigid(MakeRollScript(f, still, 36, kLead));
  const ClFlow none = RollFlow(rigid);
  std::printf("rigid rms %.2f max %.2f overlap %.1f\n", none.dRms, none.dMax, none.dOverlapDiff);
  EXPECT_GT(none.nBlocks, 200);
  EXPECT_EQ(none.dMax, 0.0) << "a rigid print lines up to the pixel";
}
