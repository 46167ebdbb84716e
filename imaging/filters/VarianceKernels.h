#pragma once
// Local sample variance of a clipped square window. Sums, squares and the division are
// carried out in the output's sample type, step by step, so that a narrow integer output
// wraps as it would in a table of that type.
#include "imaging/filters/WindowWalk.h"
#include "imaging/SampleConvert.h"

#include <cstddef>
#include <cstdint>
#include <type_traits>

template <class TOut>
struct TpVarianceRing
{
  // nRingRows rows of nWidth values each for the row pass results of the rows in the
  // vertical window, and one running sum per column for each of the two quantities.
  TOut* pRowSums;
  TOut* pRowSquares;
  TOut* pColSums;
  TOut* pColSquares;
  int32_t nRingRows;
};

template <class TOut>
inline TOut VarianceOf(TOut s, TOut q, int32_t nSamples)
{
  const TOut n = TruncToSample<TOut>(nSamples);
  const TOut n1 = TruncToSample<TOut>(nSamples - 1);
  if constexpr (std::is_floating_point<TOut>::value) {
    return (q - s * s / n) / n1;
  } else {
    // An integer division by a count that wrapped to 0 has no result; 0 stands for it.
    if (n == 0 || n1 == 0)
      return TOut(0);
    const TOut t = static_cast<TOut>(WrapMul(s, s) / n);
    return static_cast<TOut>(WrapSub(q, t) / n1);
  }
}

template <class TIn, class TOut>
inline void VarianceRowPass(const TIn* pIn, int32_t nWidth, int32_t nHalf, TOut* pSums,
                            TOut* pSquares)
{
  struct Visitor
  {
    const TIn* p;
    TOut* ps;
    TOut* pq;
    TOut s;
    TOut q;
    void Add(int32_t j)
    {
      const TOut v = TruncToSample<TOut>(static_cast<double>(p[j]));
      s = WrapAdd(s, v);
      q = WrapAdd(q, WrapMul(v, v));
    }
    void Sub(int32_t j)
    {
      const TOut v = TruncToSample<TOut>(static_cast<double>(p[j]));
      s = WrapSub(s, v);
      q = WrapSub(q, WrapMul(v, v));
    }
    void Store(int32_t i, int32_t)
    {
      ps[i] = s;
      pq[i] = q;
    }
    void StoreFull(int32_t i)
    {
      ps[i] = s;
      pq[i] = q;
    }
  } v{pIn, pSums, pSquares, TOut(0), TOut(0)};
  WalkWindow(nWidth, nHalf, v);
}

// ring.nRingRows: the smaller of 2 * nHalf + 1 and the height.
template <class TIn, class TOut>
inline void VarianceImage(const TIn* pIn, ptrdiff_t nInStride, TOut* pOut, ptrdiff_t nOutStride,
                          int32_t nWidth, int32_t nHeight, int32_t nHalf, TpVarianceRing<TOut> ring)
{
  if (nHalf < 0)
    nHalf = 0;
  struct Visitor
  {
    const TIn* pIn;
    ptrdiff_t nInStride;
    TOut* pOut;
    ptrdiff_t nOutStride;
    int32_t nWidth;
    int32_t nHalf;
    int32_t nHeight;
    TpVarianceRing<TOut> r;
    TOut* RingSums(int32_t y)
    {
      return r.pRowSums + static_cast<ptrdiff_t>(y % r.nRingRows) * nWidth;
    }
    TOut* RingSquares(int32_t y)
    {
      return r.pRowSquares + static_cast<ptrdiff_t>(y % r.nRingRows) * nWidth;
    }
    void Add(int32_t j)
    {
      TOut* s = RingSums(j);
      TOut* q = RingSquares(j);
      VarianceRowPass<TIn, TOut>(pIn + j * nInStride, nWidth, nHalf, s, q);
      for (int32_t x = 0; x < nWidth; ++x) {
        r.pColSums[x] = WrapAdd(r.pColSums[x], s[x]);
        r.pColSquares[x] = WrapAdd(r.pColSquares[x], q[x]);
      }
    }
    void Sub(int32_t j)
    {
      const TOut* s = RingSums(j);
      const TOut* q = RingSquares(j);
      for (int32_t x = 0; x < nWidth; ++x) {
        r.pColSums[x] = WrapSub(r.pColSums[x], s[x]);
        r.pColSquares[x] = WrapSub(r.pColSquares[x], q[x]);
      }
    }
    void Emit(int32_t y, int32_t nRows)
    {
      // Samples in the window: the clipped horizontal count times the rows.
      TOut* o = pOut + y * nOutStride;
      for (int32_t x = 0; x < nWidth; ++x) {
        const int32_t a = x - nHalf < 0 ? 0 : x - nHalf;
        const int32_t b = x + nHalf >= nWidth ? nWidth - 1 : x + nHalf;
        o[x] = VarianceOf<TOut>(r.pColSums[x], r.pColSquares[x], (b - a + 1) * nRows);
      }
    }
    void Store(int32_t y, int32_t n) { Emit(y, n); }
    void StoreFull(int32_t y) { Emit(y, 2 * nHalf + 1); }
  };
  for (int32_t x = 0; x < nWidth; ++x) {
    ring.pColSums[x] = TOut(0);
    ring.pColSquares[x] = TOut(0);
  }
  Visitor v{pIn, nInStride, pOut, nOutStride, nWidth, nHalf, nHeight, ring};
  WalkWindow(nHeight, nHalf, v);
}

// Fast paths for "uint8" input into "float32" and "double64" outputs, valid when
// VarianceU8IsExact answers true for the half width. pWork: 2 * width words.
bool VarianceU8IsExact(int32_t nHalf, bool bDouble);
void VarianceU8ToF32(const uint8_t* pIn, ptrdiff_t nInStride, float* pOut, ptrdiff_t nOutStride,
                     int32_t nWidth, int32_t nHeight, int32_t nHalf, uint64_t* pWork);
void VarianceU8ToF64(const uint8_t* pIn, ptrdiff_t nInStride, double* pOut, ptrdiff_t nOutStride,
                     int32_t nWidth, int32_t nHeight, int32_t nHalf, uint64_t* pWork);
