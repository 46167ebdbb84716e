#include "simulator/SimRender.h"

#include <algorithm>

namespace kxsim {

ClSimulator::ClSimulator(const ClScript& script, int nNormalWidth, int nNormalHeight, int nRawWidth,
                         int nRawHeight, uint32_t nPlatenSeed)
    : m_Script(script),
      m_nNormalWidth(nNormalWidth),
      m_nNormalHeight(nNormalHeight),
      m_nRawWidth(nRawWidth),
      m_nRawHeight(nRawHeight),
      m_Renderer(nNormalWidth, nNormalHeight, nPlatenSeed) {}

ClGreyImage ClSimulator::Frame(uint64_t nFrame, bool bRaw, int nDose, EOrientation eOrientation) {
  ClGreyImage img(bRaw ? m_nRawWidth : m_nNormalWidth, bRaw ? m_nRawHeight : m_nNormalHeight);
  if (nDose < 0) nDose = bRaw ? kRawDose : kNormalDose;
  Frame(nFrame, img.nWidth, img.nHeight, nDose, eOrientation, img.aPixels.data());
  return img;
}

void ClSimulator::Frame(uint64_t nFrame, int nWidth, int nHeight, int nDose, EOrientation eOrientation,
                        uint8_t* pOut) {
  m_Renderer.Render(m_Script.SceneAt(nFrame), nWidth, nHeight, nDose, nFrame, eOrientation, pOut);
}

bool ClSimulator::RollTruth(int nRoll, EOrientation eOrientation, ClGreyImage& image, ClGreyImage& mask,
                            int nDose) {
  return m_Script.RollTruth(nRoll, m_Renderer, m_nNormalWidth, m_nNormalHeight, nDose, eOrientation, image, mask);
}

bool ClSimulator::PlainTruth(int nStill, EOrientation eOrientation, ClGreyImage& image, ClGreyImage& mask,
                             int nDose) {
  return m_Script.PlainTruth(nStill, m_Renderer, m_nNormalWidth, m_nNormalHeight, nDose, eOrientation, image, mask);
}

ClGreyImage RenderEmptyPlaten(double dResidue, int nWidth, int nHeight, int nDose, EOrientation eOrientation,
                              uint64_t nFrame) {
  ClFrameRenderer r(kNormalWidth, kNormalHeight);
  ClScene s;
  s.dResidue = dResidue;
  ClGreyImage img(nWidth, nHeight);
  r.Render(s, nWidth, nHeight, nDose, nFrame, eOrientation, img.aPixels.data());
  return img;
}

ClGreyImage RenderPlacedFinger(const ClFinger& finger, double dResidue, int nWidth, int nHeight, int nDose,
                               EOrientation eOrientation, uint64_t nFrame, double dPlaced) {
  ClFrameRenderer r(kNormalWidth, kNormalHeight);
  ClScene s;
  s.dResidue = dResidue;
  s.eContact = EContact::eFlat;
  s.finger = finger;
  s.dPlaced = dPlaced;
  ClGreyImage img(nWidth, nHeight);
  r.Render(s, nWidth, nHeight, nDose, nFrame, eOrientation, img.aPixels.data());
  return img;
}

ClScript MakeRollScript(const ClFinger& finger, const ClRollSpec& roll, int nFrames, int nLeadEmpty, int nLift,
                        int nTrailEmpty) {
  ClScript s;
  s.SetLoop(false);
  ClScriptStep step;
  if (nLeadEmpty > 0) {
    step.eKind = EStep::eEmpty;
    step.nFrames = nLeadEmpty;
    s.Add(step);
  }
  step = ClScriptStep();
  step.eKind = EStep::eRoll;
  step.nFrames = std::max(1, nFrames);
  step.bFinger = true;
  step.finger = finger;
  step.roll = roll;
  s.Add(step);
  if (nLift > 0) {
    step = ClScriptStep();
    step.eKind = EStep::eLift;
    step.nFrames = nLift;
    s.Add(step);
  }
  if (nTrailEmpty > 0) {
    step = ClScriptStep();
    step.eKind = EStep::eEmpty;
    step.nFrames = nTrailEmpty;
    s.Add(step);
  }
  return s;
}

ClScript MakePlainScript(const ClFinger& finger, int nPlace, int nStill, int nLeadEmpty, int nLift,
                         int nTrailEmpty) {
  ClScript s;
  s.SetLoop(false);
  ClScriptStep step;
  if (nLeadEmpty > 0) {
    step.eKind = EStep::eEmpty;
    step.nFrames = nLeadEmpty;
    s.Add(step);
  }
  step = ClScriptStep();
  step.eKind = nPlace > 0 ? EStep::ePlace : EStep::eStill;
  step.nFrames = nPlace > 0 ? nPlace : std::max(1, nStill);
  step.bFinger = true;
  step.finger = finger;
  s.Add(step);
  if (nPlace > 0 && nStill > 0) {
    step = ClScriptStep();
    step.eKind = EStep::eStill;
    step.nFrames = nStill;
    s.Add(step);
  }
  if (nLift > 0) {
    step = ClScriptStep();
    step.eKind = EStep::eLift;
    step.nFrames = nLift;
    s.Add(step);
  }
  if (nTrailEmpty > 0) {
    step = ClScriptStep();
    step.eKind = EStep::eEmpty;
    step.nFrames = nTrailEmpty;
    s.Add(step);
  }
  return s;
}

void FlipRows(ClGreyImage& image) {
  for (int y = 0; y < image.nHeight / 2; ++y)
    std::swap_ranges(image.Row(y), image.Row(y) + image.nWidth, image.Row(image.nHeight - 1 - y));
}

}  // namespace kxsim
