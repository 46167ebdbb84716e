#include "imaging/Ip2to1Base.h"

#include "model/FpImage.h"
#include "imaging/OutImageType.h"
#include "imaging/TpDispatch.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace {

// Pastes src into target at (nCol, nRow) with conversion to the target's type. Equal
// plane counts copy straight, one plane into three is written three times, anything
// else copies nothing. What would fall outside the target is clipped.
template <class TS, class TT>
void Paste(const ClImage& src, ClImage& target, int64_t nCol, int64_t nRow)
{
  const uint32_t nPlanesS = src.Planes(), nPlanesT = target.Planes();
  const bool bStraight = nPlanesS == nPlanesT;
  if (!bStraight && !(nPlanesS == 1 && nPlanesT == 3))
    return;
  const int64_t nRows = std::min<int64_t>(src.Height(), target.Height() - nRow);
  const int64_t nCols = std::min<int64_t>(src.Width(), target.Width() - nCol);
  if (nRows <= 0 || nCols <= 0)
    return;
  const int32_t nStrideS = src.LineElements(), nStrideT = target.LineElements();
  const TS* pS = src.Pixels<TS>();
  TT* pT = target.Pixels<TT>() + nRow * nStrideT + nCol * nPlanesT;
  for (int64_t y = 0; y < nRows; ++y, pS += nStrideS, pT += nStrideT) {
    if (bStraight) {
      for (int64_t i = 0; i < nCols * nPlanesS; ++i)
        pT[i] = ConvertSample<TT>(pS[i]);
    } else {
      for (int64_t x = 0; x < nCols; ++x)
        pT[3 * x] = pT[3 * x + 1] = pT[3 * x + 2] = ConvertSample<TT>(pS[x]);
    }
  }
}

// Combines the overlap sample by sample; input 2 with one plane against input 1 with
// three is applied to each of the three. Other unequal plane counts do nothing.
template <class T1, class T2, class T3, class F>
int32_t CombineLoop(const T1* pA, int32_t nStrideA, const T2* pB, int32_t nStrideB, T3* pO,
                    int32_t nStrideO, int32_t nWidth, int32_t nHeight, uint32_t nPlanes1,
                    uint32_t nPlanes2, F combine)
{
  if (nPlanes1 == nPlanes2) {
    const int64_t n = int64_t(nWidth) * nPlanes1;
    for (int32_t y = 0; y < nHeight; ++y, pA += nStrideA, pB += nStrideB, pO += nStrideO) {
      for (int64_t i = 0; i < n; ++i)
        pO[i] = combine(pA[i], pB[i]);
    }
  } else if (nPlanes1 == 3 && nPlanes2 == 1) {
    for (int32_t y = 0; y < nHeight; ++y, pA += nStrideA, pB += nStrideB, pO += nStrideO) {
      for (int32_t x = 0; x < nWidth; ++x) {
        const T2 b = pB[x];
        pO[3 * x] = combine(pA[3 * x], b);
        pO[3 * x + 1] = combine(pA[3 * x + 1], b);
        pO[3 * x + 2] = combine(pA[3 * x + 2], b);
      }
    }
  }
  return 0;
}

} // namespace

ClIp2to1Base::ClIp2to1Base() { SetDefaultParameters(); }

void ClIp2to1Base::DescribeArguments(ClProcessorArguments& a)
{
  using A = ClProcessorArguments;
  static const int32_t anTrueFalse[] = {1, 0};
  a.Image(&m_pInImage1, "InImage1", "pInImage1", "In1: Original Image", 1, 1, 1);
  a.Image(&m_pInImage2, "InImage2", "pInImage2", "In2: 2nd Original Image", 1, 1, 1);
  a.Image(&m_pOutImage, "OutImage", "pOutImage", "Out: Output Image", 1, 1, 2,
          A::eOut | A::eNoDefault);
  a.OutImageType(&m_eOutImageType, "OutImageType", "In: OutImage Datatype", eTypeDefault);
  a.Bool(&m_bSizeMustBeEqual, "SizeMustBeEqual", "SizeMustBeEqual", "Bool: Size must be equal",
         true, "true\0false\0", anTrueFalse, 3);
  a.Double(&m_dFillColor, "FillColor", "FillColor", "Double: Fillcolor for Offset-Images", 0, 0,
           255, A::eBindRange);
  a.Int32(&m_nOffsetX, "OffsetX", "OffsetX", "Long: Offset of Image2 to Image1 in x-direction", 0,
          -2147483648.0, 2147483647.0, A::eBindRange);
  a.Int32(&m_nOffsetY, "OffsetY", "OffsetY", "Long: Offset of Image2 to Image1 in y-direction", 0,
          -2147483648.0, 2147483647.0, A::eBindRange);
}

