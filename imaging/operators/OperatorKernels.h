#pragma once
// Row kernels of the pixel operators for the "uint8" cases that run per frame, built
// with the vectorizer (see VectorKernel.h). Each handles nCount samples of one row.
#include <cstddef>
#include <cstdint>

// out = d < nLowLimit ? nLowValue : (d > nHighLimit ? nHighValue : d), with
// d = a + nBiasA - (b + nBiasB) in 32 bits and the result kept to its low byte.
void SubtractLimitedU8(const uint8_t* pA, const uint8_t* pB, uint8_t* pOut, int64_t nCount,
                       int32_t nBiasA, int32_t nBiasB, int32_t nLowLimit, uint8_t nLowValue,
                       int32_t nHighLimit, uint8_t nHighValue);
// max(a - b, 0).
void SubtractToZeroU8(const uint8_t* pA, const uint8_t* pB, uint8_t* pOut, int64_t nCount);
// |a - b|.
void AbsDifferenceU8(const uint8_t* pA, const uint8_t* pB, uint8_t* pOut, int64_t nCount);
void OrU8(const uint8_t* pA, const uint8_t* pB, uint8_t* pOut, int64_t nCount);
void AndU8(const uint8_t* pA, const uint8_t* pB, uint8_t* pOut, int64_t nCount);
// a below nThreshold gives nLow, else nHigh.
void BinarizeU8(const uint8_t* pIn, uint8_t* pOut, int64_t nCount, uint8_t nThreshold, uint8_t nLow,
                uint8_t nHigh);
