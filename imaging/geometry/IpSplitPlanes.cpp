#include "imaging/geometry/IpSplitPlanes.h"

#include "imaging/TpDispatch.h"

ClIpSplitPlanes::ClIpSplitPlanes() { SetDefaultParameters(); }

void ClIpSplitPlanes::DescribeArguments(ClProcessorArguments& a)
{
  static const char* const aszPlanes[] = {"pOutPlane[0]", "pOutPlane[1]", "pOutPlane[2]",
                                          "pOutPlane[3]"};
  a.Image(&m_pInImage, "InImage", "pInImage", "In: Original Image", 1, 1, 1, 0);
  for (int i = 0; i < 4; ++i)
    a.Image(&m_apOutPlane[i], nullptr, aszPlanes[i], nullptr, 1, 1, 6, 0);
}

int32_t ClIpSplitPlanes::Process()
{
  if (!m_pInImage)
    LSKX2_THROW_MSG("m_pInImage is not set", eErrBadPointer);
  if (m_pInImage->Planes() > 4)
    LSKX2_THROW_MSG("Image has more than 4 planes.", eErrParamOutOfRange);
  if (SampleTypeIndex(m_pInImage->DataType()) < 0)
    return 0;
  m_Keep.Share(*m_pInImage);
  const ClImage& in = m_Keep;
  try {
    for (uint32_t p = 0; p < in.Planes(); ++p) {
      if (m_apOutPlane[p])
        in.ExtractPlane(p, *m_apOutPlane[p]);
    }
  } catch (...) {
    m_Keep.Clear();
    throw;
  }
  m_Keep.Clear();
  return 0;
}

int32_t ClIpSplitPlanes::Split(ClImage* pIn, ClImage* pPlane0, ClImage* pPlane1, ClImage* pPlane2,
                               ClImage* pPlane3)
{
  m_pInImage = pIn;
  m_apOutPlane[0] = pPlane0;
  m_apOutPlane[1] = pPlane1;
  m_apOutPlane[2] = pPlane2;
  m_apOutPlane[3] = pPlane3;
  return Run();
}
