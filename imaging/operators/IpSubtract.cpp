#include "imaging/operators/IpSubtract.h"

#include "model/FpImage.h"
#include "imaging/TpDispatch.h"
#include "imaging/operators/OperatorKernels.h"
#include "imaging/operators/OperatorRows.h"

#include <cmath>
#include <type_traits>

namespace {

const char s_aRangeChoices[] = "DataDependent\0InputDependent\0UserDependent\0";
const int32_t s_anRangeValues[] = {DataDependent, InputDependent, UserDependent};

// Combines the overlap: equal plane counts sample by sample, input 2 with one plane
// against each of three planes of input 1; other pairs do nothing.
template <class T1, class T2, class T3, class F>
void CombineRows(const T1* pA, int32_t nStrideA, const T2* pB, int32_t nStrideB, T3* pO,
                 int32_t nStrideO, int32_t nWidth, int32_t nHeight, uint32_t nPlanes1,
                 uint32_t nPlanes2, F f)
{
  if (nPlanes1 == nPlanes2) {
    const int64_t n = int64_t(nWidth) * nPlanes1;
    for (int32_t y = 0; y < nHeight; ++y, pA += nStrideA, pB += nStrideB, pO += nStrideO)
      for (int64_t i = 0; i < n; ++i)
        pO[i] = f(pA[i], pB[i]);
  } else if (nPlanes1 == 3 && nPlanes2 == 1) {
    for (int32_t y = 0; y < nHeight; ++y, pA += nStrideA, pB += nStrideB, pO += nStrideO)
      for (int32_t x = 0; x < nWidth; ++x) {
        const T2 b = pB[x];
        pO[3 * x] = f(pA[3 * x], b);
        pO[3 * x + 1] = f(pA[3 * x + 1], b);
        pO[3 * x + 2] = f(pA[3 * x + 2], b);
      }
  }
}

// Rows of n samples that follow one another without padding in all three images are one
// row of all of them: a single kernel call instead of one per row.
template <class TGeometry>
void JoinRows(const TGeometry& g, int64_t& n, int32_t& nRows)
{
  if (g.nIn1Stride == n && g.nIn2Stride == n && g.nOutStride == n) {
    n *= nRows;
    nRows = nRows > 0 ? 1 : 0;
  }
}

// A range of exactly 256 whole values starting at an integer: a table built over it
// covers every byte.
bool FullByteRange(const ClImage& image, int32_t& nMin)
{
  const double dMin = image.MinValue(), dMax = image.MaxValue();
  if (!(dMin == std::floor(dMin)) || !(dMax - dMin == 255.0) || std::fabs(dMin) > 65536)
    return false;
  nMin = static_cast<int32_t>(dMin);
  return true;
}

// Integer d below dLimit, as a limit on whole numbers; NaN never limits.
int32_t LowLimitOf(double dLimit)
{
  if (std::isnan(dLimit) || dLimit < -1e6)
    return -1000000;
  return dLimit > 1e6 ? 1000000 : static_cast<int32_t>(std::ceil(dLimit));
}

int32_t HighLimitOf(double dLimit)
{
  if (std::isnan(dLimit) || dLimit > 1e6)
    return 1000000;
  return dLimit < -1e6 ? -1000000 : static_cast<int32_t>(std::floor(dLimit));
}

template <class T>
T LimitOf(double dValue)
{
  return TruncToSample<T>(dValue);
}

} // namespace

ClIpSubtract::ClIpSubtract() { SetDefaultParameters(); }

void ClIpSubtract::DescribeArguments(ClProcessorArguments& a)
{
  ClIp2to1Base::DescribeArguments(a);
  a.Double(&m_dLowerBound, "LowerBound", "LowerBound", "In: Lower Bound", 0, -2147483648.0,
           2147483647.0);
  a.Double(&m_dUpperBound, "UpperBound", "UpperBound", "In: Upper Bound", 0, -2147483648.0,
           2147483647.0);
  a.Choice(&m_eDataRangeType, "Data Output Range", "Data Output Range", "In: Data Output Range",
           DataDependent, s_aRangeChoices, s_anRangeValues);
}

double ClIpSubtract::ProcessPixels(ClImage*, ClImage*, ClImage* pOut, double dValue1,
                                   double dValue2)
{
  double dMin, dMax;
  SortedRange(*pOut, dMin, dMax);
  return LimitTo(dValue1 - dValue2, dMin, dMax);
}

int32_t ClIpSubtract::ProcessImages(ClImage* pIn1, ClImage* pIn2, ClImage* pOut,
                                    int32_t nOverlapWidth, int32_t nOverlapHeight,
                                    uint32_t nPlanes1, uint32_t nPlanes2, int32_t nIn1Start,
                                    int32_t nIn1Stride, int32_t nIn2Start, int32_t nIn2Stride,
                                    int32_t nOutStart, int32_t nOutStride)
{
  const ClGeometry g{nOverlapWidth, nOverlapHeight, nPlanes1,   nPlanes2,  nIn1Start,
                     nIn1Stride,    nIn2Start,      nIn2Stride, nOutStart, nOutStride};
  const bool bTable = pIn2->DataType() == eUInt8 && pIn1->SampleSize() == 1 &&
                      int64_t(nOverlapWidth) * int64_t(nOverlapHeight) > s_nTableMinimum;
  if (bTable && SampleTypeIndex(pOut->DataType()) >= 0)
    return TablePath(*pIn1, *pIn2, *pOut, g);
  return DispatchTypes(pIn1->DataType(), pIn2->DataType(), pOut->DataType(),
                       [&](auto a, auto b, auto c) {
                         return DirectLoop<typename decltype(a)::Type, typename decltype(b)::Type,
                                           typename decltype(c)::Type>(*pIn1, *pIn2, *pOut, g);
                       });
}

