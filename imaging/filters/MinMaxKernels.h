#pragma once
// Running maximum and minimum along lines, with the rescan rule: the extreme value is
// kept while the window moves and searched anew only when it leaves the window.
#include <cstddef>
#include <cstdint>

struct TpMaxPolicy
{
  // "Not below": an entering sample at least as large becomes the running value.
  template <class T>
  static bool Takes(T e, T v)
  {
    return !(e < v);
  }
  template <class T>
  static bool Beyond(T a, T b)
  {
    return a > b;
  }
};

struct TpMinPolicy
{
  template <class T>
  static bool Takes(T e, T v)
  {
    return !(e > v);
  }
  template <class T>
  static bool Beyond(T a, T b)
  {
    return a < b;
  }
};

// Window of nHalf to each side, clipped to the line. A line shorter than the window,
// which the filters' size checks keep away, is scanned window by window.
template <class P, class T>
inline void ExtremeLine(const T* pIn, ptrdiff_t nInStep, T* pOut, ptrdiff_t nOutStep,
                        int32_t nCount, int32_t nHalf)
{
  if (nCount <= 0)
    return;
  if (nHalf < 0)
    nHalf = 0;
  if (nCount < 2 * nHalf + 1) {
    for (int32_t i = 0; i < nCount; ++i) {
      const int32_t a = i - nHalf < 0 ? 0 : i - nHalf;
      const int32_t b = i + nHalf >= nCount ? nCount - 1 : i + nHalf;
      T v = pIn[a * nInStep];
      for (int32_t j = a + 1; j <= b; ++j)
        if (P::Takes(pIn[j * nInStep], v))
          v = pIn[j * nInStep];
      pOut[i * nOutStep] = v;
    }
    return;
  }
  T v = pIn[0];
  for (int32_t j = 1; j < nHalf; ++j)
    if (P::Takes(pIn[j * nInStep], v))
      v = pIn[j * nInStep];
  int32_t n = nHalf;
  int32_t i = 0;
  for (; i <= nHalf; ++i) {
    const T e = pIn[(i + nHalf) * nInStep];
    if (P::Takes(e, v))
      v = e;
    ++n;
    pOut[i * nOutStep] = v;
  }
  const int32_t nEnd = nCount - nHalf;
  for (; i < nEnd; ++i) {
    const T e = pIn[(i + nHalf) * nInStep];
    const T l = pIn[(i - nHalf - 1) * nInStep];
    if (P::Takes(e, v)) {
      v = e;
    } else if (l == v && P::Beyond(l, e)) {
      v = e;
      const T* p = pIn + (i - nHalf) * nInStep;
      for (int32_t k = 0; k < n - 1; ++k, p += nInStep)
        if (P::Takes(*p, v))
          v = *p;
    }
    pOut[i * nOutStep] = v;
  }
  for (; i < nCount; ++i) {
    const T l = pIn[(i - nHalf - 1) * nInStep];
    if (l == v) {
      const T* p = pIn + (i - nHalf) * nInStep;
      v = *p;
      for (int32_t k = 1; k < n - 1; ++k)
        if (P::Takes(p[k * nInStep], v))
          v = p[k * nInStep];
    }
    --n;
    pOut[i * nOutStep] = v;
  }
}

// Vectorized extremes, identical to ExtremeLine on every line free of NaN and negative
// zero. Rows: each row by itself. Columns: down the columns, all at once. Work buffers
// hold ExtremeRowsWorkSize / ExtremeColumnsWorkSize elements.
size_t ExtremeRowsWorkSize(int32_t nWidth, int32_t nHalf);
size_t ExtremeColumnsWorkSize(int32_t nWidth, int32_t nHalf);
void MaxRowsU8(const uint8_t* pIn, ptrdiff_t nInStride, uint8_t* pOut, ptrdiff_t nOutStride,
               int32_t nWidth, int32_t nHeight, int32_t nHalf, uint8_t* pWork);
void MinRowsU8(const uint8_t* pIn, ptrdiff_t nInStride, uint8_t* pOut, ptrdiff_t nOutStride,
               int32_t nWidth, int32_t nHeight, int32_t nHalf, uint8_t* pWork);
void MaxColumnsU8(const uint8_t* pIn, ptrdiff_t nInStride, uint8_t* pOut, ptrdiff_t nOutStride,
                  int32_t nWidth, int32_t nHeight, int32_t nHalf, uint8_t* pWork);
void MinColumnsU8(const uint8_t* pIn, ptrdiff_t nInStride, uint8_t* pOut, ptrdiff_t nOutStride,
                  int32_t nWidth, int32_t nHeight, int32_t nHalf, uint8_t* pWork);
void MaxRowsF32(const float* pIn, ptrdiff_t nInStride, float* pOut, ptrdiff_t nOutStride,
                int32_t nWidth, int32_t nHeight, int32_t nHalf, float* pWork);
void MinRowsF32(const float* pIn, ptrdiff_t nInStride, float* pOut, ptrdiff_t nOutStride,
                int32_t nWidth, int32_t nHeight, int32_t nHalf, float* pWork);
void MaxColumnsF32(const float* pIn, ptrdiff_t nInStride, float* pOut, ptrdiff_t nOutStride,
                   int32_t nWidth, int32_t nHeight, int32_t nHalf, float* pWork);
void MinColumnsF32(const float* pIn, ptrdiff_t nInStride, float* pOut, ptrdiff_t nOutStride,
                   int32_t nWidth, int32_t nHeight, int32_t nHalf, float* pWork);
// True when a sample is NaN or negative zero: there the rescan walk must run.
bool HasNanOrNegativeZero(const float* pIn, ptrdiff_t nStride, int32_t nWidth, int32_t nHeight);
