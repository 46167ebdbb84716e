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

// An inverse that is not a normal number would be inexact: such a row is divided.
double Inverse(double d)
{
  const double i = 1.0 / d;
  return std::isnormal(i) ? i : std::numeric_limits<double>::quiet_NaN();
}

// CappedSample(x / d) from r = x * (1 / d): the two quotients differ by a few units in the
// last place, so only an r lying that close to a whole number below 255 (or not a number)
// may truncate differently. Such samples are counted in nUnsure.
// Written without branches, so that the loop vectorizes.
LSKX2_KERNEL_INLINE uint8_t Quick(double r, int32_t& nUnsure)
{
  const double c = std::min(r > 0.0 ? r : 0.0, 255.0);
  const auto t = static_cast<int32_t>(c);
  const double f = c - t;
  const int32_t nSure =
      (int32_t(f > 1e-9) & int32_t(f < 1.0 - 1e-9)) | int32_t(r <= 0.0) | int32_t(r >= 255.5);
  nUnsure += 1 - nSure;
  return static_cast<uint8_t>(t);
}

LSKX2_VECTOR_KERNEL int32_t QuickRow(const float* pA, uint8_t* pF, uint8_t* pG, uint8_t* pE,
                                     int32_t n, double dUpperInverse, double dLowerInverse,
                                     double dLower, uint8_t nGreyLimit)
{
  int32_t nUnsure = 0;
  for (int32_t x = 0; x < n; ++x) {
    const double a = pA[x];
    pF[x] = Quick(255.0 * a * dUpperInverse, nUnsure);
    pG[x] = Quick(255.0 * a * dLowerInverse, nUnsure);
    const int32_t nClear = int32_t(a >= dLower) | int32_t(pE[x] > nGreyLimit);
    pE[x] = static_cast<uint8_t>(pE[x] * (1 - nClear));
  }
  return nUnsure;
}

} // namespace

void ClassifyActivityRow(const float* pA, uint8_t* pF, uint8_t* pG, uint8_t* pE, int32_t n,
                         double dUpper, double dLower, uint8_t nGreyLimit)
{
  if (QuickRow(pA, pF, pG, pE, n, Inverse(dUpper), Inverse(dLower), dLower, nGreyLimit) == 0)
    return;
  // Rare: the row is divided sample by sample.
  for (int32_t x = 0; x < n; ++x) {
    const double a = pA[x];
    pF[x] = CappedSample(255.0 * a / dUpper);
    pG[x] = CappedSample(255.0 * a / dLower);
  }
}
