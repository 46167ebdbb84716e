#pragma once
// Row walks shared by the typed loops of the 1-to-1 operators: width times planes
// samples per row, rows stepped by LineElements() of each image.
#include "model/FpImage.h"
#include "imaging/operators/ByteTable.h"
#include "imaging/operators/OperatorKernels.h"
#include "imaging/SampleConvert.h"
#include "base/Exceptions.h"

#include <algorithm>
#include <cstdint>

template <class T, class F>
inline void TransformRows(const ClImage& in, ClImage& out, F f)
{
  const T* pSrc = in.Pixels<T>();
  T* pDst = out.Pixels<T>();
  if (!pSrc || !pDst)
    return;
  const int32_t nRows = std::min(in.Height(), out.Height());
  const int64_t nCount =
      std::min<int64_t>(int64_t(in.Width()) * in.Planes(), int64_t(out.Width()) * out.Planes());
  const ptrdiff_t nInStride = in.LineElements(), nOutStride = out.LineElements();
  for (int32_t y = 0; y < nRows; ++y, pSrc += nInStride, pDst += nOutStride)
    for (int64_t x = 0; x < nCount; ++x)
      pDst[x] = f(pSrc[x]);
}

// "uint8" rows through a 256-entry table.
inline void MapRows(const ClImage& in, ClImage& out, const uint8_t* pTable)
{
  const uint8_t* pSrc = in.Data();
  uint8_t* pDst = out.Data();
  if (!pSrc || !pDst)
    return;
  ClByteTable map;
  map.Analyze(pTable);
  const int32_t nRows = std::min(in.Height(), out.Height());
  const int64_t nCount =
      std::min<int64_t>(int64_t(in.Width()) * in.Planes(), int64_t(out.Width()) * out.Planes());
  const ptrdiff_t nInStride = in.LineBytes(), nOutStride = out.LineBytes();
  for (int32_t y = 0; y < nRows; ++y, pSrc += nInStride, pDst += nOutStride)
    map.Map(pSrc, pDst, nCount);
}

// The output's range ends, smaller first.
inline void SortedRange(const ClImage& image, double& dMin, double& dMax)
{
  dMin = image.MinValue();
  dMax = image.MaxValue();
  if (dMax < dMin)
    std::swap(dMin, dMax);
}

// Limited to [dMin, dMax]; a NaN end limits nothing.
inline double LimitTo(double dValue, double dMin, double dMax)
{
  if (dValue < dMin)
    dValue = dMin;
  if (dValue > dMax)
    dValue = dMax;
  return dValue;
}

// The two-input templates read input 2 over input 1's size.
inline void CheckSameSize(const ClImage& in1, const ClImage& in2)
{
  if (in1.Width() != in2.Width() || in1.Height() != in2.Height())
    LSKX2_THROW_MSG("Input images must not differ in size.", eErrInvalidParameter);
}

// Row by row over single-plane images, width samples a row: f(pA, pB, pOut, nWidth).
// Input and output may be one image.
template <class TA, class TB, class TO, class F>
inline void CombineImages(const ClImage& in1, const ClImage& in2, ClImage& out, F f)
{
  const TA* pA = in1.Pixels<TA>();
  const TB* pB = in2.Pixels<TB>();
  TO* pO = out.Pixels<TO>();
  if (!pA || !pB || !pO)
    return;
  const int32_t nWidth = in1.Width();
  const ptrdiff_t nA = in1.LineElements(), nB = in2.LineElements(), nO = out.LineElements();
  for (int32_t y = 0; y < in1.Height(); ++y, pA += nA, pB += nB, pO += nO)
    f(pA, pB, pO, nWidth);
}

// f(pIn, pOut, nWidth) for each row.
template <class TI, class TO, class F>
inline void TransformImage(const ClImage& in, ClImage& out, F f)
{
  const TI* pI = in.Pixels<TI>();
  TO* pO = out.Pixels<TO>();
  if (!pI || !pO)
    return;
  const int32_t nWidth = in.Width();
  const ptrdiff_t nI = in.LineElements(), nO = out.LineElements();
  for (int32_t y = 0; y < in.Height(); ++y, pI += nI, pO += nO)
    f(pI, pO, nWidth);
}
