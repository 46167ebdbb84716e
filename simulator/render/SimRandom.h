// A small seeded generator of our own, so that pictures are bit-identical whatever the
// standard library's distributions do.
#pragma once

#include <cstdint>

namespace kxsim {

// splitmix64 step: good enough statistics for textures and noise, trivially reproducible.
inline uint64_t Mix64(uint64_t x)
{
  x += 0x9E3779B97F4A7C15ull;
  x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ull;
  x = (x ^ (x >> 27)) * 0x94D049BB133111EBull;
  return x ^ (x >> 31);
}

class ClRandom
{
public:
  explicit ClRandom(uint64_t nSeed) : m_nState(Mix64(nSeed)) {}
  uint64_t Next()
  {
    m_nState += 0x9E3779B97F4A7C15ull;
    return Mix64(m_nState);
  }
  // Uniform in [0, 1).
  double Uniform() { return double(Next() >> 11) * (1.0 / 9007199254740992.0); }
  double Uniform(double a, double b) { return a + (b - a) * Uniform(); }
  // Integer in [0, n).
  uint32_t Below(uint32_t n) { return uint32_t((Next() >> 32) * n >> 32); }
  // Approximately normal, mean 0 and deviation 1 (sum of uniforms: no libm, exact everywhere).
  double Normal()
  {
    double s = 0.0;
    for (int i = 0; i < 12; ++i)
      s += Uniform();
    return s - 6.0;
  }

private:
  uint64_t m_nState;
};

} // namespace kxsim
