// Vectorized hot paths of the mean filters.
#pragma GCC optimize("O3")
#include "imaging/filters/MeanKernels.h"
#include "imaging/VectorKernel.h"

namespace {

inline uint8_t Mean3x3Corner(uint32_t s) { return static_cast<uint8_t>((s + 2) >> 2); }
inline uint8_t Mean3x3Edge(uint32_t s) { return static_cast<uint8_t>(((s + 3) * 682) >> 12); }
inline uint8_t Mean3x3Inner(uint32_t s) { return static_cast<uint8_t>(((s + 4) * 455) >> 12); }

// Interior columns of a row, where the window is nFullX columns wide.
inline void InteriorRange(int32_t nWidth, int32_t nHalfX, int32_t& nBegin, int32_t& nEnd)
{
  nBegin = nHalfX < nWidth ? nHalfX : nWidth;
  nEnd = nWidth - nHalfX;
  if (nEnd < nBegin)
    nEnd = nBegin;
}

} // namespace

LSKX2_VECTOR_KERNEL void Mean3x3FixedU8(const uint8_t* pIn, ptrdiff_t nInStride, uint8_t* pOut,
                                        ptrdiff_t nOutStride, int32_t nWidth, int32_t nHeight,
                                        uint16_t* pWork)
{
  uint16_t* __restrict v = pWork;
  const int32_t nLast = nWidth - 1;
  for (int32_t y = 0; y < nHeight; ++y) {
    const bool bEdgeRow = (y == 0 || y == nHeight - 1);
    if (bEdgeRow) {
      const uint8_t* __restrict a = pIn + (y == 0 ? 0 : y - 1) * nInStride;
      const uint8_t* __restrict b = a + nInStride;
      for (int32_t x = 0; x < nWidth; ++x)
        v[x] = static_cast<uint16_t>(a[x] + b[x]);
    } else {
      const uint8_t* __restrict r0 = pIn + (y - 1) * nInStride;
      const uint8_t* __restrict r1 = r0 + nInStride;
      const uint8_t* __restrict r2 = r1 + nInStride;
      for (int32_t x = 0; x < nWidth; ++x)
        v[x] = static_cast<uint16_t>(r0[x] + r1[x] + r2[x]);
    }
    uint8_t* __restrict o = pOut + y * nOutStride;
    if (bEdgeRow) {
      o[0] = Mean3x3Corner(v[0] + v[1]);
      for (int32_t x = 1; x < nLast; ++x)
        o[x] = Mean3x3Edge(static_cast<uint32_t>(v[x - 1] + v[x] + v[x + 1]));
      o[nLast] = Mean3x3Corner(v[nLast - 1] + v[nLast]);
    } else {
      o[0] = Mean3x3Edge(v[0] + v[1]);
      for (int32_t x = 1; x < nLast; ++x)
        o[x] = Mean3x3Inner(static_cast<uint32_t>(v[x - 1] + v[x] + v[x + 1]));
      o[nLast] = Mean3x3Edge(v[nLast - 1] + v[nLast]);
    }
  }
}

LSKX2_VECTOR_KERNEL void BoxMeanU8(const uint8_t* pIn, ptrdiff_t nInStride, uint8_t* pOut,
                                   ptrdiff_t nOutStride, int32_t nWidth, int32_t nHeight,
                                   int32_t nHalfX, int32_t nHalfY, uint32_t* pWork)
{
  if (nHalfX < 0)
    nHalfX = 0;
  if (nHalfY < 0)
    nHalfY = 0;
  uint32_t* __restrict cs = pWork;
  uint32_t* __restrict rs = pWork + nWidth;
  for (int32_t x = 0; x < nWidth; ++x)
    cs[x] = 0;
  for (int32_t j = 0; j < nHalfY && j < nHeight; ++j) {
    const uint8_t* __restrict r = pIn + j * nInStride;
    for (int32_t x = 0; x < nWidth; ++x)
      cs[x] += r[x];
  }
  int32_t nBegin, nEnd;
  InteriorRange(nWidth, nHalfX, nBegin, nEnd);
  const int32_t nFullX = 2 * nHalfX + 1;
  // Below 2^22 a float quotient is exact in the same way (see below), at twice the lanes.
  const bool bFloat = uint64_t(nFullX) * uint64_t(2 * nHalfY + 1) * 255u < (uint64_t(1) << 22);
  for (int32_t y = 0; y < nHeight; ++y) {
    const bool bEnter = y + nHalfY < nHeight;
    const bool bLeave = y - nHalfY - 1 >= 0;
    const uint8_t* __restrict e = pIn + (y + nHalfY) * nInStride;
    const uint8_t* __restrict l = pIn + (y - nHalfY - 1) * nInStride;
    if (bEnter && bLeave) {
      for (int32_t x = 0; x < nWidth; ++x)
        cs[x] += static_cast<uint32_t>(e[x]) - static_cast<uint32_t>(l[x]);
    } else if (bEnter) {
      for (int32_t x = 0; x < nWidth; ++x)
        cs[x] += e[x];
    } else if (bLeave) {
      for (int32_t x = 0; x < nWidth; ++x)
        cs[x] -= l[x];
    }
    const int32_t nRows = ClippedCount(y, nHalfY, nHeight);
    RunningWindowSums(cs, rs, nWidth, nHalfX);
    uint8_t* __restrict o = pOut + y * nOutStride;
    for (int32_t x = 0; x < nBegin; ++x)
      o[x] = static_cast<uint8_t>(rs[x] /
                                  static_cast<uint32_t>(ClippedCount(x, nHalfX, nWidth) * nRows));
    // floor((n + 0.5) * (1 / d)) is floor(n / d) for every n below 2^51 in doubles, below
    // 2^22 in floats: the rounded product stays within 0.5 / d of the exact quotient.
    if (bFloat) {
      const float fInv = 1.0f / static_cast<float>(nFullX * nRows);
      for (int32_t x = nBegin; x < nEnd; ++x)
        o[x] = static_cast<uint8_t>(
            static_cast<int32_t>((static_cast<float>(static_cast<int32_t>(rs[x])) + 0.5f) * fInv));
    } else {
      const double dInv = 1.0 / static_cast<double>(nFullX * nRows);
      for (int32_t x = nBegin; x < nEnd; ++x)
        o[x] =
            static_cast<uint8_t>(static_cast<int32_t>((static_cast<double>(rs[x]) + 0.5) * dInv));
    }
    for (int32_t x = nEnd; x < nWidth; ++x)
      o[x] = static_cast<uint8_t>(rs[x] /
                                  static_cast<uint32_t>(ClippedCount(x, nHalfX, nWidth) * nRows));
  }
}