bool ClIp2to1Base::IsReady() const
{
  return m_pInImage1 && m_pInImage2 && m_pOutImage && m_pInImage1->Data() && m_pInImage2->Data();
}

int32_t ClIp2to1Base::Initialize()
{
  if (!IsReady())
    return eErrParamIsMissing;
  if (m_bSizeMustBeEqual &&
      (m_pInImage1->Width() != m_pInImage2->Width() ||
       m_pInImage1->Height() != m_pInImage2->Height() || m_nOffsetX != 0 || m_nOffsetY != 0))
    return eErrInvalidParameter;
  return 0;
}

template <class T1, class T2, class T3>
int32_t ClIp2to1Base::Setup(ClImage& target)
{
  const ClImage& in1 = *m_pInImage1;
  const ClImage& in2 = *m_pInImage2;
  const int64_t nAX = std::llabs(int64_t(m_nOffsetX)), nAY = std::llabs(int64_t(m_nOffsetY));
  const int64_t w1 = in1.Width(), h1 = in1.Height(), w2 = in2.Width(), h2 = in2.Height();
  const int64_t nOverlapW = std::min(w1, w2) - nAX;
  const int64_t nOverlapH = std::min(h1, h2) - nAY;
  const int64_t nOutW = m_nOffsetX >= 0 ? std::max(w1, w2) + nAX : std::max(w1 + nAX, w2);
  const int64_t nOutH = m_nOffsetY >= 0 ? std::max(h1, h2) + nAY : std::max(h1 + nAY, h2);
  if (nOutW > std::numeric_limits<int32_t>::max() || nOutH > std::numeric_limits<int32_t>::max())
    return eErrInvalidParameter;
  target.Create(TpDataType<T3>::value, int32_t(nOutW), int32_t(nOutH), in1.Planes(), in1.PelsX(),
                in1.PelsY(), true);

  const bool bShifted = w1 != w2 || h1 != h2 || m_nOffsetX != 0 || m_nOffsetY != 0;
  if (bShifted && target.Data()) {
    // The fill works on bytes, whatever the sample size.
    const uint32_t nPlanes = target.Planes();
    const int32_t nLineBytes = target.LineBytes();
    uint8_t* pRow = target.Data();
    if (nPlanes == 1) {
      const uint8_t nFill = TruncToSample<uint8_t>(m_dFillColor);
      for (int32_t y = 0; y < target.Height(); ++y, pRow += nLineBytes)
        std::memset(pRow, nFill, size_t(target.Width()));
    } else if (nPlanes <= 4) {
      uint8_t aFill[4];
      for (uint32_t p = 0; p < 4; ++p)
        aFill[p] = TruncToSample<uint8_t>(m_adFillPlanes[p]);
      for (int32_t y = 0; y < target.Height(); ++y, pRow += nLineBytes) {
        for (int32_t x = 0; x < target.Width(); ++x)
          for (uint32_t p = 0; p < nPlanes; ++p)
            pRow[size_t(x) * nPlanes + p] = aFill[p];
      }
    }
    // With both offsets negative input 2 lands where input 1 did: kept as it is.
    int64_t nCol = m_nOffsetX < 0 ? nAX : 0;
    int64_t nRow = m_nOffsetY < 0 ? nAY : 0;
    Paste<T1, T3>(in1, target, nCol, nRow);
    if (m_nOffsetX > 0)
      nCol += m_nOffsetX;
    if (m_nOffsetY > 0)
      nRow += m_nOffsetY;
    Paste<T2, T3>(in2, target, nCol, nRow);
  }

  m_nOverlapWidth = int32_t(nOverlapW);
  m_nOverlapHeight = int32_t(nOverlapH);
  m_nOutStart = m_nIn1Start = m_nIn2Start = 0;
  if (!bShifted || nOverlapW <= 0 || nOverlapH <= 0)
    return 0;
  m_nOutStart = int32_t(nAY * target.LineElements() + nAX * target.Planes());
  m_nIn2Start = int32_t((m_nOffsetX < 0 ? nAX * in2.Planes() : 0) +
                        (m_nOffsetY < 0 ? nAY * in2.LineElements() : 0));
  m_nIn1Start = int32_t((m_nOffsetX > 0 ? int64_t(m_nOffsetX) * in1.Planes() : 0) +
                        (m_nOffsetY > 0 ? int64_t(m_nOffsetY) * in1.LineElements() : 0));
  return 0;
}

