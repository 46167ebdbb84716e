// The empty platen: a dark, nearly flat field with faint latent prints and dust that grow
// with the residue level, and the sensor noise table shared by all frames.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

namespace kxsim {

// The print a lifted finger left on the platen: oil at scene resolution, in grey levels of
// the live finger at kLatentDose above the dark platen; the platen shows dGain of it.
struct ClLatentMap
{
  uint64_t nKey = 0;
  int nWidth = 0, nHeight = 0;
  std::vector<uint8_t> aOil;
  double dGain = 0.0;
};
constexpr int kLatentDose = 9;

class ClPlatenBackground
{
public:
  // nSceneWidth, nSceneHeight: the platen at 500 dpi; nSeed places the latent marks.
  ClPlatenBackground(int nSceneWidth, int nSceneHeight, uint32_t nSeed);

  // Grey level of a clean platen under the given exposure step.
  static int DarkLevel(int nDose);
  // Light gain of the exposure step: 1.0 at full dose 9, less for the normal dose.
  static double Illumination(int nDose);

  // Background picture at an output size, exposure and residue level, with the latent print
  // (if any), rows in display order. Kept in a small cache: scripts switch between few
  // combinations.
  const uint8_t* Get(int nWidth, int nHeight, int nDose, double dResidue,
                     const ClLatentMap* pLatent = nullptr);

  // Sensor noise, about 1.3 grey levels deviation; any window of Noise() + n with
  // n + pixels <= NoiseLength() is valid.
  static const int8_t* Noise();
  static size_t NoiseLength();

private:
  struct ClLatent
  {
    double dX, dY, dRx, dRy, dAngle, dTexX, dTexY, dAmplitude, dThreshold;
  };
  struct ClSpeck
  {
    double dX, dY, dRadius, dAmplitude, dThreshold;
  };
  struct ClEntry
  {
    int nWidth, nHeight, nDose, nResidue;
    uint64_t nLatent;
    std::vector<uint8_t> aPixels;
  };

  void Build(ClEntry& e, const ClLatentMap* pLatent) const;

  int m_nSceneWidth, m_nSceneHeight;
  std::vector<ClLatent> m_aLatents;
  std::vector<ClSpeck> m_aSpecks;
  std::vector<std::unique_ptr<ClEntry>> m_aCache; // most recent first
};

} // namespace kxsim
