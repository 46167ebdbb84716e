#include "imaging/operators/IpScale.h"

#include "imaging/TpDispatch.h"
#include "imaging/operators/OperatorRows.h"

#include <type_traits>

ClIpScale::ClIpScale()
{
  m_bInPlace = false;
  m_bUseLookUp = true;
  const EDataType aTypes[] = {eInt8, eUInt8, eInt16, eUInt16, eInt32, eUInt32, eFloat32, eDouble64};
  AddDataTypes(aTypes, 8);
  SetDefaultParameters();
}

void ClIpScale::GetInfoString(char* pBuffer, size_t nSize) const
{
  const int nPrecision = (m_pInImage && DataTypeIsFloat(m_pInImage->DataType())) ? 4 : 0;
  FormatInfo(pBuffer, nSize, "ScaleFactor = %.*f", nPrecision, m_dScaleFactor);
}

void ClIpScale::DescribeArguments(ClProcessorArguments& a)
{
  ClIp1to1Base::DescribeArguments(a);
  a.Double(&m_dScaleFactor, "ScaleFactor", "dScaleFactor", "In: Grey Value Multiplier", 1, 0, 255,
           ClProcessorArguments::eBindRange);
}

double ClIpScale::ProcessPixel(ClImage*, ClImage* pOut, double dValue)
{
  double dMin, dMax;
  SortedRange(*pOut, dMin, dMax);
  return LimitTo(dValue * m_dScaleFactor, dMin, dMax);
}

int32_t ClIpScale::ProcessImage(ClImage* pIn, ClImage* pOut)
{
  if (!pIn || !pOut)
    LSKX2_THROW_MSG("Input image not assigned", eErrBadPointer);
  return DispatchType(pIn->DataType(), [&](auto tag) {
    return ScaleImage<typename decltype(tag)::Type>(*pIn, *pOut);
  });
}

template <class T>
int32_t ClIpScale::ScaleImage(ClImage& in, ClImage& out)
{
  if constexpr (std::is_same<T, uint8_t>::value) {
    uint8_t aTable[256];
    for (int i = 0; i < 256; ++i)
      aTable[i] = TruncToSample<uint8_t>(ProcessPixel(&in, &out, i));
    MapRows(in, out, aTable);
    return 0;
  } else {
    if (m_dScaleFactor == 1) {
      out.Copy(in);
      return 0;
    }
    if (m_dScaleFactor == 0) {
      out.Fill(static_cast<uint8_t>(0));
      return 0;
    }
    double dMin, dMax;
    SortedRange(out, dMin, dMax);
    const double f = m_dScaleFactor;
    if constexpr (std::is_floating_point<T>::value) {
      const T tf = static_cast<T>(f);
      if (f > 0) {
        const T hi = static_cast<T>(dMax);
        TransformRows<T>(in, out, [=](T v) {
          T r = v * tf;
          return r > hi ? hi : r;
        });
      } else {
        const T lo = static_cast<T>(dMin);
        TransformRows<T>(in, out, [=](T v) {
          T r = v * tf;
          return r < lo ? lo : r;
        });
      }
    } else {
      if (f > 0) {
        const T hi = TruncToSample<T>(dMax);
        TransformRows<T>(in, out, [=](T v) {
          T r = TruncToSample<T>(static_cast<double>(v) * f);
          return r > hi ? hi : r;
        });
      } else {
        const T lo = TruncToSample<T>(dMin);
        TransformRows<T>(in, out, [=](T v) {
          T r = TruncToSample<T>(static_cast<double>(v) * f);
          return r < lo ? lo : r;
        });
      }
    }
    return 0;
  }
}
