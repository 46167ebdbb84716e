// Realistic live-scan frames for tests, without the device entry points.
//
// Link `lskx2_simrender` and include this header. Everything is deterministic: the same
// script and frame number give the same picture, bit for bit.
//
// Pictures:
//  - 8-bit grey, rows packed, background dark (about 16 grey) with sensor noise of about
//    1.3 grey levels; a finger is light on dark, ridges bright (up to about 170 in normal
//    frames, 220 in raw frames), ridge period 8 to 10 pixels (500 dpi).
//  - Normal frames: 800 by 750, dose 2. Raw frames: 1600 by 1500 (the same scene at their
//    own resolution), dose 9, brighter. Other sizes and doses work the same way.
//  - Fingers stretch, tremble, settle and light up unevenly by default; FingerPreset("rigid")
//    gives the rigid, motionless, evenly lit finger (see ClFinger for each scale).
//  - EOrientation::eDevice gives rows as the scanner delivers them (fingertip towards the
//    last row); the SDK flips rows, and EOrientation::eDisplay gives that flipped view.
//    Coordinates in scripts and fingers are display coordinates.
//
// Typical uses:
//   ClGreyImage empty = RenderEmptyPlaten(0.5);                 // dirty platen
//   ClFinger f; f.dPressure = 0.6;
//   ClGreyImage plain = RenderPlacedFinger(f);                  // flat finger
//   ClRollMotion r; r.aPath = {220, 580};
//   ClSimulator roll(MakeRollScript(f, r));                      // a whole roll
//   for (int64_t n = 0; n < roll.FrameCount(); ++n) feed(roll.Frame(n));
//   ClGreyImage truth, mask; roll.RollTruth(0, EOrientation::eDisplay, truth, mask);
#pragma once

#include "simulator/render/FrameRenderer.h"
#include "simulator/render/Script.h"
#include "simulator/render/SimTypes.h"

#include <cstdint>

namespace kxsim {

constexpr int kNormalWidth = 800;
constexpr int kNormalHeight = 750;
constexpr int kRawWidth = 1600;
constexpr int kRawHeight = 1500;
constexpr int kNormalDose = 2;
constexpr int kRawDose = 9;

// A script bound to a platen: frames, scenes and ground truth. Not thread-safe; use one
// per thread.
class ClSimulator
{
public:
  explicit ClSimulator(const ClScript& script, int nNormalWidth = kNormalWidth,
                       int nNormalHeight = kNormalHeight, int nRawWidth = kRawWidth,
                       int nRawHeight = kRawHeight, uint32_t nPlatenSeed = 1);

  const ClScript& Script() const { return m_Script; }
  int64_t FrameCount() const { return m_Script.FrameCount(); }
  ClScene Scene(uint64_t nFrame) const { return m_Script.SceneAt(nFrame); }
  ClFrameInfo Info(uint64_t nFrame) const { return m_Script.InfoAt(nFrame); }

  // Frame n at the normal size with dose 2, or at the raw size with dose 9. A dose of -1
  // takes those defaults.
  ClGreyImage Frame(uint64_t nFrame, bool bRaw = false, int nDose = -1,
                    EOrientation eOrientation = EOrientation::eDevice);
  // The same into a caller's buffer of nWidth * nHeight bytes.
  void Frame(uint64_t nFrame, int nWidth, int nHeight, int nDose, EOrientation eOrientation,
             uint8_t* pOut);

  // Ground truth at the normal size (see ClScript).
  bool RollTruth(int nRoll, EOrientation eOrientation, ClGreyImage& image, ClGreyImage& mask,
                 int nDose = kNormalDose, bool bAsSeen = false);
  bool PlainTruth(int nStill, EOrientation eOrientation, ClGreyImage& image, ClGreyImage& mask,
                  int nDose = kNormalDose);
  // Platen pixels the finger touches at frame n.
  int64_t ContactPixels(uint64_t nFrame) { return m_Renderer.ContactPixels(Scene(nFrame)); }

  ClFrameRenderer& Renderer() { return m_Renderer; }

private:
  ClScript m_Script;
  int m_nNormalWidth, m_nNormalHeight, m_nRawWidth, m_nRawHeight;
  ClFrameRenderer m_Renderer;
};

// One frame of an empty platen with residue 0 (clean) to 1 (very dirty).
ClGreyImage RenderEmptyPlaten(double dResidue, int nWidth = kNormalWidth,
                              int nHeight = kNormalHeight, int nDose = kNormalDose,
                              EOrientation eOrientation = EOrientation::eDevice,
                              uint64_t nFrame = 0);
// One frame of a finger lying flat and fully placed (dPlaced below 1 while placing).
ClGreyImage RenderPlacedFinger(const ClFinger& finger, double dResidue = 0.0,
                               int nWidth = kNormalWidth, int nHeight = kNormalHeight,
                               int nDose = kNormalDose,
                               EOrientation eOrientation = EOrientation::eDevice,
                               uint64_t nFrame = 0, double dPlaced = 1.0);
// Empty frames, one roll (nFrames of movement after its settle frames), lifting, empty
// frames: what a roll capture sees.
ClScript MakeRollScript(const ClFinger& finger, const ClRollMotion& roll, int nFrames = 36,
                        int nLeadEmpty = 3, int nLift = 4, int nTrailEmpty = 6);
// Empty frames, placing, holding, lifting: what a plain capture sees.
ClScript MakePlainScript(const ClFinger& finger, int nPlace = 5, int nStill = 20,
                         int nLeadEmpty = 3, int nLift = 4, int nTrailEmpty = 6);

// Reverses the row order in place (device and display orientation of a frame).
void FlipRows(ClGreyImage& image);

} // namespace kxsim
