#include "capture/KX2PreviewMask.h"

void ClKX2PreviewMask::Run(ClImage& in, ClImage& out, bool bFast, int32_t nSensitivity)
{
  if (bFast) {
    m_Devel.m_pInImage = &in;
    m_Devel.m_pOutImage = &out;
    m_Devel.Process();
    return;
  }
  m_Kx10.m_nSensitivity = nSensitivity;
  m_Kx10.Compute(&in, &out, 500, 1.0);
}