int32_t ClIpSubtract::TablePath(ClImage& in1, ClImage& in2, ClImage& out, const ClGeometry& g)
{
  if (g.nWidth <= 0 || g.nHeight <= 0)
    return 0;
  // Bytes of input 1 index the table as they stand, signed or not.
  const uint8_t* pA = in1.Data() + g.nIn1Start;
  const uint8_t* pB = in2.Data() + g.nIn2Start;
  int32_t nMin1 = 0, nMin2 = 0;
  if (out.DataType() == eUInt8 && g.nPlanes1 == g.nPlanes2 && FullByteRange(in1, nMin1) &&
      FullByteRange(in2, nMin2)) {
    // Every entry (a, b) would hold ProcessPixels(a + min1, b + min2) cut to a byte: the
    // same rule is applied directly, with the range's ends as limits on whole numbers.
    double dLow, dHigh;
    SortedRange(out, dLow, dHigh);
    const int32_t nLow = LowLimitOf(dLow), nHigh = HighLimitOf(dHigh);
    const uint8_t nLowValue = TruncToSample<uint8_t>(dLow),
                  nHighValue = TruncToSample<uint8_t>(dHigh);
    uint8_t* pO = out.Data() + g.nOutStart;
    int64_t n = int64_t(g.nWidth) * g.nPlanes1;
    int32_t nRows = g.nHeight;
    JoinRows(g, n, nRows);
    for (int32_t y = 0; y < nRows; ++y, pA += g.nIn1Stride, pB += g.nIn2Stride, pO += g.nOutStride)
      SubtractLimitedU8(pA, pB, pO, n, nMin1, nMin2, nLow, nLowValue, nHigh, nHighValue);
    return 0;
  }
  m_aLookUp.assign(65536, 0);
  const double dMin1 = in1.MinValue(), dMax1 = in1.MaxValue();
  const double dMin2 = in2.MinValue(), dMax2 = in2.MaxValue();
  for (double a = dMin1; a <= dMax1 && a - dMin1 < 256; a += 1)
    for (double b = dMin2; b <= dMax2 && b - dMin2 < 256; b += 1)
      m_aLookUp[size_t(a - dMin1) * 256 + size_t(b - dMin2)] =
          TruncToSample<uint8_t>(ProcessPixels(&in1, &in2, &out, a, b));
  const uint8_t* pTable = m_aLookUp.data();
  return DispatchType(out.DataType(), [&](auto c) {
    using T3 = typename decltype(c)::Type;
    CombineRows(pA, g.nIn1Stride, pB, g.nIn2Stride, out.Pixels<T3>() + g.nOutStart, g.nOutStride,
                g.nWidth, g.nHeight, g.nPlanes1, g.nPlanes2, [pTable](uint8_t x, uint8_t y) {
                  return static_cast<T3>(pTable[size_t(x) * 256 + y]);
                });
    return 0;
  });
}

template <class T1, class T2, class T3>
int32_t ClIpSubtract::DirectLoop(ClImage& in1, ClImage& in2, ClImage& out, const ClGeometry& g)
{
  double dLower, dUpper;
  switch (m_eDataRangeType) {
  case InputDependent:
    dLower = in1.MinValue() - in2.MaxValue();
    dUpper = in1.MaxValue() - in2.MinValue();
    break;
  case UserDependent:
    dLower = m_dLowerBound;
    dUpper = m_dUpperBound;
    break;
  default:
    SortedRange(out, dLower, dUpper);
    break;
  }
  const T3 lo = LimitOf<T3>(dLower);
  const T3 hi = LimitOf<T3>(dUpper);
  if (m_eDataRangeType == UserDependent) {
    out.SetMinValue(static_cast<double>(lo));
    out.SetMaxValue(static_cast<double>(hi));
  }
  if (g.nWidth <= 0 || g.nHeight <= 0)
    return 0;
  const T1* pA = in1.Pixels<T1>() + g.nIn1Start;
  const T2* pB = in2.Pixels<T2>() + g.nIn2Start;
  T3* pO = out.Pixels<T3>() + g.nOutStart;
  if constexpr (std::is_same<T1, uint8_t>::value && std::is_same<T2, uint8_t>::value &&
                std::is_same<T3, uint8_t>::value) {
    if (g.nPlanes1 == g.nPlanes2) {
      // A negative difference or one below lo gives lo: with lo at least 0 that is "below lo".
      int64_t n = int64_t(g.nWidth) * g.nPlanes1;
      int32_t nRows = g.nHeight;
      JoinRows(g, n, nRows);
      for (int32_t y = 0; y < nRows;
           ++y, pA += g.nIn1Stride, pB += g.nIn2Stride, pO += g.nOutStride)
        SubtractLimitedU8(pA, pB, pO, n, 0, 0, lo, lo, hi, hi);
      return 0;
    }
  }
  constexpr bool bFloat = std::is_floating_point<T1>::value || std::is_floating_point<T2>::value;
  const double dLo = static_cast<double>(lo), dHi = static_cast<double>(hi);
  CombineRows(pA, g.nIn1Stride, pB, g.nIn2Stride, pO, g.nOutStride, g.nWidth, g.nHeight, g.nPlanes1,
              g.nPlanes2, [=](T1 a, T2 b) -> T3 {
                double d;
                if constexpr (bFloat)
                  d = static_cast<double>(a) - static_cast<double>(b);
                else // 32 bits, wrapping
                  d = static_cast<double>(
                      WrapSub(static_cast<int32_t>(a), static_cast<int32_t>(b)));
                if (d < 0 || d < dLo)
                  return lo;
                if (d > dHi)
                  return hi;
                return ConvertSample<T3>(d);
              });
  return 0;
}
