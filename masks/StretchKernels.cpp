// No floating-point traps are enabled: the compares and conversions may then run in
// vector lanes.
#pragma GCC optimize("O3", "no-trapping-math")
#include "masks/StretchKernels.h"

StStretchTables::StStretchTables(bool bHighPrecision)
{
  const double q = bHighPrecision ? 0.2 : 0.4;
  nSoftFrom = bHighPrecision ? 128 : 32;
  for (int32_t m = 0; m < 256; ++m) {
    const double a = m > nSoftFrom ? double(m - nSoftFrom) / double(255 - nSoftFrom) : 0.0;
    aA[m] = a;
    aRest[m] = 1 - a;
    aLift[m] = static_cast<uint8_t>(static_cast<int32_t>((1 - a) * 30));
    aLimit[m] = 1.0 + std::max(0.0, a * 5.0);
    aSharp[m] = a > q;
    const double a2 = a / q;
    aFade[m] = a2;
    aWhite[m] = (1 - a2) * 255.0;
  }
  for (int32_t k = 1; k < 256; ++k)
    aGain[k] = 255.0 / k;
  aGain[0] = 0.0;
  // Envelopes that meet give an infinite gain: any sample, even one at the dark bound
  // (infinity times 0), ends black.
  for (int32_t d = 0; d < 256; ++d)
    aCore[0][d] = 0;
  for (int32_t k = 1; k < 256; ++k)
    for (int32_t d = 0; d < 256; ++d)
      aCore[k][d] = StretchInvert(d * aGain[k]);
}

const StStretchTables& StretchTables(bool bHighPrecision)
{
  static const StStretchTables s_Low(false);
  static const StStretchTables s_High(true);
  return bHighPrecision ? s_High : s_Low;
}

LSKX2_VECTOR_KERNEL void StretchRimBatch(const StRimBatch& batch, int32_t nBlocks)
{
  const int32_t* __restrict pL2 = batch.pL2;
  const double* __restrict pGain = batch.pGain;
  const double* __restrict pA = batch.pA;
  const double* __restrict pRest = batch.pRest;
  const double* __restrict pFade = batch.pFade;
  const double* __restrict pWhite = batch.pWhite;
  const int32_t* __restrict pSharp = batch.pSharp;
  for (int32_t k = 0; k < 4; ++k) {
    const int32_t* __restrict pG = batch.aSamples[k];
    int32_t* __restrict pOut = batch.aOut[k];
    for (int32_t j = 0; j < nBlocks; ++j)
      pOut[j] = RimSample(pG[j], pL2[j], pGain[j], pA[j], pRest[j], pFade[j], pWhite[j], pSharp[j]);
  }
}
