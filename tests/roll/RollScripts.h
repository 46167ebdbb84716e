#pragma once
// Scripted rolls on the simulator and the means to run them through the roll processor
// with a clock that advances one frame interval per frame, and to compare the rolled
// image with the simulator's ground truth. Shared by the roll tests, the roll benchmark
// and the roll picture tool.
#include "model/FpImage.h"
#include "roll/IpAutoRoll5.h"
#include "simulator/SimRender.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace rolltest {

// Time of the roll driven by the caller.
class ClFakeClock : public ClRollClock
{
public:
  int64_t NowMicroseconds() const override { return m_nNow; }
  void AdvanceMs(int64_t nMs) { m_nNow += nMs * 1000; }
  int64_t m_nNow = 1000000000;
};

// One scripted roll: the finger, its course, and what the processor should answer.
struct StRollCase
{
  std::string sName;
  kxsim::ClFinger finger;
  kxsim::ClRollMotion roll;
  int32_t nFrames = 36; // frames of movement
  // Missed frames: from move frame nSkipFrom on, nSkip frames of every nSkipPeriod
  // never arrive, nSkipGaps times.
  int32_t nSkipFrom = -1;
  int32_t nSkip = 0;
  int32_t nSkipPeriod = 0;
  int32_t nSkipGaps = 1;
  // A slide of the skin: from move frame nSlideFrom on, for nSlideFrames frames, the
  // ridge pattern moves by nSlideX, nSlideY per frame and stays where it got to.
  int32_t nSlideFrom = -1;
  int32_t nSlideFrames = 0;
  int32_t nSlideX = 0, nSlideY = 0;
  int32_t nBorderTop = 0; // "BORDER_TOP" for the roll
  int32_t nExpected = 0;  // result code
  int32_t nDetail = 0;    // a further code the defect list must hold, 0 for none
};

// A rigid finger: the print neither stretches nor trembles, the contact is a straight
// strip at full size from the first frame, so the rolled image must equal the truth.
inline kxsim::ClFinger Finger(uint32_t nSeed, kxsim::EPattern ePattern, double dPressure = 0.8)
{
  kxsim::ClFinger f = kxsim::FingerPreset("rigid");
  f.nSeed = nSeed;
  f.ePattern = ePattern;
  f.dPressure = dPressure;
  return f;
}

inline StRollCase Roll(const std::string& sName, const kxsim::ClFinger& finger,
                       std::vector<double> aPath, double dPatchWidth, int32_t nFrames,
                       int32_t nExpected = 0)
{
  StRollCase c;
  c.sName = sName;
  c.finger = finger;
  c.roll.aPath = std::move(aPath);
  c.roll.dPatchWidth = dPatchWidth;
  // The finger rests long enough for settling to end before it moves: a moving finger
  // would count as a jump and restart the roll.
  c.roll.nSettle = 5;
  c.roll.nTouchdown = 0;
  c.roll.dDrift = 0.0;
  c.nFrames = nFrames;
  c.nExpected = nExpected;
  return c;
}

// Good rolls: four seeds and patterns, both directions, slow and brisk, patches 160 to 260.
inline std::vector<StRollCase> GoodRolls()
{
  using kxsim::EPattern;
  return {
      Roll("seed7-loopleft-right-slow", Finger(7, EPattern::eLoopLeft), {220, 580}, 200, 48),
      Roll("seed11-loopright-left-brisk", Finger(11, EPattern::eLoopRight), {590, 230}, 160, 24),
      Roll("seed23-whorl-right-brisk", Finger(23, EPattern::eWhorl), {200, 600}, 260, 26),
      Roll("seed42-arch-left-slow", Finger(42, EPattern::eArch, 0.6), {560, 240}, 220, 52),
      Roll("seed5-auto-right-medium", Finger(5, EPattern::eAuto), {250, 560}, 240, 36)};
}