int32_t ClIp2to1Base::Process()
{
  if (!IsReady())
    return eErrParamIsMissing;
  ClImage temp;
  ClImage* pTarget =
      (m_pOutImage == m_pInImage1 || m_pOutImage == m_pInImage2) ? &temp : m_pOutImage;
  const EDataType eType = m_eOutImageType > 254 ? m_pInImage1->DataType() : m_eOutImageType;
  pTarget->CreateAsType(*m_pInImage1, eType);
  int32_t nStatus =
      DispatchTypes(m_pInImage1->DataType(), m_pInImage2->DataType(), pTarget->DataType(),
                    [&](auto a, auto b, auto c) {
                      return Setup<typename decltype(a)::Type, typename decltype(b)::Type,
                                   typename decltype(c)::Type>(*pTarget);
                    });
  if (nStatus != 0)
    return nStatus;
  nStatus = ProcessImages(m_pInImage1, m_pInImage2, pTarget, m_nOverlapWidth, m_nOverlapHeight,
                          m_pInImage1->Planes(), m_pInImage2->Planes(), m_nIn1Start,
                          m_pInImage1->LineElements(), m_nIn2Start, m_pInImage2->LineElements(),
                          m_nOutStart, pTarget->LineElements());
  m_pOutImage->Swap(*pTarget);
  return nStatus;
}

int32_t ClIp2to1Base::ProcessImages(ClImage* pIn1, ClImage* pIn2, ClImage* pOut,
                                    int32_t nOverlapWidth, int32_t nOverlapHeight,
                                    uint32_t nPlanes1, uint32_t nPlanes2, int32_t nIn1Start,
                                    int32_t nIn1Stride, int32_t nIn2Start, int32_t nIn2Stride,
                                    int32_t nOutStart, int32_t nOutStride)
{
  if (nOverlapWidth <= 0 || nOverlapHeight <= 0)
    return 0;
  const bool bTable = m_bUseLookUp && pIn1->DataType() == eUInt8 && pIn2->DataType() == eUInt8;
  if (bTable) {
    m_aLookUp.assign(65536, 0);
    const double dMin1 = pIn1->MinValue(), dMax1 = pIn1->MaxValue();
    const double dMin2 = pIn2->MinValue(), dMax2 = pIn2->MaxValue();
    for (double a = dMin1; a <= dMax1 && a - dMin1 < 256; a += 1) {
      for (double b = dMin2; b <= dMax2 && b - dMin2 < 256; b += 1)
        m_aLookUp[size_t(a - dMin1) * 256 + size_t(b - dMin2)] =
            TruncToSample<uint8_t>(ProcessPixels(pIn1, pIn2, pOut, a, b));
    }
  }
  return DispatchTypes(
      pIn1->DataType(), pIn2->DataType(), pOut->DataType(), [&](auto a, auto b, auto c) {
        using T1 = typename decltype(a)::Type;
        using T2 = typename decltype(b)::Type;
        using T3 = typename decltype(c)::Type;
        const T1* pA = pIn1->Pixels<T1>() + nIn1Start;
        const T2* pB = pIn2->Pixels<T2>() + nIn2Start;
        T3* pO = pOut->Pixels<T3>() + nOutStart;
        if constexpr (std::is_same<T1, uint8_t>::value && std::is_same<T2, uint8_t>::value) {
          if (bTable) {
            const uint8_t* pTable = m_aLookUp.data();
            return CombineLoop(pA, nIn1Stride, pB, nIn2Stride, pO, nOutStride, nOverlapWidth,
                               nOverlapHeight, nPlanes1, nPlanes2, [pTable](T1 x, T2 y) {
                                 return ConvertSample<T3>(pTable[size_t(x) * 256 + y]);
                               });
          }
        }
        return CombineLoop(pA, nIn1Stride, pB, nIn2Stride, pO, nOutStride, nOverlapWidth,
                           nOverlapHeight, nPlanes1, nPlanes2, [&](T1 x, T2 y) {
                             return TruncToSample<T3>(
                                 ProcessPixels(pIn1, pIn2, pOut, double(x), double(y)));
                           });
      });
}

double ClIp2to1Base::ProcessPixels(ClImage*, ClImage*, ClImage*, double, double) { return 0.0; }
