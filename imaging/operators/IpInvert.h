#pragma once
// ClIpInvert: mirrors every sample within the input's range onto the output's range;
// for "uint8" 255 minus the value. Only ProcessPixel is its own: the frame's generic loop
// runs it, through a table for "uint8" and over Width() samples per row otherwise.
#include "imaging/Ip1to1Base.h"

class ClIpInvert : public NewIpBase::ClIp1to1Base
{
public:
  ClIpInvert();

  ClProcessorBase* Clone() const override { return CloneNew<ClIpInvert>(); }
  const char* GetName() const override { return "ClIpInvert"; }
  double ProcessPixel(ClImage* pIn, ClImage* pOut, double dValue) override;
};
