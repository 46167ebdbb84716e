// No floating-point traps are enabled: the compares may then run in vector lanes.
#pragma GCC optimize("O3", "no-trapping-math")
#include "masks/ActivityKernels.h"

#include "imaging/VectorKernel.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

inline uint8_t CappedSample(double v)
{
  // A rounding error of the float variance may leave a value just below 0.
  if (!(v > 0.0))
    return 0;
  return v >= 255.0 ? 255 : static_cast<uint8_t>(v);
}

// The smallest float at or above d: a >= d in doubles is a >= that bound in floats.
float FloatBound(double d)
{
  float f = static_cast<float>(d);
  if (static_cast<double>(f) < d)
    f = std::nextafter(f, std::numeric_limits<float>::infinity());
  return f;
}

// r = a * float(255 / d) lies within 256 * 2^-23 of the double quotient 255 a / d below
// 256 (two float roundings and the double's); the margin leaves room for the rounding of
// r plus or minus the margin itself.
constexpr float kMargin = 256.0f * 4.0f / 16777216.0f;

// CappedSample(255 a / d) from r in floats. Only an r that close to a whole number from 1
// to 255 may truncate differently; such samples, and those whose r is not a number, are
// counted in nUnsure. Written with float compares only and without branches, so that the
// loop vectorizes.
LSKX2_KERNEL_INLINE uint8_t Quick(float a, float fScale, int32_t& nUnsure)
{
  const float r = a * fScale;
  const float c = std::min(r > 0.0f ? r : 0.0f, 255.0f);
  // The next whole number above c - margin; c + margin must stay below it.
  const float fNext = static_cast<float>(static_cast<int32_t>(c - kMargin)) + 1.0f;
  const int32_t nSure =
      (int32_t(c + kMargin < fNext) | int32_t(r <= 0.0f) | int32_t(r >= 255.5f)) & int32_t(r == r);
  nUnsure += 1 - nSure;
  return static_cast<uint8_t>(static_cast<int32_t>(c));
}

LSKX2_VECTOR_KERNEL int32_t QuickRow(const float* pA, uint8_t* pF, uint8_t* pG, uint8_t* pE,
                                     int32_t n, float fUpperScale, float fLowerScale, float fLower,
                                     uint8_t nGreyLimit)
{
  int32_t nUnsure = 0;
  for (int32_t x = 0; x < n; ++x) {
    const float a = pA[x];
    pF[x] = Quick(a, fUpperScale, nUnsure);
    pG[x] = Quick(a, fLowerScale, nUnsure);
    const int32_t nClear = int32_t(a >= fLower) | int32_t(pE[x] > nGreyLimit);
    pE[x] = static_cast<uint8_t>(pE[x] * (1 - nClear));
  }
  return nUnsure;
}

// 255 / d as a normal float, else not a number (every quick sample is then unsure).
float Scale(double d)
{
  const auto f = static_cast<float>(255.0 / d);
  return std::isnormal(f) ? f : std::numeric_limits<float>::quiet_NaN();
}

} // namespace

void ClassifyActivityRow(const float* pA, uint8_t* pF, uint8_t* pG, uint8_t* pE, int32_t n,
                         double dUpper, double dLower, uint8_t nGreyLimit)
{
  if (QuickRow(pA, pF, pG, pE, n, Scale(dUpper), Scale(dLower), FloatBound(dLower), nGreyLimit) ==
      0)
    return;
  // Rare: the row is divided sample by sample.
  for (int32_t x = 0; x < n; ++x) {
    const double a = pA[x];
    pF[x] = CappedSample(255.0 * a / dUpper);
    pG[x] = CappedSample(255.0 * a / dLower);
  }
}
