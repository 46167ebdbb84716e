// Element-wise kernels: input and output may be one buffer.
#pragma GCC optimize("O3")
#include "imaging/operators/OperatorKernels.h"
#include "imaging/VectorKernel.h"

// Differences of bytes, with biases of at most 256, fit 16 bits: the lanes stay narrow.
LSKX2_VECTOR_KERNEL void SubtractLimitedU8(const uint8_t* pA, const uint8_t* pB, uint8_t* pOut,
                                           int64_t nCount, int32_t nBiasA, int32_t nBiasB,
                                           int32_t nLowLimit, uint8_t nLowValue, int32_t nHighLimit,
                                           uint8_t nHighValue)
{
  const int32_t nBias = nBiasA - nBiasB;
  if (nBias == 0 && nLowLimit == 0 && nLowValue == 0 && nHighLimit >= 255) {
    // Saturating subtraction.
    for (int64_t i = 0; i < nCount; ++i)
      pOut[i] = uint8_t(pA[i] > pB[i] ? pA[i] - pB[i] : 0);
    return;
  }
  if (nBias < -1024 || nBias > 1024) {
    for (int64_t i = 0; i < nCount; ++i) {
      const int32_t d = int32_t(pA[i]) - int32_t(pB[i]) + nBias;
      pOut[i] = d < nLowLimit ? nLowValue : (d > nHighLimit ? nHighValue : uint8_t(d));
    }
    return;
  }
  const int16_t nBias16 = int16_t(nBias);
  const int16_t nLow16 = int16_t(nLowLimit < -2048 ? -2048 : (nLowLimit > 2048 ? 2048 : nLowLimit));
  const int16_t nHigh16 =
      int16_t(nHighLimit < -2048 ? -2048 : (nHighLimit > 2048 ? 2048 : nHighLimit));
  for (int64_t i = 0; i < nCount; ++i) {
    const int16_t d = int16_t(int16_t(pA[i]) - int16_t(pB[i]) + nBias16);
    pOut[i] = d < nLow16 ? nLowValue : (d > nHigh16 ? nHighValue : uint8_t(d));
  }
}

LSKX2_VECTOR_KERNEL void SubtractToZeroU8(const uint8_t* pA, const uint8_t* pB, uint8_t* pOut,
                                          int64_t nCount)
{
  for (int64_t i = 0; i < nCount; ++i)
    pOut[i] = uint8_t(pA[i] > pB[i] ? pA[i] - pB[i] : 0);
}

LSKX2_VECTOR_KERNEL void AbsDifferenceU8(const uint8_t* pA, const uint8_t* pB, uint8_t* pOut,
                                         int64_t nCount)
{
  for (int64_t i = 0; i < nCount; ++i)
    pOut[i] = uint8_t(pA[i] > pB[i] ? pA[i] - pB[i] : pB[i] - pA[i]);
}

LSKX2_VECTOR_KERNEL void OrU8(const uint8_t* pA, const uint8_t* pB, uint8_t* pOut, int64_t nCount)
{
  for (int64_t i = 0; i < nCount; ++i)
    pOut[i] = uint8_t(pA[i] | pB[i]);
}

LSKX2_VECTOR_KERNEL void AndU8(const uint8_t* pA, const uint8_t* pB, uint8_t* pOut, int64_t nCount)
{
  for (int64_t i = 0; i < nCount; ++i)
    pOut[i] = uint8_t(pA[i] & pB[i]);
}

LSKX2_VECTOR_KERNEL void BinarizeU8(const uint8_t* pIn, uint8_t* pOut, int64_t nCount,
                                    uint8_t nThreshold, uint8_t nLow, uint8_t nHigh)
{
  for (int64_t i = 0; i < nCount; ++i)
    pOut[i] = pIn[i] < nThreshold ? nLow : nHigh;
}
