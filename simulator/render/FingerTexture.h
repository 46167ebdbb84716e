// The ridge pattern of one synthetic finger, grown once per seed and shared.
// Ridges come from seeded noise filtered again and again with Gabor kernels tuned to the
// local orientation and period, clipped after each pass until the pattern settles; the
// result is an unrolled print larger than any contact area, in which frames are windows.
#pragma once

#include "simulator/render/SimTypes.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace kxsim {

class ClFingerTexture
{
public:
  static constexpr int kWidth = 896; // wide enough for a nail-to-nail roll
  static constexpr int kHeight = 640;
  static constexpr int kCoreX = kWidth / 2;
  static constexpr int kCoreY = 270;           // core a little above the middle, towards the tip
  static constexpr int kCentreY = kHeight / 2; // lies on the contact centre

  static constexpr double kMinPeriod = 7.5, kMaxPeriod = 12.5;

  // The texture of a seed and mean ridge period (kept to a quarter pixel), grown on first
  // use and kept for the life of the process.
  static std::shared_ptr<const ClFingerTexture> Get(uint32_t nSeed, EPattern ePattern,
                                                    double dPeriod = 9.0);

  ClFingerTexture(uint32_t nSeed, EPattern ePattern, double dPeriod = 9.0);

  uint32_t Seed() const { return m_nSeed; }
  EPattern Pattern() const { return m_ePattern; }
  double MeanPeriod() const { return m_nPeriodQuarters / 4.0; }
  // Ridge value, -127 valley .. +127 ridge centre. The live form has sweat pores on the ridges,
  // the plain form (used for artificial fingers) has none.
  const int8_t* Ridges(bool bPores) const { return bPores ? m_aPores.data() : m_aPlain.data(); }
  // Small-scale field 0..255 that breaks ridges where it is high on a dry finger.
  const uint8_t* Dryness() const { return m_aDryness.data(); }
  // Smooth field 0..255, high where a wet finger holds sweat.
  const uint8_t* Blotches() const { return m_aBlotch.data(); }
  // Slowly varying -1..1 at texture point (x, y): how brightly the skin lights up.
  double Tone(double x, double y) const;
  static int QuarterPeriod(double dPeriod);
  // Local ridge period, for tests.
  double PeriodAt(int x, int y) const;
  double RidgeAngleAt(int x, int y) const;

private:
  void Grow();
  void StampPores();
  void MakeDryness();
  void MakeTone();

  static constexpr int kToneCell = 110;
  static constexpr int kToneW = kWidth / kToneCell + 3, kToneH = kHeight / kToneCell + 3;

  uint32_t m_nSeed;
  EPattern m_ePattern;
  int m_nPeriodQuarters;
  std::vector<int8_t> m_aPlain;
  std::vector<int8_t> m_aPores;
  std::vector<uint8_t> m_aDryness;
  std::vector<uint8_t> m_aBlotch;
  std::vector<float> m_aToneLattice;
  std::vector<float> m_aAngle; // kept coarse (every 8th pixel) for tests
  std::vector<float> m_aPeriod;
};

} // namespace kxsim
