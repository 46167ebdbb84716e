#include "imaging/geometry/IpCut.h"

#include "model/FpImage.h"

#include <cstring>

ClIpCut::ClIpCut()
{
  const EDataType aTypes[] = {eUInt8, eInt8, eUInt16, eInt16, eUInt32, eInt32, eFloat32, eDouble64};
  AddDataTypes(aTypes, 8);
  SetDefaultParameters();
}

void ClIpCut::DescribeArguments(ClProcessorArguments& a)
{
  using A = ClProcessorArguments;
  a.Image(&m_pInImage, "InImage", "pInImage", "In: Original Image", 1, 1, 1);
  a.Image(&m_pOutImage, "OutImage", "pOutImage", "Out: Clipping", 1, 1, 2, A::eOut | A::eNoDefault);
  a.Int32(&m_nX0, "X0", "nX0", "In: Start X", 0, -2147483648.0, 2147483647.0);
  a.Int32(&m_nY0, "Y0", "nY0", "In: Start Y", 0, -2147483648.0, 2147483647.0);
  a.Int32(&m_nDestWidth, "DestWidth", "nDestWidth", "In: Cut Width", 0, -2147483648.0,
          2147483647.0);
  a.Int32(&m_nDestHeight, "DestHeight", "nDestHeight", "In: Cut Height", 0, -2147483648.0,
          2147483647.0);
}

int32_t ClIpCut::ProcessImage(ClImage* pIn, ClImage* pOut)
{
  if (m_nX0 < 0)
    LSKX2_THROW_MSG("ClIpCut::Process. m_nX0 < 0", eErrParamOutOfRange);
  if (m_nY0 < 0)
    LSKX2_THROW_MSG("ClIpCut::Process. m_nY0 < 0", eErrParamOutOfRange);
  if (m_nX0 >= pIn->Width())
    LSKX2_THROW_MSG("ClIpCut::Process. m_nX0>=m_pInImage->Width()", eErrParamOutOfRange);
  if (m_nY0 >= pIn->Height())
    LSKX2_THROW_MSG("ClIpCut::Process. m_nY0>=m_pInImage->Height()", eErrParamOutOfRange);
  if (m_nDestWidth <= 0)
    LSKX2_THROW_MSG("ClIpCut::Process. m_nDestWidth <= 0", eErrParamOutOfRange);
  if (m_nDestHeight <= 0)
    LSKX2_THROW_MSG("ClIpCut::Process. m_nDestHeight <= 0", eErrParamOutOfRange);
  if (static_cast<int64_t>(m_nX0) + m_nDestWidth > pIn->Width())
    LSKX2_THROW_MSG("ClIpCut::Process. m_nX0+m_nDestWidth > m_pInImage->Width()",
                    eErrParamOutOfRange);
  if (static_cast<int64_t>(m_nY0) + m_nDestHeight > pIn->Height())
    LSKX2_THROW_MSG("ClIpCut::Process. m_nY0+m_nDestHeight > m_pInImage->Height()",
                    eErrParamOutOfRange);

  pOut->Create(pIn->DataType(), m_nDestWidth, m_nDestHeight, pIn->Planes(), pIn->PelsX(),
               pIn->PelsY());
  if (!pOut->Data())
    return 0;
  const int64_t nPixel = static_cast<int64_t>(pIn->SampleSize()) * pIn->Planes();
  const int64_t nInStride = pIn->LineBytes(), nOutStride = pOut->LineBytes();
  const uint8_t* s = pIn->Data() + m_nY0 * nInStride + m_nX0 * nPixel;
  uint8_t* d = pOut->Data();
  for (int32_t y = 0; y < m_nDestHeight; ++y, s += nInStride, d += nOutStride)
    std::memcpy(d, s, static_cast<size_t>(m_nDestWidth * nPixel));
  return 0;
}
