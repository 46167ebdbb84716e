#include "simulator/render/ContactModel.h"

#include "simulator/render/FingerTexture.h"
#include "simulator/render/SimRandom.h"

#include <algorithm>
#include <cmath>

namespace kxsim {

namespace {
constexpr double kPi = 3.14159265358979323846;
// Peak surface strain of the rolled skin at distortion 1, found at the trailing edge; the
// stretch profile below has its steepest slope, 3.2 times the mean, there. Strain depends on
// the pressure, not on the speed of the roll: a faster roll moves the same strain pattern
// further between frames. The figure and its sources are in simulator/README.md.
constexpr double kPeakStrain = 0.20;
constexpr double kProfileSlope = 3.2;
} // namespace

ClContactModel::ClContactModel(const ClScene& scene, int W, int H, const ClFingerTexture& texture,
                               bool bIdeal)
  : m_Texture(texture)
{
  const ClFinger& f = scene.finger;
  const double p = std::clamp(f.dPressure, 0.0, 1.0);
  const double placed = std::clamp(scene.dPlaced, 0.0, 1.0);
  const double grow = 0.45 + 0.55 * placed;
  const double tilt = f.dTilt * kPi / 180.0 + scene.dTurn;
  m_dCos = std::cos(tilt);
  m_dSin = std::sin(tilt);
  m_dUneven = 0.18 * std::max(0.0, f.dUneven);
  m_dPhase = double(Mix64(f.nSeed ^ 0xD15707ull) % 6283) / 1000.0;
  const double cy0 = f.dCentreY < 0.0 ? H * 0.5 : f.dCentreY;
  const double distortion = bIdeal ? 0.0 : std::max(0.0, f.dDistortion);
  m_dTexX0 = ClFingerTexture::kCoreX - scene.nShiftX;
  m_dTexY0 = ClFingerTexture::kCentreY - scene.nShiftY;
  m_bRoll = scene.eContact == EContact::eRoll;
  double ex, ey; // half extent of the contact in the finger frame
  if (m_bRoll) {
    m_dShape = std::clamp(f.dShape, 0.0, 1.0);
    m_dOutlineX = 0.5 * (scene.dRollFromX + scene.dRollToX);
    m_dBandHalf = std::max(1.0, scene.dPatchWidth * 0.5 * grow);
    m_dOutlineA = 0.5 * std::fabs(scene.dRollToX - scene.dRollFromX) + 1.3 * m_dBandHalf;
    m_dB = std::max(1.0, f.dHeight * 0.5 * (0.8 + 0.2 * p) * grow);
    const double span = scene.dRollToX - scene.dRollFromX;
    const double along =
        span != 0.0 ? std::clamp((scene.dPatchX - scene.dRollFromX) / span, 0.0, 1.0) : 0.5;
    // On the sides of the finger the contact is narrow, on the pad widest.
    m_dA = m_dBandHalf * (1.0 - 0.45 * m_dShape * (1.0 - std::sin(kPi * along)));
    m_dCx = scene.dPatchX;
    m_dCy = cy0 + scene.dDrift;
    m_dAnchorX = m_dOutlineX;
    m_dAnchorY = cy0 + (bIdeal ? 0.0 : scene.dDrift);
    m_nDirection = scene.nRollDirection < 0 ? -1 : 1;
    // A finger resting on its side before the roll carries no rolling strain.
    const bool moving = scene.dRollSpeed != 0.0;
    m_dStretch = moving ? kPeakStrain / kProfileSlope * distortion * m_dA * (0.5 + 0.625 * p) : 0.0;
    ex = std::max(m_dA * 1.1, m_dBandHalf);
    ey = m_dB;
  } else {
    const double size = (0.45 + 0.55 * p) * grow * (1.0 + scene.dSpread);
    m_dA = std::max(1.0, f.dWidth * 0.5 * size);
    m_dB = std::max(1.0, f.dHeight * 0.5 * size);
    m_dCx = (f.dCentreX < 0.0 ? W * 0.5 : f.dCentreX) + scene.dMoveX;
    m_dCy = cy0 + scene.dMoveY;
    m_dAnchorX = m_dCx;
    m_dAnchorY = m_dCy;
    // Pressed skin spreads outwards a little; a held finger trembles.
    m_dSpread = distortion * 3.0 * p * placed;
    const double tremor = bIdeal ? 0.0 : 0.6 * std::max(0.0, f.dTremor) * std::min(1.0, distortion);
    for (int i = 0; i < 3; ++i)
      m_dWobble[i] = tremor * scene.dWobble[i];
    ex = m_dA;
    ey = m_dB;
  }
  const double margin = 2.0;
  const double hx = std::fabs(m_dCos) * ex + std::fabs(m_dSin) * ey + margin;
  const double hy = std::fabs(m_dSin) * ex + std::fabs(m_dCos) * ey + margin;
  const double cx = m_dCx;
  if (m_bRoll && m_dShape < 1.0) {
    // The straight strip: its band, cut by the outline.
    m_dLeft = std::max(cx - hx, m_dOutlineX - m_dOutlineA - margin);
    m_dRight = std::min(cx + hx, m_dOutlineX + m_dOutlineA + margin);
  } else {
    m_dLeft = cx - hx;
    m_dRight = cx + hx;
  }
  m_dTop = m_dCy - hy;
  m_dBottom = m_dCy + hy;
}

double ClContactModel::RollContact(double qx, double qy) const
{
  double strip = 1.0;
  if (m_dShape < 1.0) {
    // A band across the patch, its sides curving away from the platen, inside an outline.
    const double v = qx / m_dBandHalf;
    const double q = 1.0 - v * v;
    const double ox = (m_dCx + qx - m_dOutlineX) / m_dOutlineA, oy = qy / m_dB;
    strip = std::min(q > 0.0 ? q * q : q, 1.0 - ox * ox - oy * oy);
    if (m_dShape <= 0.0)
      return strip;
  }
  // The cross-section of the finger: a little wider towards the joint, blunt at both ends,
  // fading over its outer part.
  const double t = std::min(1.5, std::fabs(qy / m_dB));
  const double half = m_dA * (1.0 + 0.08 * std::clamp(qy / m_dB, -1.0, 1.0));
  const double u = qx / half;
  const double r = u * u + std::pow(t, 2.5);
  const double shaped = std::min(1.0, 2.5 * (1.0 - r));
  return m_dShape >= 1.0 ? shaped : strip + (shaped - strip) * m_dShape;
}

void ClContactModel::Displace(double qx, double qy, double& dx, double& dy) const
{
  dx = dy = 0.0;
  if (m_bRoll) {
    if (m_dStretch <= 0.0)
      return;
    // u runs from the trailing edge (-1) to the leading edge (+1). Skin ahead of the centre
    // line is pushed back onto it (compressed), skin behind is drawn out (stretched), more
    // so behind; the amount varies slowly along the finger.
    const double u = std::clamp(m_nDirection * qx / m_dA, -1.3, 1.3);
    const double t = qy / m_dB;
    const double along = 1.0 + 0.25 * std::sin(2.2 * t + m_dPhase);
    const double g = u * u * (1.0 - 0.4 * u);
    dx = -m_nDirection * m_dStretch * g * along;
    dy = 0.18 * m_dStretch * u * std::sin(1.7 * t + 2.0 * m_dPhase);
    return;
  }
  const double nx = qx / m_dA, ny = qy / m_dB;
  dx = m_dSpread * nx + m_dWobble[0] + 0.5 * m_dWobble[2] * ny;
  dy = m_dSpread * ny + m_dWobble[1] + 0.5 * m_dWobble[2] * nx;
}

ClContactModel::ClSample ClContactModel::At(double x, double y) const
{
  ClSample s;
  // Finger frame around the contact centre.
  const double px = x - m_dCx, py = y - m_dCy;
  const double qx = m_dCos * px + m_dSin * py;
  const double qy = -m_dSin * px + m_dCos * py;
  if (m_bRoll) {
    s.dContact = RollContact(qx, qy);
  } else {
    const double u = qx / m_dA, v = qy / m_dB;
    s.dContact = 1.0 - u * u - v * v;
  }
  // The skin point seen here: the print turns with the finger about its anchor.
  double dx, dy;
  Displace(qx, qy, dx, dy);
  const double ax = x - m_dAnchorX - (m_dCos * dx - m_dSin * dy);
  const double ay = y - m_dAnchorY - (m_dSin * dx + m_dCos * dy);
  s.dTexX = m_dTexX0 + m_dCos * ax + m_dSin * ay;
  s.dTexY = m_dTexY0 - m_dSin * ax + m_dCos * ay;
  // Uneven light shows where the skin presses; the faint rim keeps the shape of the contact.
  const double firm = std::clamp((s.dContact - 0.1) * 2.0, 0.0, 1.0);
  s.dGain = 1.0 + (m_dUneven > 0.0 ? m_dUneven * firm * m_Texture.Tone(s.dTexX, s.dTexY) : 0.0);
  return s;
}

void ClContactModel::PlatenOf(double dTexX, double dTexY, double& x, double& y) const
{
  const double tx = dTexX - m_dTexX0, ty = dTexY - m_dTexY0;
  x = m_dAnchorX + m_dCos * tx - m_dSin * ty;
  y = m_dAnchorY + m_dSin * tx + m_dCos * ty;
}

} // namespace kxsim
