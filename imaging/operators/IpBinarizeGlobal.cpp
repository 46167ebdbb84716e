#include "imaging/operators/IpBinarizeGlobal.h"

#include "imaging/TpDispatch.h"
#include "imaging/operators/OperatorRows.h"
#include "parameters/ParameterContainer.h"

#include <cmath>
#include <type_traits>

namespace {

// Beyond both ends of the range; NaN ends never refuse.
bool OutsideRange(double dValue, const ClImage& image)
{
  const double a = image.MinValue(), b = image.MaxValue();
  return (dValue < a && dValue < b) || (dValue > a && dValue > b);
}

} // namespace

ClIpBinarizeGlobal::ClIpBinarizeGlobal()
{
  m_bInPlace = true;
  m_bUseLookUp = true;
  const EDataType aTypes[] = {eUInt8, eInt8, eUInt16, eInt16, eUInt32, eInt32, eFloat32, eDouble64};
  AddDataTypes(aTypes, 8);
  SetDefaultParameters();
}

bool ClIpBinarizeGlobal::IsReady() const
{
  if (m_pInImage && IsThresholdValid() && AreLevelsValid())
    return true;
  return ClIp1to1Base::IsReady();
}

void ClIpBinarizeGlobal::GetInfoString(char* pBuffer, size_t nSize) const
{
  const int n = (m_pInImage && DataTypeIsFloat(m_pInImage->DataType())) ? 4 : 0;
  FormatInfo(pBuffer, nSize, "Thr%.*f [%.*f;%.*f]", n, m_dThreshold, n, m_dBlack, n, m_dWhite);
}

void ClIpBinarizeGlobal::DescribeArguments(ClProcessorArguments& a)
{
  using A = ClProcessorArguments;
  ClIp1to1Base::DescribeArguments(a);
  const double dUnset = std::numeric_limits<double>::quiet_NaN();
  // Equal bounds: no range in the container.
  a.Double(&m_dBlack, "Black", "Black", "In: Pixelvalue of Black", dUnset, -1, -1, A::eBindRange);
  a.Double(&m_dWhite, "White", "White", "In: Pixelvalue of White", dUnset, -1, -1, A::eBindRange);
  a.Double(&m_dThreshold, "Threshold", "Threshold", "In: Binarization Threshold", dUnset, 1, 1,
           A::eBindRange);
}

bool ClIpBinarizeGlobal::IsThresholdValid() const
{
  if (!m_pInImage)
    return false;
  if (std::isnan(m_dThreshold))
    return true;
  return !OutsideRange(m_dThreshold, *m_pInImage);
}

bool ClIpBinarizeGlobal::AreLevelsValid() const
{
  if (!m_pOutImage)
    return false;
  if (!std::isnan(m_dBlack) && OutsideRange(m_dBlack, *m_pOutImage))
    return false;
  if (!std::isnan(m_dWhite) && OutsideRange(m_dWhite, *m_pOutImage))
    return false;
  return true;
}

double ClIpBinarizeGlobal::ProcessPixel(ClImage*, ClImage*, double dValue)
{
  return dValue >= m_dUsedThreshold ? m_dUsedWhite : m_dUsedBlack;
}

int32_t ClIpBinarizeGlobal::ProcessImage(ClImage* pIn, ClImage* pOut)
{
  if (!pIn || !pOut)
    LSKX2_THROW_MSG("Input image not assigned", eErrBadPointer);
  const double dMin = pOut->MinValue(), dMax = pOut->MaxValue();
  m_dUsedBlack = std::isnan(m_dBlack) ? dMin : m_dBlack;
  m_dUsedWhite = std::isnan(m_dWhite) ? dMax : m_dWhite;
  m_dUsedThreshold = std::isnan(m_dThreshold) ? (dMin + dMax) / 2 : m_dThreshold;
  if (!IsThresholdValid() || !AreLevelsValid())
    return eErrParamOutOfRange;
  return DispatchType(pIn->DataType(), [&](auto tag) {
    return BinarizeImage<typename decltype(tag)::Type>(*pIn, *pOut);
  });
}

template <class T>
int32_t ClIpBinarizeGlobal::BinarizeImage(ClImage& in, ClImage& out)
{
  if constexpr (std::is_same<T, uint8_t>::value) {
    uint8_t aTable[256];
    for (int i = 0; i < 256; ++i)
      aTable[i] = TruncToSample<uint8_t>(ProcessPixel(&in, &out, i));
    MapRows(in, out, aTable);
  } else {
    T thr;
    if constexpr (std::is_floating_point<T>::value) {
      thr = static_cast<T>(m_dUsedThreshold);
    } else {
      double d = std::ceil(m_dUsedThreshold);
      const double dLow = static_cast<double>(std::numeric_limits<T>::min());
      const double dHigh = static_cast<double>(std::numeric_limits<T>::max());
      if (d < dLow)
        d = dLow;
      if (d > dHigh)
        d = dHigh;
      thr = TruncToSample<T>(d);
    }
    const T black = TruncToSample<T>(m_dUsedBlack);
    const T white = TruncToSample<T>(m_dUsedWhite);
    TransformRows<T>(in, out, [=](T v) { return v < thr ? black : white; });
  }
  return 0;
}
