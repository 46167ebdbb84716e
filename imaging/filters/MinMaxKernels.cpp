// Vectorized running extremes. Rows: the window maximum as the larger of two overlapping
// power-of-two windows, built by doubling. Columns: blocks of the window length with a
// prefix and a suffix extreme per block (three operations per sample whatever the
// window), all columns of a row at once. Both give exactly the window's extreme; the
// rescan walk of ExtremeLine differs from it only for NaN and negative zero, which the
// float callers test for first.
#pragma GCC optimize("O3")
#include "imaging/filters/MinMaxKernels.h"
#include "imaging/VectorKernel.h"

#include <cstring>
#include <limits>

namespace {

template <class P, class T>
struct TpIdentity;
template <class T>
struct TpIdentity<TpMaxPolicy, T>
{
  static T Value()
  {
    return std::numeric_limits<T>::has_infinity ? -std::numeric_limits<T>::infinity()
                                                : std::numeric_limits<T>::lowest();
  }
};
template <class T>
struct TpIdentity<TpMinPolicy, T>
{
  static T Value()
  {
    return std::numeric_limits<T>::has_infinity ? std::numeric_limits<T>::infinity()
                                                : std::numeric_limits<T>::max();
  }
};

template <class P, class T>
inline T Ext(T a, T b);
template <>
inline uint8_t Ext<TpMaxPolicy, uint8_t>(uint8_t a, uint8_t b)
{
  return a < b ? b : a;
}
template <>
inline uint8_t Ext<TpMinPolicy, uint8_t>(uint8_t a, uint8_t b)
{
  return b < a ? b : a;
}
template <>
inline float Ext<TpMaxPolicy, float>(float a, float b)
{
  return a < b ? b : a;
}
template <>
inline float Ext<TpMinPolicy, float>(float a, float b)
{
  return b < a ? b : a;
}

template <class P, class T>
LSKX2_KERNEL_INLINE void ExtremeRowsImpl(const T* pIn, ptrdiff_t nInStride, T* pOut,
                                         ptrdiff_t nOutStride, int32_t nWidth, int32_t nHeight,
                                         int32_t nHalf, T* pWork)
{
  const int32_t nLen = nWidth + 2 * nHalf;
  const int32_t nWindow = 2 * nHalf + 1;
  int32_t nPow = 1;
  while (nPow * 2 <= nWindow)
    nPow *= 2;
  const T id = TpIdentity<P, T>::Value();
  T* __restrict a = pWork;
  T* __restrict b = pWork + nLen;
  for (int32_t y = 0; y < nHeight; ++y) {
    const T* r = pIn + y * nInStride;
    for (int32_t j = 0; j < nHalf; ++j) {
      a[j] = id;
      a[nHalf + nWidth + j] = id;
    }
    std::memcpy(a + nHalf, r, sizeof(T) * static_cast<size_t>(nWidth));
    // a[j] holds the extreme of s samples from j on; b gets that of 2s.
    T* src = a;
    T* dst = b;
    for (int32_t s = 1; s < nPow; s *= 2) {
      const int32_t n = nLen - 2 * s + 1;
      T* __restrict d = dst;
      const T* __restrict p = src;
      for (int32_t j = 0; j < n; ++j)
        d[j] = Ext<P, T>(p[j], p[j + s]);
      T* t = src;
      src = dst;
      dst = t;
    }
    T* __restrict o = pOut + y * nOutStride;
    const T* __restrict p = src;
    const int32_t nShift = nWindow - nPow;
    for (int32_t i = 0; i < nWidth; ++i)
      o[i] = Ext<P, T>(p[i], p[i + nShift]);
  }
}

template <class P, class T>
LSKX2_KERNEL_INLINE void ExtremeColumnsImpl(const T* pIn, ptrdiff_t nInStride, T* pOut,
                                            ptrdiff_t nOutStride, int32_t nWidth, int32_t nHeight,
                                            int32_t nHalf, T* pWork)
{
  const int32_t nWindow = 2 * nHalf + 1;
  T* const pIdRow = pWork;
  T* const pSuffix = pWork + nWidth;                                     // nWindow rows
  T* const pPrefix = pSuffix + static_cast<ptrdiff_t>(nWindow) * nWidth; // nWindow rows
  const T id = TpIdentity<P, T>::Value();
  for (int32_t x = 0; x < nWidth; ++x)
    pIdRow[x] = id;
  // Row j of the line padded by nHalf identity rows on both sides.
  auto Row = [&](int32_t j) -> const T* {
    const int32_t y = j - nHalf;
    return (y < 0 || y >= nHeight) ? pIdRow : pIn + y * nInStride;
  };
  // out[i] = ext(suffix[i], prefix[i + 2 * nHalf]) over blocks of nWindow padded rows.
  for (int32_t k0 = 0; k0 < nHeight; k0 += nWindow) {
    // Suffix extremes of the block starting at padded row k0.
    {
      T* __restrict s = pSuffix + static_cast<ptrdiff_t>(nWindow - 1) * nWidth;
      const T* __restrict r = Row(k0 + nWindow - 1);
      for (int32_t x = 0; x < nWidth; ++x)
        s[x] = r[x];
      for (int32_t t = nWindow - 2; t >= 0; --t) {
        T* __restrict d = pSuffix + static_cast<ptrdiff_t>(t) * nWidth;
        const T* __restrict n = d + nWidth;
        const T* __restrict q = Row(k0 + t);
        for (int32_t x = 0; x < nWidth; ++x)
          d[x] = Ext<P, T>(q[x], n[x]);
      }
    }
    // Prefix extremes of the next block; its row t closes the window of output k0 + t + 1.
    {
      const int32_t k1 = k0 + nWindow;
      T* __restrict d0 = pPrefix;
      const T* __restrict r0 = Row(k1);
      for (int32_t x = 0; x < nWidth; ++x)
        d0[x] = r0[x];
      for (int32_t t = 1; t < nWindow - 1; ++t) {
        T* __restrict d = pPrefix + static_cast<ptrdiff_t>(t) * nWidth;
        const T* __restrict p = d - nWidth;
        const T* __restrict q = Row(k1 + t);
        for (int32_t x = 0; x < nWidth; ++x)
          d[x] = Ext<P, T>(p[x], q[x]);
      }
    }
    const int32_t nEnd = k0 + nWindow < nHeight ? k0 + nWindow : nHeight;
    {
      // Output k0 covers exactly one block: its suffix extreme.
      T* __restrict o = pOut + k0 * nOutStride;
      const T* __restrict s = pSuffix;
      for (int32_t x = 0; x < nWidth; ++x)
        o[x] = s[x];
    }
    for (int32_t i = k0 + 1; i < nEnd; ++i) {
      T* __restrict o = pOut + i * nOutStride;
      const T* __restrict s = pSuffix + static_cast<ptrdiff_t>(i - k0) * nWidth;
      const T* __restrict p = pPrefix + static_cast<ptrdiff_t>(i - k0 - 1) * nWidth;
      for (int32_t x = 0; x < nWidth; ++x)
        o[x] = Ext<P, T>(s[x], p[x]);
    }
  }
}

} // namespace