LSKX2_VECTOR_KERNEL void BoxMeanF32(const float* pIn, ptrdiff_t nInStride, float* pOut,
                                    ptrdiff_t nOutStride, int32_t nWidth, int32_t nHeight,
                                    int32_t nHalfX, int32_t nHalfY, double* pWork)
{
  if (nHalfX < 0)
    nHalfX = 0;
  if (nHalfY < 0)
    nHalfY = 0;
  double* __restrict cs = pWork;
  double* __restrict rs = pWork + nWidth;
  for (int32_t x = 0; x < nWidth; ++x)
    cs[x] = 0.0;
  for (int32_t j = 0; j < nHalfY && j < nHeight; ++j) {
    const float* __restrict r = pIn + j * nInStride;
    for (int32_t x = 0; x < nWidth; ++x)
      cs[x] += static_cast<double>(r[x]);
  }
  int32_t nBegin, nEnd;
  InteriorRange(nWidth, nHalfX, nBegin, nEnd);
  const int32_t nFullX = 2 * nHalfX + 1;
  for (int32_t y = 0; y < nHeight; ++y) {
    if (y + nHalfY < nHeight) {
      const float* __restrict r = pIn + (y + nHalfY) * nInStride;
      for (int32_t x = 0; x < nWidth; ++x)
        cs[x] += static_cast<double>(r[x]);
    }
    const int32_t nRows = ClippedCount(y, nHalfY, nHeight);
    RunningWindowSums(cs, rs, nWidth, nHalfX);
    float* __restrict o = pOut + y * nOutStride;
    for (int32_t x = 0; x < nBegin; ++x)
      o[x] =
          static_cast<float>(rs[x] / static_cast<double>(ClippedCount(x, nHalfX, nWidth) * nRows));
    const double dDiv = static_cast<double>(nFullX * nRows);
    for (int32_t x = nBegin; x < nEnd; ++x)
      o[x] = static_cast<float>(rs[x] / dDiv);
    for (int32_t x = nEnd; x < nWidth; ++x)
      o[x] =
          static_cast<float>(rs[x] / static_cast<double>(ClippedCount(x, nHalfX, nWidth) * nRows));
    if (y - nHalfY >= 0) {
      const float* __restrict r = pIn + (y - nHalfY) * nInStride;
      for (int32_t x = 0; x < nWidth; ++x)
        cs[x] -= static_cast<double>(r[x]);
    }
  }
}

void MeanLineRoundedU8(const uint8_t* pIn, uint8_t* pOut, int32_t nCount, int32_t nWidth)
{
  const int32_t nHalf = nWidth / 2;
  if (nHalf <= 0 || nCount < 2 * nHalf + 1) {
    MeanLineRounded<uint8_t>(pIn, 1, pOut, 1, nCount, nWidth);
    return;
  }
  uint32_t nSum = static_cast<uint32_t>(nHalf);
  for (int32_t j = 0; j < nHalf; ++j)
    nSum += pIn[j];
  int32_t i = 0;
  for (; i < nHalf; ++i) {
    nSum += pIn[i + nHalf];
    pOut[i] = static_cast<uint8_t>(nSum / static_cast<uint32_t>(nHalf + 1 + i));
  }
  // The same bound as in BoxMeanU8: the sums stay far below 2^51.
  const double dInv = 1.0 / static_cast<double>(nWidth);
  const int32_t nEnd = nCount - nHalf;
  for (; i < nEnd; ++i) {
    nSum += pIn[i + nHalf];
    pOut[i] = static_cast<uint8_t>(static_cast<uint32_t>((static_cast<double>(nSum) + 0.5) * dInv));
    nSum -= pIn[i - nHalf];
  }
  uint32_t n = static_cast<uint32_t>(2 * nHalf);
  for (; i < nCount; ++i, --n) {
    pOut[i] = static_cast<uint8_t>(nSum / n);
    nSum -= pIn[i - nHalf];
  }
}
