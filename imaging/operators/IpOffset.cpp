#include "imaging/operators/IpOffset.h"

#include "imaging/TpDispatch.h"
#include "imaging/operators/OperatorRows.h"

#include <type_traits>

ClIpOffset::ClIpOffset()
{
  m_bInPlace = false;
  m_bUseLookUp = true;
  const EDataType aTypes[] = {eInt8, eUInt8, eInt16, eUInt16, eInt32, eUInt32, eFloat32, eDouble64};
  AddDataTypes(aTypes, 8);
  SetDefaultParameters();
}

bool ClIpOffset::IsReady() const { return m_pInImage != nullptr; }

void ClIpOffset::GetInfoString(char* pBuffer, size_t nSize) const
{
  const int nPrecision = (m_pInImage && DataTypeIsFloat(m_pInImage->DataType())) ? 4 : 0;
  FormatInfo(pBuffer, nSize, "Offset = %.*f", nPrecision, m_dOffset);
}

void ClIpOffset::DescribeArguments(ClProcessorArguments& a)
{
  ClIp1to1Base::DescribeArguments(a);
  a.Double(&m_dOffset, "Offset", "Offset", "In: Offset Value", 0, -255, 255,
           ClProcessorArguments::eBindRange);
}

double ClIpOffset::ProcessPixel(ClImage*, ClImage* pOut, double dValue)
{
  double dMin, dMax;
  SortedRange(*pOut, dMin, dMax);
  return LimitTo(dValue + m_dOffset, dMin, dMax);
}

int32_t ClIpOffset::ProcessImage(ClImage* pIn, ClImage* pOut)
{
  if (!pIn || !pOut)
    LSKX2_THROW_MSG("Input image not assigned", eErrBadPointer);
  return DispatchType(pIn->DataType(), [&](auto tag) {
    return OffsetImage<typename decltype(tag)::Type>(*pIn, *pOut);
  });
}

template <class T>
int32_t ClIpOffset::OffsetImage(ClImage& in, ClImage& out)
{
  double dMin, dMax;
  SortedRange(out, dMin, dMax);
  const bool bSameType = in.DataType() == out.DataType();
  if constexpr (std::is_same<T, uint8_t>::value) {
    uint8_t aTable[256];
    for (int i = 0; i < 256; ++i)
      aTable[i] = TruncToSample<uint8_t>(ProcessPixel(&in, &out, i));
    MapRows(in, out, aTable);
  } else if constexpr (std::is_floating_point<T>::value) {
    if (m_dOffset == 0 && bSameType) {
      out.Copy(in);
      return 0;
    }
    const T o = static_cast<T>(m_dOffset);
    if (m_dOffset >= 0) {
      const T hi = static_cast<T>(dMax);
      TransformRows<T>(in, out, [=](T v) {
        T r = v + o;
        return r > hi ? hi : r;
      });
    } else {
      const T lo = static_cast<T>(dMin);
      TransformRows<T>(in, out, [=](T v) {
        T r = v + o;
        return r < lo ? lo : r;
      });
    }
  } else {
    const int32_t nOffset = TruncToInt32(m_dOffset);
    const bool bNothing = sizeof(T) == 1 ? (nOffset & 0xFF) == 0 : nOffset == 0;
    if (bNothing && bSameType) {
      out.Copy(in);
      return 0;
    }
    const T o = static_cast<T>(nOffset);
    if (m_dOffset >= 0) {
      const T hi = TruncToSample<T>(dMax);
      TransformRows<T>(in, out, [=](T v) {
        T r = WrapAdd(v, o);
        return r > hi ? hi : r;
      });
    } else {
      const T lo = TruncToSample<T>(dMin);
      TransformRows<T>(in, out, [=](T v) {
        T r = WrapAdd(v, o);
        return r < lo ? lo : r;
      });
    }
  }
  return 0;
}
