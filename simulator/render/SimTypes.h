// Plain value types of the scanner simulator: a finger, the scene on the platen at one
// instant, and a small grey image. Coordinates are platen pixels at 500 dpi in display
// orientation (x to the right, y downwards, the fingertip towards row 0), which is how the
// SDK shows a frame after its vertical flip. The device itself delivers rows bottom up.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

// Pure computations on the simulator's own buffers (texture growth, background) take
// minutes under the thread sanitizer and can race with nothing: they are left unchecked.
#if defined(__SANITIZE_THREAD__)
#define KXSIM_UNCHECKED_BY_TSAN __attribute__((no_sanitize_thread))
#else
#define KXSIM_UNCHECKED_BY_TSAN
#endif
// The filter passes of texture growth, fixed walks over padded buffers, would take a
// sanitizer build ten seconds a process instead of half a second.
#define KXSIM_UNCHECKED_FILTER __attribute__((no_sanitize("address", "undefined", "thread")))

namespace kxsim {

// Fingerprint class; eAuto picks one from the seed.
enum class EPattern { eAuto, eLoopLeft, eLoopRight, eWhorl, eArch };

// Row order of an image: as the device delivers it, or as the SDK shows it.
enum class EOrientation { eDevice, eDisplay };

// What touches the platen.
enum class EContact { eNone, eFlat, eRoll };

struct ClFinger
{
  uint32_t nSeed = 7; // texture seed: same seed, same ridges
  EPattern ePattern = EPattern::eAuto;
  double dPressure = 0.8; // 0..1: size and contrast of the contact
  double dMoisture = 0.0; // -1 dry (broken ridges) .. +1 wet (merged ridges, blotches)
  bool bFake = false;     // artificial finger: flat contact, bright valleys, no pores
  double dCentreX = -1.0; // contact centre; negative means the platen's centre
  double dCentreY = -1.0;
  double dWidth = 320.0; // flat contact ellipse at pressure 1, full placement
  double dHeight = 440.0;
  // Realism, each scaled so that 0 gives a rigid, evenly lit, upright finger.
  double dPeriod = 9.0;     // mean ridge period, pixels (7.5 .. 12.5)
  double dContrast = 0.0;   // ridge to valley at the centre in normal frames; 0: from pressure
  double dDistortion = 1.0; // skin stretching and compression under the contact
  double dTremor = 1.0;     // small movements of a held finger
  double dShape = 1.0;      // roll patch: 0 a straight strip, 1 the finger's cross-section
  double dUneven = 1.0;     // brightness varying across the contact
  double dTilt = 0.0;       // rotation of the finger, degrees, clockwise as displayed
  int nCreases = 0;         // skin folds across the print
};

// What a lifted finger left on the platen.
struct ClLatentPrint
{
  double dStrength = 0.0; // 0 none .. 1 a third of the live finger's contrast
  double dSmear = 0.0;    // 0 crisp .. 1 wiped sideways
};

struct ClScene
{
  double dResidue = 0.0; // platen dirt, 0 clean .. 1 very dirty
  EContact eContact = EContact::eNone;
  ClFinger finger;
  double dPlaced = 1.0; // 0..1 while placing or lifting, 1 when fully down
  // Rolling: the unrolled print stays fixed, a tall patch around dPatchX is lit.
  double dPatchX = 0.0;
  double dPatchWidth = 200.0;
  double dRollFromX = 0.0; // extent of the unrolled print (patch centres)
  double dRollToX = 0.0;
  double dRollSpeed = 0.0; // pixels per frame of the patch centre
  int nRollDirection = 1;  // +1 towards larger columns, -1 back
  double dDrift = 0.0;     // vertical drift of a rolling finger so far, pixels
  int nShiftX = 0;         // ridge pattern offset, for slips
  int nShiftY = 0;
  // Movement of a flat finger: settling after placing and tremor.
  double dMoveX = 0.0, dMoveY = 0.0; // pixels
  double dTurn = 0.0;                // radians
  double dSpread = 0.0;              // extra contact growth, fraction of the size
  double dWobble[3] = {0, 0, 0};     // tremor of the skin, -1..1 each
  // The print of a lifted finger left on the platen (its contact in lastContact).
  ClLatentPrint latent;
  std::shared_ptr<const ClScene> pLatentScene;
};

struct ClGreyImage
{
  int nWidth = 0;
  int nHeight = 0;
  std::vector<uint8_t> aPixels; // rows back to back, no padding

  ClGreyImage() = default;
  ClGreyImage(int w, int h, uint8_t v = 0)
    : nWidth(w), nHeight(h), aPixels(size_t(w) * size_t(h), v)
  {}
  uint8_t* Row(int y) { return aPixels.data() + size_t(y) * size_t(nWidth); }
  const uint8_t* Row(int y) const { return aPixels.data() + size_t(y) * size_t(nWidth); }
  uint8_t At(int x, int y) const { return Row(y)[x]; }
};

// A configuration or script text that cannot be used; the message says where and why.
class ClSimConfigError : public std::runtime_error
{
public:
  explicit ClSimConfigError(const std::string& sWhat) : std::runtime_error(sWhat) {}
};

} // namespace kxsim