// The same case with the simulator's default realism: stretching skin, a shaped contact
// that grows at touchdown and drifts, uneven light, tremor. The finger rests until its
// contact has grown, as an operator lets it: growth counts as a jump while settling.
inline StRollCase Realistic(StRollCase c)
{
  const kxsim::ClFinger real;
  c.finger.dDistortion = real.dDistortion;
  c.finger.dTremor = real.dTremor;
  c.finger.dShape = real.dShape;
  c.finger.dUneven = real.dUneven;
  const kxsim::ClRollMotion course;
  c.roll.nTouchdown = course.nTouchdown;
  c.roll.dDrift = course.dDrift;
  c.roll.nSettle += course.nTouchdown;
  return c;
}

// The good rolls with realism: good rolls still.
inline std::vector<StRollCase> RealisticRolls()
{
  std::vector<StRollCase> a;
  for (const StRollCase& c : GoodRolls()) {
    a.push_back(Realistic(c));
    a.back().sName += "-realistic";
  }
  return a;
}

// Departures, each judged with its code, and their good twins, which differ only in
// leaving the departure out.
inline std::vector<StRollCase> DefectRolls()
{
  using kxsim::EPattern;
  std::vector<StRollCase> a;
  const kxsim::ClFinger f7 = Finger(7, EPattern::eLoopLeft), f23 = Finger(23, EPattern::eWhorl);
  // Back over unrolled skin: going back over what is rolled shows nothing new.
  a.push_back(Roll("backroll", f7, {400, 580, 240}, 200, 50, -803));
  a.push_back(Roll("backroll-twin", f7, {240, 580}, 200, 40));
  a.push_back(Roll("few-frames", f23, {220, 580}, 200, 5, -802));
  a.push_back(Roll("few-frames-twin", f23, {220, 580}, 200, 30));
  StRollCase jerk = Roll("jerk", f7, {200, 600}, 220, 60, -802);
  jerk.nSkipFrom = 12;
  jerk.nSkip = 10;
  jerk.nSkipPeriod = 14;
  jerk.nSkipGaps = 3;
  a.push_back(jerk);
  a.push_back(Roll("jerk-twin", f7, {200, 600}, 220, 60));
  a.push_back(Roll("narrow", f23, {360, 450}, 200, 24, -805));
  a.push_back(Roll("narrow-twin", f23, {360, 600}, 200, 36));
  // The skin slides by 30 pixels over 10 frames halfway through the roll.
  StRollCase slip = Roll("slip", f7, {220, 580}, 220, 40, -801);
  slip.nSlideFrom = 16;
  slip.nSlideFrames = 10;
  slip.nSlideY = 3;
  a.push_back(slip);
  a.push_back(Roll("slip-twin", f7, {220, 580}, 220, 40));
  StRollCase right = Roll("edge-right", f23, {420, 760}, 200, 36, -806);
  right.nDetail = -810;
  a.push_back(right);
  a.push_back(Roll("edge-right-twin", f23, {300, 640}, 200, 36));
  StRollCase left = Roll("edge-left", f23, {380, 40}, 200, 36, -806);
  left.nDetail = -809;
  a.push_back(left);
  a.push_back(Roll("edge-left-twin", f23, {500, 160}, 200, 36));
  // The end of the rows is the upper boundary; a border there moves the strip up.
  kxsim::ClFinger low = f7;
  low.dCentreY = 620;
  StRollCase top = Roll("edge-top", low, {240, 560}, 200, 36, -806);
  top.nDetail = -807;
  top.nBorderTop = 2;
  a.push_back(top);
  low.dCentreY = 420;
  StRollCase topTwin = Roll("edge-top-twin", low, {240, 560}, 200, 36);
  topTwin.nBorderTop = 2;
  a.push_back(topTwin);
  kxsim::ClFinger high = f7;
  high.dCentreY = 130;
  high.dHeight = 340;
  StRollCase bottom = Roll("edge-bottom", high, {240, 560}, 160, 36, -806);
  bottom.nDetail = -808;
  a.push_back(bottom);
  high.dCentreY = 260;
  a.push_back(Roll("edge-bottom-twin", high, {240, 560}, 160, 36));
  return a;
}

