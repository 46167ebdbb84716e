#include "imaging/filters/IpFilterBase.h"

#include "base/Exceptions.h"

namespace {

const char s_aModeChoices[] = "Mode X\0Mode Y\0Mode XY\0MODE_DIRECTED\0MODE_DIRECTED_ORTHO\0";
const int32_t s_anModeValues[] = {1, 2, 3, 8, 16};

} // namespace

ClIpFilterBase::ClIpFilterBase() { SetDefaultParameters(); }

ClIpFilterBase::~ClIpFilterBase() = default;

void ClIpFilterBase::DescribeArguments(ClProcessorArguments& a)
{
  using A = ClProcessorArguments;
  a.Image(&m_pInImage, "InImage", "pInImage", "In: Original Image", 1, 1, 1);
  a.Image(&m_pOutImage, "OutImage", "pOutImage", "Out: Output Image", 1, 1, 2,
          A::eOut | A::eNoDefault);
  a.Int32(&m_nFilterWidth, "nFilterWidth", "nFilterWidth", "in: Filter Width", 3, 1.0, -1.0);
  // The list states MODE_X as the default although the member starts at MODE_XY.
  a.Choice(&m_nMode, "eFilterWidth", "nMode", "in: Filter Width", MODE_XY, s_aModeChoices,
           s_anModeValues, A::eListDefault, MODE_X);
  // Both direction ports lead to the x part; the y part is set directly.
  a.Image(&m_pInDxImage, "InDxImage", "pInDxImage", "in: Dx Image", 1, 1, 5);
  a.Image(&m_pInDxImage, "InDyImage", "pInDyImage", "in: Dy Image", 1, 1, 5);
}

void ClIpFilterBase::GetInfoString(char* pBuffer, size_t nSize) const
{
  const char* szSign = "Unknown";
  if (m_pInImage)
    szSign = DataTypeIsSigned(m_pInImage->DataType()) ? "Signed" : "Unsigned";
  FormatInfo(pBuffer, nSize, "W[%ld] M[%s%s%s%s] S[%s]", static_cast<long>(m_nFilterWidth),
             (m_nMode & MODE_X) ? "X" : "", (m_nMode & MODE_Y) ? "Y" : "",
             (m_nMode & MODE_DIRECTED) ? "Directed" : "",
             (m_nMode & MODE_DIRECTED_ORTHO) ? "DirectedOrtho" : "", szSign);
}

int32_t ClIpFilterBase::Process()
{
  if (!m_pInImage)
    LSKX2_THROW(eErrBitmapPtr);
  if (!m_pOutImage)
    LSKX2_THROW_MSG("m_pOutImage is not set", eErrBadPointer);
  if (m_nFilterWidth <= 1) {
    m_pOutImage->Copy(*m_pInImage);
    return 0;
  }
  if (m_pInImage->Planes() > 1) {
    ProcessPlanes();
    return 0;
  }
  if (m_pInImage == m_pOutImage)
    return eErrBitmapPtr;
  return ProcessSinglePlane();
}

int32_t ClIpFilterBase::ProcessPlanes()
{
  if (m_pInImage == m_pOutImage) {
    // The input's own members are put back last, so an image that is both input and output
    // keeps what it held: the planes are filtered and the result let go.
    ClImage discarded;
    ClImage* const pBoth = m_pOutImage;
    struct Restore
    {
      ClImage*& rpOut;
      ClImage* pOut;
      ~Restore() { rpOut = pOut; }
    } restore{m_pOutImage, pBoth};
    m_pOutImage = &discarded;
    return ProcessPlanes();
  }
  ClImage* const pOut = m_pOutImage;
  const uint32_t nTag = m_pInImage->ImageTag();
  // A plane's status does not stop the others; the joined image is the answer.
  m_Planes.Run(m_pInImage, m_pOutImage, pOut, m_pInImage->Content(), m_pLog != nullptr, [this] {
    ProcessSinglePlane();
    return 0;
  });
  pOut->SetImageTag(nTag);
  return 0;
}

int32_t ClIpFilterBase::ProcessSinglePlane()
{
  if (!m_pInImage)
    LSKX2_THROW(eErrBitmapPtr);
  return DispatchMode(DataTypeIsSigned(m_pInImage->DataType()));
}

int32_t ClIpFilterBase::DispatchMode(bool bSigned)
{
  switch (m_nMode) {
  case MODE_X:
    return bSigned ? FilterXSigned() : FilterXUnsigned();
  case MODE_Y:
    return bSigned ? FilterYSigned() : FilterYUnsigned();
  case MODE_XY:
    return bSigned ? FilterXYSigned() : FilterXYUnsigned();
  case MODE_DIRECTED:
    return bSigned ? FilterDirectedSigned(false) : FilterDirectedUnsigned(false);
  case MODE_DIRECTED_ORTHO:
    return bSigned ? FilterDirectedSigned(true) : FilterDirectedUnsigned(true);
  default:
    LSKX2_THROW(eErrParamOutOfRange);
  }
}

int32_t ClIpFilterBase::FilterXYUnsigned()
{
  int32_t nStatus = FilterXUnsigned();
  return nStatus != 0 ? nStatus : FilterYUnsigned();
}

int32_t ClIpFilterBase::FilterXYSigned()
{
  int32_t nStatus = FilterXSigned();
  return nStatus != 0 ? nStatus : FilterYSigned();
}
