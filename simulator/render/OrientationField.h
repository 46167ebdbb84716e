// Ridge orientation and ridge period of a synthetic finger.
// Orientation follows the zero-pole model: half the sum of the angles seen from the cores
// minus half the sum of the angles seen from the deltas, plus a base angle. Arches, which
// have no singular point on the finger, use a smooth bump field instead.
#pragma once

#include "simulator/render/SimTypes.h"

#include <cstdint>
#include <vector>

namespace kxsim {

class ClOrientationField
{
public:
  // Pattern and singular points drawn from the seed; (dCoreX, dCoreY) is where the main
  // core lies in the texture.
  // dPeriod is the mean ridge period, pixels.
  ClOrientationField(uint32_t nSeed, EPattern ePattern, double dCoreX, double dCoreY,
                     double dPeriod = 9.0);

  EPattern Pattern() const { return m_ePattern; }
  // Ridge direction at (x, y), radians, image axes (y down), in [0, pi).
  double RidgeAngle(double x, double y) const;
  // Ridge period in pixels, within one pixel of the mean, varying slowly.
  double Period(double x, double y) const;

  static EPattern PatternFromSeed(uint32_t nSeed);

private:
  struct ClPoint
  {
    double dX, dY;
  };
  EPattern m_ePattern;
  double m_dBase = 0.0;
  double m_dCoreX, m_dCoreY;
  double m_dPeriod;
  std::vector<ClPoint> m_aCores;
  std::vector<ClPoint> m_aDeltas;
  double m_aPeriodPhase[4] = {0, 0, 0, 0};
  double m_aPeriodFreq[4] = {0, 0, 0, 0};
};

} // namespace kxsim
