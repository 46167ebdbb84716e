#include "imaging/operators/IpInvert.h"

#include "model/FpImage.h"

ClIpInvert::ClIpInvert()
{
  m_bInPlace = true;
  m_bUseLookUp = true;
  const EDataType aTypes[] = {eUInt8, eInt8, eUInt16, eInt16, eUInt32, eInt32, eFloat32, eDouble64};
  AddDataTypes(aTypes, 8);
  SetDefaultParameters();
}

double ClIpInvert::ProcessPixel(ClImage* pIn, ClImage* pOut, double dValue)
{
  // The range ends as they are, not sorted.
  const double dInMin = pIn->MinValue(), dInMax = pIn->MaxValue();
  const double dOutMin = pOut->MinValue(), dOutMax = pOut->MaxValue();
  return (dInMax - (dValue - dInMin) - dInMin) * (dOutMax - dOutMin) / (dInMax - dInMin) + dOutMin;
}