// Every scripted roll by name, null for an unknown one.
inline const StRollCase* FindRoll(const std::string& sName)
{
  static const std::vector<StRollCase> s_aAll = [] {
    std::vector<StRollCase> a = GoodRolls();
    for (const StRollCase& c : DefectRolls())
      a.push_back(c);
    return a;
  }();
  for (const StRollCase& c : s_aAll)
    if (c.sName == sName)
      return &c;
  return nullptr;
}

// A script of the case: empty frames, the roll, lifting, empty frames.
inline kxsim::ClScript Script(const StRollCase& c)
{
  return kxsim::MakeRollScript(c.finger, c.roll, c.nFrames);
}

// A simulator frame (display orientation) as an 8-bit image of the SDK's resolution.
inline void ToImage(const kxsim::ClGreyImage& g, ClImage& out)
{
  out.Create(eUInt8, g.nWidth, g.nHeight, 1, 19685, 19685);
  for (int32_t y = 0; y < g.nHeight; ++y)
    std::memcpy(out.Data() + ptrdiff_t(y) * out.LineElements(), g.Row(y), size_t(g.nWidth));
}

// Frames of a case in display orientation, the missing ones left out.
using FrameList = std::vector<std::unique_ptr<ClImage>>;

// Whether frame n of the script is one that never arrives.
inline bool Missing(const StRollCase& c, kxsim::ClSimulator& sim, int64_t n)
{
  const int64_t nFirstMove = sim.Script().FirstFrameOf(kxsim::EStep::eRoll, 0) + c.roll.nSettle;
  const int64_t k = n - nFirstMove - c.nSkipFrom;
  const int32_t nPeriod = std::max(c.nSkipPeriod, 1);
  return c.nSkipFrom >= 0 && k >= 0 && k / nPeriod < c.nSkipGaps && k % nPeriod < c.nSkip;
}

// A test name made of a case's name.
inline std::string TestName(std::string s)
{
  for (char& ch : s)
    if (!std::isalnum(static_cast<unsigned char>(ch)))
      ch = '_';
  return s;
}

inline FrameList Frames(const StRollCase& c, kxsim::ClSimulator& sim)
{
  FrameList a;
  const int64_t nFirstMove = sim.Script().FirstFrameOf(kxsim::EStep::eRoll, 0) + c.roll.nSettle;
  for (int64_t n = 0; n < sim.FrameCount(); ++n) {
    if (Missing(c, sim, n))
      continue;
    a.push_back(std::make_unique<ClImage>());
    kxsim::ClScene scene = sim.Scene(uint64_t(n));
    const int64_t m = n - nFirstMove - c.nSlideFrom;
    if (c.nSlideFrom >= 0 && m >= 0 && scene.eContact == kxsim::EContact::eRoll) {
      const int64_t nSteps = std::min<int64_t>(m + 1, c.nSlideFrames);
      scene.nShiftX = int(nSteps * c.nSlideX);
      scene.nShiftY = int(nSteps * c.nSlideY);
      kxsim::ClGreyImage g(kxsim::kNormalWidth, kxsim::kNormalHeight);
      sim.Renderer().Render(scene, g.nWidth, g.nHeight, kxsim::kNormalDose, uint64_t(n),
                            kxsim::EOrientation::eDisplay, g.aPixels.data());
      ToImage(g, *a.back());
    } else {
      ToImage(sim.Frame(uint64_t(n), false, -1, kxsim::EOrientation::eDisplay), *a.back());
    }
  }
  return a;
}

