#pragma once
// Running-window mean kernels on raw row pointers, shared by ClIpFilterMid and
// ClTpIpFilterMid. Every output costs a fixed number of operations whatever the window.
#include "imaging/filters/WindowWalk.h"

#include <cstddef>
#include <cstdint>
#include <type_traits>

// How ClIpFilterMid sums one sample type along a line: unsigned sums with a bias that
// moves signed samples into the unsigned range, undone on the low bits of the quotient;
// floating samples in a 64-bit float without a rounding term.
template <class S>
struct TpMeanSample
{
  static constexpr bool bFloat = std::is_floating_point<S>::value;
  using U = typename std::conditional<
      bFloat, S,
      typename std::make_unsigned<typename std::conditional<bFloat, int, S>::type>::type>::type;
  using Acc = typename std::conditional<
      bFloat, double, typename std::conditional<(sizeof(S) == 1), uint32_t, uint64_t>::type>::type;
  static constexpr U Bias()
  {
    if constexpr (bFloat || std::is_unsigned<S>::value)
      return U(0);
    else
      return static_cast<U>(U(1) << (sizeof(S) * 8 - 1));
  }
  static Acc Load(S s)
  {
    if constexpr (bFloat)
      return static_cast<Acc>(s);
    else
      return static_cast<Acc>(static_cast<U>(static_cast<U>(s) + Bias()));
  }
  static S Save(Acc q)
  {
    if constexpr (bFloat)
      return static_cast<S>(q);
    else
      return static_cast<S>(static_cast<U>(static_cast<U>(q) + Bias()));
  }
};

// One line of the ClIpFilterMid walk: the sum starts with the rounding term (the half
// width; none for floating samples), a window of n samples near the ends divides by n, a
// full window by nWidth, which exceeds the 2 * half + 1 samples for an even width.
template <class S>
struct TpMeanLineVisitor
{
  using Tr = TpMeanSample<S>;
  using Acc = typename Tr::Acc;
  const S* pIn;
  S* pOut;
  ptrdiff_t nInStep;
  ptrdiff_t nOutStep;
  Acc nSum;
  Acc nFullDivisor;

  void Add(int32_t j) { nSum += Tr::Load(pIn[j * nInStep]); }
  void Sub(int32_t j) { nSum -= Tr::Load(pIn[j * nInStep]); }
  void Store(int32_t i, int32_t n) { pOut[i * nOutStep] = Tr::Save(nSum / static_cast<Acc>(n)); }
  void StoreFull(int32_t i) { pOut[i * nOutStep] = Tr::Save(nSum / nFullDivisor); }
};

template <class S>
inline void MeanLineRounded(const S* pIn, ptrdiff_t nInStep, S* pOut, ptrdiff_t nOutStep,
                            int32_t nCount, int32_t nWidth)
{
  using Tr = TpMeanSample<S>;
  const int32_t nHalf = nWidth / 2;
  TpMeanLineVisitor<S> v{pIn,
                         pOut,
                         nInStep,
                         nOutStep,
                         static_cast<typename Tr::Acc>(Tr::bFloat ? 0 : nHalf),
                         static_cast<typename Tr::Acc>(nWidth)};
  WalkWindow(nCount, nHalf, v);
}

// The same walk down the columns, all columns at once so that rows are read in memory
// order. pAcc: one sum per column.
template <class S>
struct TpMeanColumnsVisitor
{
  using Tr = TpMeanSample<S>;
  using Acc = typename Tr::Acc;
  const S* pIn;
  S* pOut;
  ptrdiff_t nInStride;
  ptrdiff_t nOutStride;
  int32_t nWidth;
  Acc* pAcc;
  Acc nFullDivisor;

  void Add(int32_t j)
  {
    const S* r = pIn + j * nInStride;
    for (int32_t x = 0; x < nWidth; ++x)
      pAcc[x] += Tr::Load(r[x]);
  }
  void Sub(int32_t j)
  {
    const S* r = pIn + j * nInStride;
    for (int32_t x = 0; x < nWidth; ++x)
      pAcc[x] -= Tr::Load(r[x]);
  }
  void Divide(int32_t i, Acc d)
  {
    S* r = pOut + i * nOutStride;
    for (int32_t x = 0; x < nWidth; ++x)
      r[x] = Tr::Save(pAcc[x] / d);
  }
  void Store(int32_t i, int32_t n) { Divide(i, static_cast<Acc>(n)); }
  void StoreFull(int32_t i) { Divide(i, nFullDivisor); }
};

