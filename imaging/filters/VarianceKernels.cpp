// Vectorized variance of "uint8" images into floating outputs. With 8-bit samples every
// partial sum of the walk is an integer that the output type holds exactly (the callers
// check the bound), so the sums may be formed in any order and in integers: the result is
// bit for bit that of the walk in the output type.
#pragma GCC optimize("O3")
#include "imaging/filters/VarianceKernels.h"
#include "imaging/VectorKernel.h"

namespace {

// Sum and sum of squares travel packed in one 64-bit word, the sum in the high half: the
// window sums are linear in the words, and the square sums stay below 2^32 (checked by
// VarianceU8IsExact), so both halves come out exact from one running sum.
inline uint64_t Packed(uint32_t v) { return (static_cast<uint64_t>(v) << 32) + v * v; }

template <class TOut>
LSKX2_KERNEL_INLINE void VarianceU8Impl(const uint8_t* pIn, ptrdiff_t nInStride, TOut* pOut,
                                        ptrdiff_t nOutStride, int32_t nWidth, int32_t nHeight,
                                        int32_t nHalf, uint64_t* pWork)
{
  if (nHalf < 0)
    nHalf = 0;
  uint64_t* __restrict cs = pWork;
  uint64_t* __restrict rs = pWork + nWidth;
  for (int32_t x = 0; x < nWidth; ++x)
    cs[x] = 0;
  for (int32_t j = 0; j < nHalf && j < nHeight; ++j) {
    const uint8_t* __restrict r = pIn + j * nInStride;
    for (int32_t x = 0; x < nWidth; ++x)
      cs[x] += Packed(r[x]);
  }
  const int32_t nBegin = nHalf < nWidth ? nHalf : nWidth;
  const int32_t nEnd = nWidth - nHalf > nBegin ? nWidth - nHalf : nBegin;
  const int32_t nFullX = 2 * nHalf + 1;
  for (int32_t y = 0; y < nHeight; ++y) {
    const bool bEnter = y + nHalf < nHeight;
    const bool bLeave = y - nHalf - 1 >= 0;
    const uint8_t* __restrict e = pIn + (y + nHalf) * nInStride;
    const uint8_t* __restrict l = pIn + (y - nHalf - 1) * nInStride;
    if (bEnter && bLeave) {
      for (int32_t x = 0; x < nWidth; ++x)
        cs[x] += Packed(e[x]) - Packed(l[x]);
    } else if (bEnter) {
      for (int32_t x = 0; x < nWidth; ++x)
        cs[x] += Packed(e[x]);
    } else if (bLeave) {
      for (int32_t x = 0; x < nWidth; ++x)
        cs[x] -= Packed(l[x]);
    }
    RunningWindowSums(cs, rs, nWidth, nHalf);
    const int32_t nRows = ClippedCount(y, nHalf, nHeight);
    TOut* __restrict o = pOut + y * nOutStride;
    for (int32_t x = 0; x < nBegin; ++x)
      o[x] = VarianceOf<TOut>(static_cast<TOut>(rs[x] >> 32),
                              static_cast<TOut>(static_cast<uint32_t>(rs[x])),
                              ClippedCount(x, nHalf, nWidth) * nRows);
    const int32_t nCount = nFullX * nRows;
    const TOut n = static_cast<TOut>(nCount);
    const TOut n1 = static_cast<TOut>(nCount - 1);
    for (int32_t x = nBegin; x < nEnd; ++x) {
      // Both halves are below 2^31, where the signed conversion, which vectorizes, is exact.
      const TOut s = static_cast<TOut>(static_cast<int32_t>(rs[x] >> 32));
      const TOut q = static_cast<TOut>(static_cast<int32_t>(static_cast<uint32_t>(rs[x])));
      o[x] = (q - s * s / n) / n1;
    }
    for (int32_t x = nEnd; x < nWidth; ++x)
      o[x] = VarianceOf<TOut>(static_cast<TOut>(rs[x] >> 32),
                              static_cast<TOut>(static_cast<uint32_t>(rs[x])),
                              ClippedCount(x, nHalf, nWidth) * nRows);
  }
}

} // namespace

bool VarianceU8IsExact(int32_t nHalf, bool bDouble)
{
  const uint64_t n = 2 * static_cast<uint64_t>(nHalf < 0 ? 0 : nHalf) + 1;
  const uint64_t nMax = n * n * 65025u;
  // Sums in 31 bits; 24 bits of float mantissa.
  return bDouble ? nMax < (uint64_t(1) << 31) : nMax < (uint64_t(1) << 24);
}

LSKX2_VECTOR_KERNEL void VarianceU8ToF32(const uint8_t* pIn, ptrdiff_t nInStride, float* pOut,
                                         ptrdiff_t nOutStride, int32_t nWidth, int32_t nHeight,
                                         int32_t nHalf, uint64_t* pWork)
{
  VarianceU8Impl<float>(pIn, nInStride, pOut, nOutStride, nWidth, nHeight, nHalf, pWork);
}

LSKX2_VECTOR_KERNEL void VarianceU8ToF64(const uint8_t* pIn, ptrdiff_t nInStride, double* pOut,
                                         ptrdiff_t nOutStride, int32_t nWidth, int32_t nHeight,
                                         int32_t nHalf, uint64_t* pWork)
{
  VarianceU8Impl<double>(pIn, nInStride, pOut, nOutStride, nWidth, nHeight, nHalf, pWork);
}