// Frames assembled from the ground truth: during the roll each frame shows the truth
// inside the lit patch, with noise of its own, and the rendered platen elsewhere; other
// frames are as rendered.
// The rendered frames shade the ridges towards the rim of the contact, which the truth
// does not; these frames measure the assembly alone.
inline FrameList AssembledFrames(const StRollCase& c, kxsim::ClSimulator& sim)
{
  FrameList a = Frames(c, sim);
  kxsim::ClGreyImage truth, mask;
  if (!sim.RollTruth(0, kxsim::EOrientation::eDisplay, truth, mask))
    return a;
  size_t i = 0;
  for (int64_t n = 0; n < sim.FrameCount(); ++n) {
    if (Missing(c, sim, n))
      continue;
    ClImage& frame = *a[i++];
    const kxsim::ClScene scene = sim.Scene(uint64_t(n));
    if (sim.Info(uint64_t(n)).eKind != kxsim::EStep::eRoll ||
        scene.eContact != kxsim::EContact::eRoll)
      continue;
    const int32_t x0 = std::max(0, int32_t(scene.dPatchX - scene.dPatchWidth / 2));
    const int32_t x1 = std::min(truth.nWidth - 1, int32_t(scene.dPatchX + scene.dPatchWidth / 2));
    uint32_t nNoise = uint32_t(n) * 2654435761u + 1u;
    for (int32_t y = 0; y < truth.nHeight; ++y) {
      uint8_t* p = frame.Data() + ptrdiff_t(y) * frame.LineElements();
      for (int32_t x = x0; x <= x1; ++x) {
        nNoise = nNoise * 1664525u + 1013904223u;
        if (mask.At(x, y))
          p[x] = uint8_t(std::clamp(int32_t(truth.At(x, y)) + int32_t(nNoise >> 29) - 4, 0, 255));
      }
    }
  }
  return a;
}

// Feeds frames with 30 ms between them, as the engine does (settle frames 2).
class ClRollRun
{
public:
  explicit ClRollRun(int32_t nBorderTop = 0)
  {
    m_Roll.SetClock(&m_Clock);
    m_Roll.SetSettleFrames(2);
    m_Roll.SetBorders(0, nBorderTop);
  }
  // Feeds one frame; the state afterwards.
  int32_t Feed(ClImage& frame)
  {
    m_Clock.AdvanceMs(30);
    m_Roll.m_pInImage = &frame;
    m_Roll.m_pOutImage = &m_Out;
    m_Roll.SetOutMask(&m_OutMask);
    m_Roll.Run();
    return m_Roll.GetState();
  }
  // Feeds every frame; the result code at the end.
  int32_t FeedAll(const FrameList& aFrames)
  {
    for (const auto& p : aFrames)
      Feed(*p);
    return m_Roll.GetResultCode();
  }

  ClFakeClock m_Clock;
  ClIpAutoRoll5 m_Roll;
  ClImage m_Out, m_OutMask;
};

struct StFidelity
{
  double dCorrelation = 0.0;
  double dCoverage = 0.0;
};

// Correlation of the rolled image with the ground truth over the truth mask, and the
// share of the truth mask that the rolled mask covers.
inline StFidelity Compare(const ClImage& rolled, const ClImage& rolledMask,
                          const kxsim::ClGreyImage& truth, const kxsim::ClGreyImage& truthMask)
{
  double n = 0, sa = 0, sb = 0, saa = 0, sbb = 0, sab = 0, nCovered = 0;
  for (int32_t y = 0; y < truth.nHeight; ++y) {
    const uint8_t* a = rolled.Data() + ptrdiff_t(y) * rolled.LineElements();
    // A mask of the cut frame may have fewer rows than the output.
    const uint8_t* m = y < rolledMask.Height()
                           ? rolledMask.Data() + ptrdiff_t(y) * rolledMask.LineElements()
                           : nullptr;
    for (int32_t x = 0; x < truth.nWidth; ++x) {
      if (truthMask.At(x, y) == 0)
        continue;
      const double va = a[x], vb = truth.At(x, y);
      n += 1;
      sa += va;
      sb += vb;
      saa += va * va;
      sbb += vb * vb;
      sab += va * vb;
      nCovered += m && x < rolledMask.Width() && m[x] == 255 ? 1 : 0;
    }
  }
  StFidelity r;
  if (n > 0) {
    const double cov = sab - sa * sb / n, va = saa - sa * sa / n, vb = sbb - sb * sb / n;
    r.dCorrelation = va > 0 && vb > 0 ? cov / std::sqrt(va * vb) : 0.0;
    r.dCoverage = nCovered / n;
  }
  return r;
}

} // namespace rolltest