size_t ExtremeRowsWorkSize(int32_t nWidth, int32_t nHalf)
{
  return 2 * (static_cast<size_t>(nWidth) + 2 * static_cast<size_t>(nHalf));
}

size_t ExtremeColumnsWorkSize(int32_t nWidth, int32_t nHalf)
{
  return static_cast<size_t>(nWidth) * (1 + 2 * (2 * static_cast<size_t>(nHalf) + 1));
}

LSKX2_VECTOR_KERNEL void MaxRowsU8(const uint8_t* pIn, ptrdiff_t nInStride, uint8_t* pOut,
                                   ptrdiff_t nOutStride, int32_t nWidth, int32_t nHeight,
                                   int32_t nHalf, uint8_t* pWork)
{
  ExtremeRowsImpl<TpMaxPolicy>(pIn, nInStride, pOut, nOutStride, nWidth, nHeight, nHalf, pWork);
}

LSKX2_VECTOR_KERNEL void MinRowsU8(const uint8_t* pIn, ptrdiff_t nInStride, uint8_t* pOut,
                                   ptrdiff_t nOutStride, int32_t nWidth, int32_t nHeight,
                                   int32_t nHalf, uint8_t* pWork)
{
  ExtremeRowsImpl<TpMinPolicy>(pIn, nInStride, pOut, nOutStride, nWidth, nHeight, nHalf, pWork);
}

