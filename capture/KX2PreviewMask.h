#pragma once
// The finger mask of the preview, the KX10 mask or the fast one, with its scratch kept
// between frames.
#include "model/FpImage.h"
#include "masks/IpKX10MaskR2.h"
#include "masks/IpKX2DevelMask.h"

#include <cstdint>

class ClKX2PreviewMask
{
public:
  explicit ClKX2PreviewMask(bool bHighPrecision = false) : m_Kx10(bHighPrecision) {}
  // bFast picks the global development mask; otherwise the KX10 mask at nSensitivity.
  void Run(ClImage& in, ClImage& out, bool bFast, int32_t nSensitivity);
  ClIpKX10MaskR2& Kx10() { return m_Kx10; }

private:
  ClIpKX10MaskR2 m_Kx10;
  ClIpKX2DevelMask m_Devel;
};
