#include "capture/KX2FramePrep.h"

void KX2FlipRows(ClImage& in, ClImage& out)
{
  ClTpIpFlip<unsigned char, unsigned char> flip;
  flip.m_bFlipX = false;
  flip.m_bFlipY = true;
  flip.m_pInImage = &in;
  flip.m_pOutImage = &out;
  flip.Process();
}

ClKX2FramePrep::ClKX2FramePrep()
{
  m_Mean.m_nFilterWidth = 3;
  m_Mean.m_nFilterHeight = 3;
  m_Flip.m_bFlipX = false;
  m_Flip.m_bFlipY = true;
}

void ClKX2FramePrep::Run(ClImage& raw, ClImage& out)
{
  raw.SetPels(eResolution, eResolution);
  m_Mean.m_pInImage = &raw;
  m_Mean.m_pOutImage = &m_Smooth;
  m_Mean.Process();
  // The halved picture goes to a scratch image of its own: raw lies over the device's
  // bitmap, and resizing it would cost a new buffer per frame.
  m_Rescale.Rescale(&m_Smooth, &m_Half, eWidth, eHeight, ClIpRescale::NearestNeighbour);
  m_Flip.m_pInImage = &m_Half;
  m_Flip.m_pOutImage = &out;
  m_Flip.Process();
  out.SetPels(eResolution, eResolution);
}

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