template <class S>
inline void MeanColumnsRounded(const S* pIn, ptrdiff_t nInStride, S* pOut, ptrdiff_t nOutStride,
                               int32_t nImgWidth, int32_t nImgHeight, int32_t nWidth,
                               typename TpMeanSample<S>::Acc* pAcc)
{
  using Tr = TpMeanSample<S>;
  const int32_t nHalf = nWidth / 2;
  for (int32_t x = 0; x < nImgWidth; ++x)
    pAcc[x] = static_cast<typename Tr::Acc>(Tr::bFloat ? 0 : nHalf);
  TpMeanColumnsVisitor<S> v{
      pIn, pOut, nInStride, nOutStride, nImgWidth, pAcc, static_cast<typename Tr::Acc>(nWidth)};
  WalkWindow(nImgHeight, nHalf, v);
}

// Window sums of a clipped 2-D window through one running sum per column: for each output
// row, sink.Row(y, pSums, nRows) gets the window sum of every column and the number of
// rows in the window; the number of columns follows from the column index. pColSums and
// pRowSums hold nWidth values each.
template <class T, class Intern, class Sink>
inline void BoxSums2D(const T* pIn, ptrdiff_t nInStride, int32_t nWidth, int32_t nHeight,
                      int32_t nHalfX, int32_t nHalfY, Intern* pColSums, Intern* pRowSums,
                      Sink& sink)
{
  struct RowVisitor
  {
    const Intern* pCs;
    Intern* pRs;
    Intern s;
    void Add(int32_t j) { s += pCs[j]; }
    void Sub(int32_t j) { s -= pCs[j]; }
    void Store(int32_t i, int32_t) { pRs[i] = s; }
    void StoreFull(int32_t i) { pRs[i] = s; }
  };
  struct ColumnVisitor
  {
    const T* pIn;
    ptrdiff_t nStride;
    int32_t nWidth;
    int32_t nHalfX;
    Intern* cs;
    Intern* rs;
    Sink& sink;
    int32_t nFull;
    void Add(int32_t j)
    {
      const T* r = pIn + j * nStride;
      for (int32_t x = 0; x < nWidth; ++x)
        cs[x] += static_cast<Intern>(r[x]);
    }
    void Sub(int32_t j)
    {
      const T* r = pIn + j * nStride;
      for (int32_t x = 0; x < nWidth; ++x)
        cs[x] -= static_cast<Intern>(r[x]);
    }
    void Emit(int32_t y, int32_t n)
    {
      RowVisitor rv{cs, rs, Intern(0)};
      WalkWindow(nWidth, nHalfX, rv);
      sink.Row(y, rs, n);
    }
    void Store(int32_t y, int32_t n) { Emit(y, n); }
    void StoreFull(int32_t y) { Emit(y, nFull); }
  };
  for (int32_t x = 0; x < nWidth; ++x)
    pColSums[x] = Intern(0);
  ColumnVisitor cv{pIn,      nInStride, nWidth, nHalfX,
                   pColSums, pRowSums,  sink,   2 * (nHalfY < 0 ? 0 : nHalfY) + 1};
  WalkWindow(nHeight, nHalfY, cv);
}

// 3 by 3 mean of an image at least 2 by 2, division-free: corners (sum + 2) >> 2, edges
// ((sum + 3) * 682) >> 12, inside ((sum + 4) * 455) >> 12. pWork: width + 2 words.
void Mean3x3FixedU8(const uint8_t* pIn, ptrdiff_t nInStride, uint8_t* pOut, ptrdiff_t nOutStride,
                    int32_t nWidth, int32_t nHeight, uint16_t* pWork);

// Mean of a clipped window, the window sum divided by the number of samples in it,
// truncated. pWork: 2 * width values.
void BoxMeanU8(const uint8_t* pIn, ptrdiff_t nInStride, uint8_t* pOut, ptrdiff_t nOutStride,
               int32_t nWidth, int32_t nHeight, int32_t nHalfX, int32_t nHalfY, uint32_t* pWork);
void BoxMeanF32(const float* pIn, ptrdiff_t nInStride, float* pOut, ptrdiff_t nOutStride,
                int32_t nWidth, int32_t nHeight, int32_t nHalfX, int32_t nHalfY, double* pWork);

// The ClIpFilterMid "uint8" line with the full-window division made a multiplication.
void MeanLineRoundedU8(const uint8_t* pIn, uint8_t* pOut, int32_t nCount, int32_t nWidth);
