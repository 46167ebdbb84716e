#include "simulator/render/Script.h"

#include "simulator/render/FrameRenderer.h"
#include "simulator/render/PlatenBackground.h"
#include "simulator/render/SimRandom.h"

#include <algorithm>
#include <cmath>

namespace kxsim {

namespace {

int64_t StepLength(const ClScriptStep& s)
{
  if (s.eKind == EStep::eRoll)
    return int64_t(s.roll.nSettle) + s.nFrames + std::max(0, s.roll.nLiftFrames);
  if (s.eKind == EStep::ePlace)
    return int64_t(s.nFrames) + std::max(0, s.nSettle);
  return s.nFrames;
}

double PathLength(const std::vector<double>& path)
{
  double total = 0.0;
  for (size_t i = 1; i < path.size(); ++i)
    total += std::fabs(path[i] - path[i - 1]);
  return total;
}

// Point at a fraction of the length of a polyline of columns, and the way it goes there.
double AlongPath(const std::vector<double>& path, double fraction, int* pDirection = nullptr)
{
  const double total = PathLength(path);
  if (pDirection)
    *pDirection = path.size() >= 2 && path.back() < path.front() ? -1 : 1;
  if (path.size() < 2 || total <= 0.0)
    return path.empty() ? 0.0 : path.front();
  double left = std::clamp(fraction, 0.0, 1.0) * total;
  for (size_t i = 1; i < path.size(); ++i) {
    const double seg = std::fabs(path[i] - path[i - 1]);
    if (left <= seg && seg > 0.0) {
      if (pDirection)
        *pDirection = path[i] < path[i - 1] ? -1 : 1;
      return path[i - 1] + (path[i] - path[i - 1]) * (left / seg);
    }
    left -= seg;
  }
  return path.back();
}

// -1..1, the same for the same frame and channel.
double Jitter(int64_t nFrame, int nChannel)
{
  return double(Mix64(uint64_t(nFrame) * 0x9E3779B97F4A7C15ull + uint64_t(nChannel) * 7919u) >>
                11) *
             (2.0 / 9007199254740992.0) -
         1.0;
}

} // namespace

ClScript ClScript::Demo()
{
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
  // The finger rests until its contact has grown and a little longer, as an operator
  // lets it, before it rolls.
  roll.roll.nSettle = 8;
  s.Add(roll);
  s.Add(lift);
  s.Add(gap);
  return s;
}

void ClScript::Add(const ClScriptStep& step)
{
  m_aSteps.push_back(step);
  Expand();
}

void ClScript::Expand()
{
  m_aRuns.clear();
  int64_t start = 0;
  double residue = 0.0;
  ClFinger finger;
  ClScene last;
  ClLatentPrint latent;
  std::shared_ptr<const ClScene> latentScene;
  double jitter = 0.0;
  m_aDrops.clear();
  int counts[5] = {0, 0, 0, 0, 0};
  for (size_t i = 0; i < m_aSteps.size(); ++i) {
    const ClScriptStep& s = m_aSteps[i];
    if (s.bResidue) {
      residue = s.dResidue;
      latent = ClLatentPrint(); // a cleaned or changed platen
      latentScene.reset();
    }
    if (s.bFinger)
      finger = s.finger;
    ClRun run;
    run.nStart = start;
    run.nLength = StepLength(s);
    run.nKindIndex = counts[int(s.eKind)]++;
    run.dResidue = residue;
    run.finger = finger;
    run.before = last;
    run.latent = latent;
    run.pLatentScene = latentScene;
    if (s.bJitter)
      jitter = s.dJitterMs;
    run.dJitterMs = jitter;
    for (int k : s.aDrop)
      if (k >= 0 && k < run.nLength)
        m_aDrops.push_back(start + k);
    m_aRuns.push_back(run);
    if (s.eKind == EStep::eLift && s.latent.dStrength > 0.0 && last.eContact != EContact::eNone) {
      latent = s.latent;
      ClScene was = last;
      was.latent = ClLatentPrint();
      was.pLatentScene.reset();
      latentScene = std::make_shared<const ClScene>(was);
    }
    last = LastScene(int(i));
    start += run.nLength;
  }
  std::sort(m_aDrops.begin(), m_aDrops.end());
  m_aDrops.erase(std::unique(m_aDrops.begin(), m_aDrops.end()), m_aDrops.end());
  m_nFrames = start - int64_t(m_aDrops.size());
}

ClScene ClScript::LastScene(int n) const
{
  const ClRun& run = m_aRuns[size_t(n)];
  switch (m_aSteps[size_t(n)].eKind) {
  case EStep::eEmpty:
  case EStep::eLift:
    return ClScene();
  case EStep::eRoll:
    return RollScene(n, 1.0);
  default:
    return SceneOf(n, run.nLength - 1, false);
  }
}

ClScene ClScript::SceneOf(int n, int64_t local, bool bTremor) const
{
  const ClScriptStep& step = m_aSteps[size_t(n)];
  const ClRun& run = m_aRuns[size_t(n)];
  ClScene s;
  s.dResidue = run.dResidue;
  s.finger = run.finger;
  const int64_t frames = std::max<int64_t>(1, step.nFrames);
  // The platen's latent print, and after a lift that leaves one, the new print.
  auto platen = [&](ClScene& scene) {
    scene.dResidue = run.dResidue;
    scene.latent = run.latent;
    scene.pLatentScene = run.pLatentScene;
  };
  platen(s);
  switch (step.eKind) {
  case EStep::eEmpty:
    break;
  case EStep::ePlace:
    s.eContact = EContact::eFlat;
    s.dPlaced = std::min(1.0, double(local + 1) / double(frames));
    if (local >= frames)
      Settle(s, double(local + 1 - frames) / double(std::max(1, step.nSettle)));
    if (bTremor)
      Tremble(s, run.nStart + local);
    break;
  case EStep::eStill:
    if (run.before.eContact != EContact::eNone) {
      s = run.before;
      platen(s);
    } else {
      s.eContact = EContact::eFlat;
    }
    s.dPlaced = 1.0;
    if (bTremor && s.eContact == EContact::eFlat)
      Tremble(s, run.nStart + local);
    break;
  case EStep::eLift: {
    const double placed = double(frames - 1 - local) / double(frames);
    if (placed <= 0.0) {
      if (step.latent.dStrength > 0.0 && run.before.eContact != EContact::eNone) {
        ClScene was = run.before;
        was.latent = ClLatentPrint();
        was.pLatentScene.reset();
        s.latent = step.latent;
        s.pLatentScene = std::make_shared<const ClScene>(was);
      }
      break;
    }
    if (run.before.eContact != EContact::eNone) {
      s = run.before;
      platen(s);
    } else {
      s.eContact = EContact::eFlat;
    }
    s.dPlaced = placed;
    break;
  }
  case EStep::eRoll: {
    const ClRollMotion& r = step.roll;
    double fraction = 0.0;
    if (local >= r.nSettle) {
      int64_t k = local - r.nSettle;
      if (r.dLiftAt >= 0.0 && r.nLiftFrames > 0) {
        const int64_t at = std::clamp<int64_t>(int64_t(r.dLiftAt * double(frames)), 0, frames);
        if (k >= at && k < at + r.nLiftFrames)
          break; // off the platen for a moment
        if (k >= at + r.nLiftFrames)
          k -= r.nLiftFrames;
      }
      fraction = double(k + 1) / double(frames);
    }
    s = RollScene(n, fraction);
    platen(s);
    if (local < r.nSettle)
      s.dRollSpeed = 0.0;
    if (r.nTouchdown > 0)
      s.dPlaced = std::min(1.0, double(local + 1) / double(r.nTouchdown));
    break;
  }
  }
  return s;
}

ClScene ClScript::RollScene(int n, double fraction) const
{
  const ClRollMotion& r = m_aSteps[size_t(n)].roll;
  const ClRun& run = m_aRuns[size_t(n)];
  ClScene s;
  s.dResidue = run.dResidue;
  s.finger = run.finger;
  if (r.aPath.empty())
    return s;
  s.eContact = EContact::eRoll;
  s.dPatchWidth = r.dPatchWidth;
  s.dRollFromX = *std::min_element(r.aPath.begin(), r.aPath.end());
  s.dRollToX = *std::max_element(r.aPath.begin(), r.aPath.end());
  s.dPatchX = AlongPath(r.aPath, fraction, &s.nRollDirection);
  s.dRollSpeed = PathLength(r.aPath) / double(std::max(1, m_aSteps[size_t(n)].nFrames));
  s.dDrift = r.dDrift * std::clamp(fraction, 0.0, 1.0);
  if (r.dSlipAt >= 0.0 && fraction > r.dSlipAt) {
    s.nShiftX = r.nSlipX;
    s.nShiftY = r.nSlipY;
  }
  return s;
}

void ClScript::Settle(ClScene& s, double dProgress)
{
  // Settling: the contact keeps growing, ever slower, while the finger shifts and turns a
  // little into its resting place.
  const double t = std::clamp(dProgress, 0.0, 1.0);
  const double done = t * (1.6 - 0.6 * t);
  s.dSpread = 0.16 * done;
  s.dMoveX = 4.0 * done;
  s.dMoveY = 7.0 * done;
  s.dTurn = 0.03 * done;
}

void ClScript::Tremble(ClScene& s, int64_t nFrame)
{
  const double t = std::max(0.0, s.finger.dTremor);
  if (t <= 0.0)
    return;
  s.dMoveX += 0.3 * t * Jitter(nFrame, 0);
  s.dMoveY += 0.3 * t * Jitter(nFrame, 1);
  s.dTurn += 0.0008 * t * Jitter(nFrame, 2);
  s.dSpread += 0.0015 * t * Jitter(nFrame, 3);
  for (int i = 0; i < 3; ++i)
    s.dWobble[i] = Jitter(nFrame, 4 + i);
}

int64_t ClScript::Delivered(uint64_t nFrame) const
{
  return m_bLoop ? int64_t(nFrame % uint64_t(m_nFrames))
                 : int64_t(std::min<uint64_t>(nFrame, uint64_t(m_nFrames - 1)));
}

int64_t ClScript::ScriptFrame(int64_t d) const
{
  int64_t f = d;
  for (int64_t drop : m_aDrops) {
    if (drop > f)
      break;
    ++f;
  }
  return f;
}

ClFrameTiming ClScript::TimingAt(uint64_t nFrame) const
{
  ClFrameTiming t;
  if (m_nFrames <= 0)
    return t;
  const int64_t d = Delivered(nFrame), f = ScriptFrame(d);
  t.nLost = int(f - (d > 0 ? ScriptFrame(d - 1) : -1) - 1);
  int64_t local = 0;
  const int n = RunAt(nFrame, local);
  t.dJitterMs = m_aRuns[size_t(n)].dJitterMs * Jitter(f, 11);
  return t;
}

int ClScript::RunAt(uint64_t nFrame, int64_t& local) const
{
  if (m_nFrames <= 0)
    return -1;
  const int64_t f = ScriptFrame(Delivered(nFrame));
  auto it = std::upper_bound(m_aRuns.begin(), m_aRuns.end(), f,
                             [](int64_t v, const ClRun& r) { return v < r.nStart; });
  const int n = int(it - m_aRuns.begin()) - 1;
  local = f - m_aRuns[size_t(n)].nStart;
  return n;
}

ClScene ClScript::SceneAt(uint64_t nFrame) const
{
  int64_t local = 0;
  const int n = RunAt(nFrame, local);
  return n < 0 ? ClScene() : SceneOf(n, local);
}

ClFrameInfo ClScript::InfoAt(uint64_t nFrame) const
{
  ClFrameInfo info;
  int64_t local = 0;
  const int n = RunAt(nFrame, local);
  if (n < 0)
    return info;
  info.nStep = n;
  info.eKind = m_aSteps[size_t(n)].eKind;
  info.nFrameInStep = int(local);
  info.nKindIndex = m_aRuns[size_t(n)].nKindIndex;
  return info;
}

int64_t ClScript::FirstFrameOf(EStep eKind, int nIndex) const
{
  for (size_t i = 0; i < m_aSteps.size(); ++i)
    if (m_aSteps[i].eKind == eKind && m_aRuns[i].nKindIndex == nIndex)
      return m_aRuns[i].nStart -
             (std::lower_bound(m_aDrops.begin(), m_aDrops.end(), m_aRuns[i].nStart) -
              m_aDrops.begin());
  return -1;
}

} // namespace kxsim
