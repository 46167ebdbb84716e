#include "simulator/SimRender.h"

#include <algorithm>

namespace kxsim {

ClSimulator::ClSimulator(const ClScript& script, int nNormalWidth, int nNormalHeight, int nRawWidth,
                         int nRawHeight, uint32_t nPlatenSeed)
  : m_Script(script), m_nNormalWidth(nNormalWidth), m_nNormalHeight(nNormalHeight),
    m_nRawWidth(nRawWidth), m_nRawHeight(nRawHeight),
    m_Renderer(nNormalWidth, nNormalHeight, nPlatenSeed)
{}

ClGreyImage ClSimulator::Frame(uint64_t nFrame, bool bRaw, int nDose, EOrientation eOrientation)
{
  ClGreyImage img(bRaw ? m_nRawWidth : m_nNormalWidth, bRaw ? m_nRawHeight : m_nNormalHeight);
  if (nDose < 0)
    nDose = bRaw ? kRawDose : kNormalDose;
  Frame(nFrame, img.nWidth, img.nHeight, nDose, eOrientation, img.aPixels.data());
  return img;
}

void ClSimulator::Frame(uint64_t nFrame, int nWidth, int nHeight, int nDose,
                        EOrientation eOrientation, uint8_t* pOut)
{
  m_Renderer.Render(m_Script.SceneAt(nFrame), nWidth, nHeight, nDose, nFrame, eOrientation, pOut);
}

bool ClSimulator::RollTruth(int nRoll, EOrientation eOrientation, ClGreyImage& image,
                            ClGreyImage& mask, int nDose, bool bAsSeen)
{
  return m_Script.RollTruth(nRoll, m_Renderer, m_nNormalWidth, m_nNormalHeight, nDose, eOrientation,
                            image, mask, bAsSeen);
}

bool ClSimulator::PlainTruth(int nStill, EOrientation eOrientation, ClGreyImage& image,
                             ClGreyImage& mask, int nDose)
{
  return m_Script.PlainTruth(nStill, m_Renderer, m_nNormalWidth, m_nNormalHeight, nDose,
                             eOrientation, image, mask);
}

ClGreyImage RenderEmptyPlaten(double dResidue, int nWidth, int nHeight, int nDose,
                              EOrientation eOrientation, uint64_t nFrame)
{
  ClFrameRenderer r(kNormalWidth, kNormalHeight);
  ClScene s;
  s.dResidue = dResidue;
  ClGreyImage img(nWidth, nHeight);
  r.Render(s, nWidth, nHeight, nDose, nFrame, eOrientation, img.aPixels.data());
  return img;
}

ClGreyImage RenderPlacedFinger(const ClFinger& finger, double dResidue, int nWidth, int nHeight,
                               int nDose, EOrientation eOrientation, uint64_t nFrame,
                               double dPlaced)
{
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

namespace {

// Appends a step of nFrames frames; a count of 0 or less leaves the step out.
void AddStep(ClScript& s, EStep eKind, int nFrames, const ClFinger* pFinger = nullptr,
             const ClRollMotion* pRoll = nullptr)
{
  if (nFrames <= 0)
    return;
  ClScriptStep step;
  step.eKind = eKind;
  step.nFrames = nFrames;
  if (pFinger) {
    step.bFinger = true;
    step.finger = *pFinger;
  }
  if (pRoll)
    step.roll = *pRoll;
  s.Add(step);
}

} // namespace

ClScript MakeRollScript(const ClFinger& finger, const ClRollMotion& roll, int nFrames,
                        int nLeadEmpty, int nLift, int nTrailEmpty)
{
  ClScript s;
  s.SetLoop(false);
  AddStep(s, EStep::eEmpty, nLeadEmpty);
  AddStep(s, EStep::eRoll, std::max(1, nFrames), &finger, &roll);
  AddStep(s, EStep::eLift, nLift);
  AddStep(s, EStep::eEmpty, nTrailEmpty);
  return s;
}

ClScript MakePlainScript(const ClFinger& finger, int nPlace, int nStill, int nLeadEmpty, int nLift,
                         int nTrailEmpty)
{
  ClScript s;
  s.SetLoop(false);
  AddStep(s, EStep::eEmpty, nLeadEmpty);
  if (nPlace > 0) {
    AddStep(s, EStep::ePlace, nPlace, &finger);
    AddStep(s, EStep::eStill, nStill);
  } else {
    AddStep(s, EStep::eStill, std::max(1, nStill), &finger);
  }
  AddStep(s, EStep::eLift, nLift);
  AddStep(s, EStep::eEmpty, nTrailEmpty);
  return s;
}

void FlipRows(ClGreyImage& image)
{
  for (int y = 0; y < image.nHeight / 2; ++y)
    std::swap_ranges(image.Row(y), image.Row(y) + image.nWidth, image.Row(image.nHeight - 1 - y));
}

} // namespace kxsim
