// Where and how a finger touches the platen in one frame: the contact level at each platen
// point, the point of the skin (texture) that lies there, and how brightly it lights up.
// Evaluated on a coarse grid by the renderer, which interpolates between the nodes; every
// field is smooth, so that costs nothing visible.
//
// Flat fingers touch with an ellipse that grows with pressure, turns with the finger's tilt
// and moves with settling and tremor. Rolled fingers touch with their cross-section seen
// from below: convex, rounded at the tip and the joint, narrow on the sides of the finger
// and widest on the pad. Under the contact the skin stretches behind the centre line of a
// roll and is compressed ahead of it.
#pragma once

#include "simulator/render/SimTypes.h"

namespace kxsim {

class ClFingerTexture;

class ClContactModel
{
public:
  struct ClSample
  {
    double dContact; // 1 full contact, 0 at the rim, negative outside
    double dTexX, dTexY;
    double dGain; // brightness factor
  };

  // bIdeal: the print as it lies on the platen, without the skin's distortion and wobble
  // and without the drift of a roll.
  ClContactModel(const ClScene& scene, int nSceneWidth, int nSceneHeight,
                 const ClFingerTexture& texture, bool bIdeal);

  // Bounding box (platen pixels) outside which the contact is nowhere positive.
  double Left() const { return m_dLeft; }
  double Right() const { return m_dRight; }
  double Top() const { return m_dTop; }
  double Bottom() const { return m_dBottom; }

  ClSample At(double x, double y) const;
  // The platen point where this contact would show a skin point without the skin's
  // distortion (the inverse of At's mapping for an undistorted skin).
  void PlatenOf(double dTexX, double dTexY, double& x, double& y) const;

private:
  double RollContact(double qx, double qy) const;
  void Displace(double qx, double qy, double& dx, double& dy) const;

  const ClFingerTexture& m_Texture;
  bool m_bRoll = false;
  double m_dCos = 1.0, m_dSin = 0.0; // tilt: finger frame to platen
  double m_dCx = 0.0, m_dCy = 0.0;   // contact centre (roll: patch centre)
  double m_dA = 1.0, m_dB = 1.0;     // flat: ellipse half axes; roll: patch half width, half height
  // Roll, straight strip form: outline ellipse around the whole roll and the lit band.
  double m_dOutlineX = 0.0, m_dOutlineA = 1.0, m_dBandHalf = 1.0, m_dShape = 0.0;
  // Texture: the skin point at the anchor, and the anchor on the platen.
  double m_dTexX0 = 0.0, m_dTexY0 = 0.0, m_dAnchorX = 0.0, m_dAnchorY = 0.0;
  // Distortion.
  double m_dStretch = 0.0; // roll: pixels at the patch edge
  int m_nDirection = 1;
  double m_dSpread = 0.0;          // flat: pixels of outward spread at the rim
  double m_dWobble[3] = {0, 0, 0}; // flat: tremor of the skin, pixels
  double m_dPhase = 0.0;           // seeded variation of the stretch along the finger
  double m_dUneven = 0.0;
  double m_dLeft = 0, m_dRight = -1, m_dTop = 0, m_dBottom = -1;
};

} // namespace kxsim
