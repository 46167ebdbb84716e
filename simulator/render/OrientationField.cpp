#include "simulator/render/OrientationField.h"

#include "simulator/render/SimRandom.h"

#include <algorithm>
#include <cmath>

namespace kxsim {

namespace {
constexpr double kPi = 3.14159265358979323846;
}

EPattern ClOrientationField::PatternFromSeed(uint32_t nSeed)
{
  // Roughly the frequencies of real prints: loops most common, then whorls, few arches.
  const uint32_t n = uint32_t(Mix64(nSeed ^ 0x5EEDull) % 20);
  if (n < 7)
    return EPattern::eLoopRight;
  if (n < 13)
    return EPattern::eLoopLeft;
  if (n < 18)
    return EPattern::eWhorl;
  return EPattern::eArch;
}

ClOrientationField::ClOrientationField(uint32_t nSeed, EPattern ePattern, double dCoreX,
                                       double dCoreY, double dPeriod)
  : m_ePattern(ePattern == EPattern::eAuto ? PatternFromSeed(nSeed) : ePattern), m_dCoreX(dCoreX),
    m_dCoreY(dCoreY), m_dPeriod(dPeriod)
{
  ClRandom rnd(uint64_t(nSeed) * 7919u + 17u);
  m_dBase = rnd.Uniform(-0.12, 0.12);
  // Points in mathematical axes (y up) relative to the main core.
  switch (m_ePattern) {
  case EPattern::eLoopLeft:
  case EPattern::eLoopRight: {
    const double side = m_ePattern == EPattern::eLoopLeft ? 1.0 : -1.0;
    m_aCores.push_back({0.0, 0.0});
    m_aDeltas.push_back({side * rnd.Uniform(110.0, 150.0), -rnd.Uniform(170.0, 215.0)});
    break;
  }
  case EPattern::eWhorl: {
    const double a = rnd.Uniform(0.0, kPi);
    const double r = rnd.Uniform(12.0, 24.0);
    m_aCores.push_back({r * std::cos(a), r * std::sin(a)});
    m_aCores.push_back({-r * std::cos(a), -r * std::sin(a)});
    m_aDeltas.push_back({-rnd.Uniform(135.0, 170.0), -rnd.Uniform(175.0, 215.0)});
    m_aDeltas.push_back({rnd.Uniform(135.0, 170.0), -rnd.Uniform(175.0, 215.0)});
    break;
  }
  default:
    break;
  }
  for (int i = 0; i < 4; ++i) {
    m_aPeriodPhase[i] = rnd.Uniform(0.0, 2.0 * kPi);
    m_aPeriodFreq[i] = 2.0 * kPi / rnd.Uniform(180.0, 420.0);
  }
}

double ClOrientationField::RidgeAngle(double x, double y) const
{
  const double X = x - m_dCoreX;
  const double Y = m_dCoreY - y;
  double theta = m_dBase;
  // Ridges over the top of the finger arch over the centre, for every class; an arch has
  // nothing else, the others add their singular points.
  const double s = m_ePattern == EPattern::eArch ? 125.0 : 150.0;
  const double h =
      (m_ePattern == EPattern::eArch ? 150.0 : 110.0) / (1.0 + std::exp(-(Y + 40.0) / 60.0));
  theta += std::atan(-X / (s * s) * h * std::exp(-X * X / (2.0 * s * s)));
  for (const ClPoint& c : m_aCores)
    theta += 0.5 * std::atan2(Y - c.dY, X - c.dX);
  for (const ClPoint& d : m_aDeltas)
    theta -= 0.5 * std::atan2(Y - d.dY, X - d.dX);
  // Back to image axes, where y points down.
  double a = std::fmod(-theta, kPi);
  if (a < 0.0)
    a += kPi;
  return a;
}

double ClOrientationField::Period(double x, double y) const
{
  const double v = 0.55 * std::sin(m_aPeriodFreq[0] * x + m_aPeriodPhase[0]) *
                       std::sin(m_aPeriodFreq[1] * y + m_aPeriodPhase[1]) +
                   0.4 * std::sin(m_aPeriodFreq[2] * (x + y) + m_aPeriodPhase[2]) +
                   0.25 * std::sin(m_aPeriodFreq[3] * (x - y) + m_aPeriodPhase[3]);
  return std::clamp(m_dPeriod + v, m_dPeriod - 1.0, m_dPeriod + 1.0);
}

} // namespace kxsim
