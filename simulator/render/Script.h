// A script of what happens on the platen, frame by frame: empty platen, a finger placed,
// held, lifted, rolled. Steps are expanded once; the scene of any frame is then found by
// a search over the steps, so that frames can be rendered in any order.
#pragma once

#include "simulator/render/SimTypes.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace kxsim {

class ClFrameRenderer;

enum class EStep { eEmpty, ePlace, eStill, eLift, eRoll };

// How a roll goes. The patch centre follows aPath (platen columns) at constant speed.
struct ClRollMotion
{
  std::vector<double> aPath{200.0, 600.0};
  double dPatchWidth = 200.0;
  int nSettle = 3;       // frames resting at the start, as a finger laid on its side
  double dSlipAt = -1.0; // fraction of the move at which the pattern jumps (slip)
  int nSlipX = 0, nSlipY = 0;
  double dLiftAt = -1.0; // fraction of the move at which the finger leaves the platen
  int nLiftFrames = 0;   // ... for this many frames
  int nTouchdown = 3;    // frames over which the contact grows at the start (0: at once)
  double dDrift = 6.0;   // vertical drift of the finger over the whole roll, pixels
};

struct ClScriptStep
{
  EStep eKind = EStep::eEmpty;
  int nFrames = 1;       // for a roll: frames of movement, without settle and lift frames
  bool bResidue = false; // the platen's residue changes from this step on
  double dResidue = 0.0;
  bool bFinger = false; // the finger changes from this step on
  ClFinger finger;
  ClRollMotion roll;
  int nSettle = 0;        // place: frames after placing in which the finger still settles
  ClLatentPrint latent;   // lift: the print left behind (strength 0: none)
  std::vector<int> aDrop; // frames of this step the device loses (0-based in the step)
  bool bJitter = false;   // the jitter of the frame interval changes from this step on
  double dJitterMs = 0.0;
};

// How long the image call of a frame lasts: longer by the frames lost just before it, and
// shifted by the script's jitter.
struct ClFrameTiming
{
  int nLost = 0;
  double dJitterMs = 0.0;
  int IntervalMs(int nBaseMs) const
  {
    return nBaseMs <= 0 ? 0 : std::max(0, int(nBaseMs * (1 + nLost) + dJitterMs + 0.5));
  }
};

// What the script does at one frame.
struct ClFrameInfo
{
  int nStep = -1; // index of the step in the script
  EStep eKind = EStep::eEmpty;
  int nFrameInStep = 0;
  int nKindIndex = 0; // this step is the n-th step of its kind (0-based)
};

// A finger of a named kind: "rigid" (no distortion, tremor, shaped roll contact or uneven
// light), "faint", "light", "normal", "strong" (central contrast about 30 to 150), "dry",
// "wet"; other settings are kept from base. Throws ClSimConfigError for other names.
ClFinger FingerPreset(const std::string& sName, const ClFinger& base = ClFinger());

class ClScript
{
public:
  ClScript() = default;
  // Empty platen, a finger placed and held, lifted, a finger rolled left to right, lifted.
  static ClScript Demo();
  // Parses a JSON array of steps (the "script" of a device); throws ClSimConfigError.
  static ClScript FromJson(const std::string& sText);

  void Add(const ClScriptStep& step);
  const std::vector<ClScriptStep>& Steps() const { return m_aSteps; }
  void SetLoop(bool bLoop) { m_bLoop = bLoop; }
  bool Loop() const { return m_bLoop; }

  // Frames of one pass through the script, as the device delivers them (lost frames left out).
  // Every frame number below counts delivered frames.
  int64_t FrameCount() const { return m_nFrames; }
  ClFrameTiming TimingAt(uint64_t nFrame) const;
  // Scene at frame nFrame: the script repeats when it loops, else its last frame stays.
  ClScene SceneAt(uint64_t nFrame) const;
  ClFrameInfo InfoAt(uint64_t nFrame) const;
  // First frame of the n-th step of a kind, -1 if there is none.
  int64_t FirstFrameOf(EStep eKind, int nIndex) const;

  // Ideal rolled print of the n-th roll: perfect contact over the union of the patches
  // that touched the platen, flat background elsewhere; mask 255 on that union. The print
  // is undistorted; bAsSeen gives instead each skin point where the frames showed it when
  // the centre line of the contact passed over it (what a perfect roll merge rebuilds).
  bool RollTruth(int nRoll, ClFrameRenderer& renderer, int nWidth, int nHeight, int nDose,
                 EOrientation eOrientation, ClGreyImage& image, ClGreyImage& mask,
                 bool bAsSeen = false) const;
  // Ideal plain print of the n-th still step: the held finger without noise or residue.
  bool PlainTruth(int nStill, ClFrameRenderer& renderer, int nWidth, int nHeight, int nDose,
                  EOrientation eOrientation, ClGreyImage& image, ClGreyImage& mask) const;

private:
  struct ClRun
  {
    int64_t nStart = 0, nLength = 0;
    int nKindIndex = 0;
    double dResidue = 0.0;
    ClFinger finger;
    ClScene before;       // last contact before this step (for still and lift)
    ClLatentPrint latent; // the print on the platen when this step begins
    std::shared_ptr<const ClScene> pLatentScene;
    double dJitterMs = 0.0;
  };
  // Script frame (lost ones counted) of a delivered frame within the pass.
  int64_t ScriptFrame(int64_t nDelivered) const;
  int64_t Delivered(uint64_t nFrame) const;
  void Expand();
  int RunAt(uint64_t nFrame, int64_t& nLocal) const;
  ClScene SceneOf(int nRun, int64_t nLocal, bool bTremor = true) const;
  ClScene LastScene(int nRun) const;
  ClScene RollScene(int nRun, double dFraction) const;
  // Small movements of a held finger at frame nFrame of the pass.
  static void Tremble(ClScene& scene, int64_t nFrame);
  static void Settle(ClScene& scene, double dProgress);

  std::vector<ClScriptStep> m_aSteps;
  std::vector<ClRun> m_aRuns;
  int64_t m_nFrames = 0;
  std::vector<int64_t> m_aDrops; // lost script frames, ascending
  bool m_bLoop = true;
};

} // namespace kxsim
