#include "simulator/render/Script.h"

#include "simulator/render/FrameRenderer.h"
#include "simulator/render/PlatenBackground.h"

#include <algorithm>
#include <cmath>

namespace kxsim {

namespace {

int64_t StepLength(const ClScriptStep& s) {
  if (s.eKind == EStep::eRoll) return int64_t(s.roll.nSettle) + s.nFrames + std::max(0, s.roll.nLiftFrames);
  return s.nFrames;
}

// Point at a fraction of the length of a polyline of columns.
double AlongPath(const std::vector<double>& path, double fraction) {
  double total = 0.0;
  for (size_t i = 1; i < path.size(); ++i) total += std::fabs(path[i] - path[i - 1]);
  if (path.size() < 2 || total <= 0.0) return path.empty() ? 0.0 : path.front();
  double left = std::clamp(fraction, 0.0, 1.0) * total;
  for (size_t i = 1; i < path.size(); ++i) {
    const double seg = std::fabs(path[i] - path[i - 1]);
    if (left <= seg && seg > 0.0) return path[i - 1] + (path[i] - path[i - 1]) * (left / seg);
    left -= seg;
  }
  return path.back();
}

}  // namespace

ClScript ClScript::Demo() {
  ClScript s;
  ClScriptStep e;
  e.eKind = EStep::eEmpty;
  e.nFrames = 10;
  e.bResidue = true;
  e.dResidue = 0.1;
  s.Add(e);
  ClScriptStep place;
  place.eKind = EStep::ePlace;
  place.nFrames = 5;
  place.bFinger = true;
  place.finger.nSeed = 7;
  place.finger.dPressure = 0.8;
  s.Add(place);
  ClScriptStep still;
  still.eKind = EStep::eStill;
  still.nFrames = 25;
  s.Add(still);
  ClScriptStep lift;
  lift.eKind = EStep::eLift;
  lift.nFrames = 4;
  s.Add(lift);
  ClScriptStep gap;
  gap.eKind = EStep::eEmpty;
  gap.nFrames = 6;
  s.Add(gap);
  ClScriptStep roll;
  roll.eKind = EStep::eRoll;
  roll.nFrames = 36;
  roll.roll.aPath = {220.0, 580.0};
  s.Add(roll);
  s.Add(lift);
  s.Add(gap);
  return s;
}

void ClScript::Add(const ClScriptStep& step) {
  m_aSteps.push_back(step);
  Expand();
}

void ClScript::Expand() {
  m_aRuns.clear();
  int64_t start = 0;
  double residue = 0.0;
  ClFinger finger;
  ClScene last;
  int counts[5] = {0, 0, 0, 0, 0};
  for (size_t i = 0; i < m_aSteps.size(); ++i) {
    const ClScriptStep& s = m_aSteps[i];
    if (s.bResidue) residue = s.dResidue;
    if (s.bFinger) finger = s.finger;
    ClRun run;
    run.nStart = start;
    run.nLength = StepLength(s);
    run.nKindIndex = counts[int(s.eKind)]++;
    run.dResidue = residue;
    run.finger = finger;
    run.before = last;
    m_aRuns.push_back(run);
    last = LastScene(int(i));
    start += run.nLength;
  }
  m_nFrames = start;
}

ClScene ClScript::LastScene(int n) const {
  const ClRun& run = m_aRuns[size_t(n)];
  switch (m_aSteps[size_t(n)].eKind) {
    case EStep::eEmpty:
    case EStep::eLift:
      return ClScene();
    case EStep::eRoll:
      return RollScene(n, 1.0);
    default:
      return SceneOf(n, run.nLength - 1);
  }
}

ClScene ClScript::SceneOf(int n, int64_t local) const {
  const ClScriptStep& step = m_aSteps[size_t(n)];
  const ClRun& run = m_aRuns[size_t(n)];
  ClScene s;
  s.dResidue = run.dResidue;
  s.finger = run.finger;
  const int64_t frames = std::max<int64_t>(1, step.nFrames);
  switch (step.eKind) {
    case EStep::eEmpty:
      break;
    case EStep::ePlace:
      s.eContact = EContact::eFlat;
      s.dPlaced = double(local + 1) / double(frames);
      break;
    case EStep::eStill:
      if (run.before.eContact == EContact::eRoll) {
        const double residue = s.dResidue;
        s = run.before;
        s.dResidue = residue;
      } else {
        s.eContact = EContact::eFlat;
      }
      s.dPlaced = 1.0;
      break;
    case EStep::eLift: {
      const double placed = double(frames - 1 - local) / double(frames);
      if (placed <= 0.0) break;
      if (run.before.eContact != EContact::eNone) {
        s = run.before;
        s.dResidue = run.dResidue;
      } else {
        s.eContact = EContact::eFlat;
      }
      s.dPlaced = placed;
      break;
    }
    case EStep::eRoll: {
      const ClRollSpec& r = step.roll;
      double fraction = 0.0;
      if (local >= r.nSettle) {
        int64_t k = local - r.nSettle;
        if (r.dLiftAt >= 0.0 && r.nLiftFrames > 0) {
          const int64_t at = std::clamp<int64_t>(int64_t(r.dLiftAt * double(frames)), 0, frames);
          if (k >= at && k < at + r.nLiftFrames) break;  // off the platen for a moment
          if (k >= at + r.nLiftFrames) k -= r.nLiftFrames;
        }
        fraction = double(k + 1) / double(frames);
      }
      s = RollScene(n, fraction);
      break;
    }
  }
  return s;
}

ClScene ClScript::RollScene(int n, double fraction) const {
  const ClRollSpec& r = m_aSteps[size_t(n)].roll;
  const ClRun& run = m_aRuns[size_t(n)];
  ClScene s;
  s.dResidue = run.dResidue;
  s.finger = run.finger;
  if (r.aPath.empty()) return s;
  s.eContact = EContact::eRoll;
  s.dPatchWidth = r.dPatchWidth;
  s.dRollFromX = *std::min_element(r.aPath.begin(), r.aPath.end());
  s.dRollToX = *std::max_element(r.aPath.begin(), r.aPath.end());
  s.dPatchX = AlongPath(r.aPath, fraction);
  if (r.dSlipAt >= 0.0 && fraction > r.dSlipAt) {
    s.nShiftX = r.nSlipX;
    s.nShiftY = r.nSlipY;
  }
  return s;
}

int ClScript::RunAt(uint64_t nFrame, int64_t& local) const {
  if (m_nFrames <= 0) return -1;
  const int64_t f = m_bLoop ? int64_t(nFrame % uint64_t(m_nFrames))
                            : int64_t(std::min<uint64_t>(nFrame, uint64_t(m_nFrames - 1)));
  auto it = std::upper_bound(m_aRuns.begin(), m_aRuns.end(), f,
                             [](int64_t v, const ClRun& r) { return v < r.nStart; });
  const int n = int(it - m_aRuns.begin()) - 1;
  local = f - m_aRuns[size_t(n)].nStart;
  return n;
}

ClScene ClScript::SceneAt(uint64_t nFrame) const {
  int64_t local = 0;
  const int n = RunAt(nFrame, local);
  return n < 0 ? ClScene() : SceneOf(n, local);
}

ClFrameInfo ClScript::InfoAt(uint64_t nFrame) const {
  ClFrameInfo info;
  int64_t local = 0;
  const int n = RunAt(nFrame, local);
  if (n < 0) return info;
  info.nStep = n;
  info.eKind = m_aSteps[size_t(n)].eKind;
  info.nFrameInStep = int(local);
  info.nKindIndex = m_aRuns[size_t(n)].nKindIndex;
  return info;
}

int64_t ClScript::FirstFrameOf(EStep eKind, int nIndex) const {
  for (size_t i = 0; i < m_aSteps.size(); ++i)
    if (m_aSteps[i].eKind == eKind && m_aRuns[i].nKindIndex == nIndex) return m_aRuns[i].nStart;
  return -1;
}

bool ClScript::RollTruth(int nRoll, ClFrameRenderer& renderer, int W, int H, int nDose,
                         EOrientation eOrientation, ClGreyImage& image, ClGreyImage& mask) const {
  int n = -1;
  for (size_t i = 0; i < m_aSteps.size(); ++i)
    if (m_aSteps[i].eKind == EStep::eRoll && m_aRuns[i].nKindIndex == nRoll) n = int(i);
  if (n < 0 || W <= 0 || H <= 0) return false;
  image = ClGreyImage(W, H, uint8_t(ClPlatenBackground::DarkLevel(nDose)));
  mask = ClGreyImage(W, H, 0);
  ClGreyImage frame(W, H), touched(W, H);
  for (int64_t k = 0; k < m_aRuns[size_t(n)].nLength; ++k) {
    ClScene s = SceneOf(n, k);
    if (s.eContact == EContact::eNone) continue;
    s.dResidue = 0.0;
    renderer.RenderIdeal(s, W, H, nDose, true, eOrientation, frame.aPixels.data(), touched.aPixels.data());
    for (size_t i = 0; i < frame.aPixels.size(); ++i)
      if (touched.aPixels[i]) {
        image.aPixels[i] = frame.aPixels[i];
        mask.aPixels[i] = 255;
      }
  }
  return true;
}

bool ClScript::PlainTruth(int nStill, ClFrameRenderer& renderer, int W, int H, int nDose,
                          EOrientation eOrientation, ClGreyImage& image, ClGreyImage& mask) const {
  for (size_t i = 0; i < m_aSteps.size(); ++i) {
    if (m_aSteps[i].eKind != EStep::eStill || m_aRuns[i].nKindIndex != nStill) continue;
    if (W <= 0 || H <= 0) return false;
    ClScene s = SceneOf(int(i), 0);
    s.dResidue = 0.0;
    image = ClGreyImage(W, H);
    mask = ClGreyImage(W, H);
    renderer.RenderIdeal(s, W, H, nDose, false, eOrientation, image.aPixels.data(), mask.aPixels.data());
    return true;
  }
  return false;
}

}  // namespace kxsim