LSKX2_VECTOR_KERNEL void MaxColumnsU8(const uint8_t* pIn, ptrdiff_t nInStride, uint8_t* pOut,
                                      ptrdiff_t nOutStride, int32_t nWidth, int32_t nHeight,
                                      int32_t nHalf, uint8_t* pWork)
{
  ExtremeColumnsImpl<TpMaxPolicy>(pIn, nInStride, pOut, nOutStride, nWidth, nHeight, nHalf, pWork);
}

LSKX2_VECTOR_KERNEL void MinColumnsU8(const uint8_t* pIn, ptrdiff_t nInStride, uint8_t* pOut,
                                      ptrdiff_t nOutStride, int32_t nWidth, int32_t nHeight,
                                      int32_t nHalf, uint8_t* pWork)
{
  ExtremeColumnsImpl<TpMinPolicy>(pIn, nInStride, pOut, nOutStride, nWidth, nHeight, nHalf, pWork);
}

LSKX2_VECTOR_KERNEL void MaxRowsF32(const float* pIn, ptrdiff_t nInStride, float* pOut,
                                    ptrdiff_t nOutStride, int32_t nWidth, int32_t nHeight,
                                    int32_t nHalf, float* pWork)
{
  ExtremeRowsImpl<TpMaxPolicy>(pIn, nInStride, pOut, nOutStride, nWidth, nHeight, nHalf, pWork);
}

LSKX2_VECTOR_KERNEL void MinRowsF32(const float* pIn, ptrdiff_t nInStride, float* pOut,
                                    ptrdiff_t nOutStride, int32_t nWidth, int32_t nHeight,
                                    int32_t nHalf, float* pWork)
{
  ExtremeRowsImpl<TpMinPolicy>(pIn, nInStride, pOut, nOutStride, nWidth, nHeight, nHalf, pWork);
}

LSKX2_VECTOR_KERNEL void MaxColumnsF32(const float* pIn, ptrdiff_t nInStride, float* pOut,
                                       ptrdiff_t nOutStride, int32_t nWidth, int32_t nHeight,
                                       int32_t nHalf, float* pWork)
{
  ExtremeColumnsImpl<TpMaxPolicy>(pIn, nInStride, pOut, nOutStride, nWidth, nHeight, nHalf, pWork);
}

LSKX2_VECTOR_KERNEL void MinColumnsF32(const float* pIn, ptrdiff_t nInStride, float* pOut,
                                       ptrdiff_t nOutStride, int32_t nWidth, int32_t nHeight,
                                       int32_t nHalf, float* pWork)
{
  ExtremeColumnsImpl<TpMinPolicy>(pIn, nInStride, pOut, nOutStride, nWidth, nHeight, nHalf, pWork);
}

LSKX2_VECTOR_KERNEL bool HasNanOrNegativeZero(const float* pIn, ptrdiff_t nStride, int32_t nWidth,
                                              int32_t nHeight)
{
  for (int32_t y = 0; y < nHeight; ++y) {
    const float* r = pIn + y * nStride;
    uint32_t nFound = 0;
    for (int32_t x = 0; x < nWidth; ++x) {
      uint32_t u;
      std::memcpy(&u, r + x, sizeof(u));
      nFound |= static_cast<uint32_t>((u & 0x7FFFFFFFu) > 0x7F800000u) |
                static_cast<uint32_t>(u == 0x80000000u);
    }
    if (nFound)
      return true;
  }
  return false;
}
