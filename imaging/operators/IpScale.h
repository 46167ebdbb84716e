#pragma once
// ClIpScale: multiplies every sample by m_dScaleFactor. "uint8" goes through a table of
// clamped products. The other types convert the truncated product to the sample type
// first, so that it wraps (2 times 40000 in "uint16" gives 14464), and then limit only on
// the side of the factor's sign.
#include "imaging/Ip1to1Base.h"

class ClIpScale : public NewIpBase::ClIp1to1Base
{
public:
  ClIpScale();

  ClProcessorBase* Clone() const override { return CloneNew<ClIpScale>(); }
  const char* GetName() const override { return "ClIpScale"; }
  void GetInfoString(char* pBuffer, size_t nSize) const override;

  int32_t ProcessImage(ClImage* pIn, ClImage* pOut) override;
  // The value times the factor, limited to the output's range.
  double ProcessPixel(ClImage* pIn, ClImage* pOut, double dValue) override;

  double m_dScaleFactor = 1;

protected:
  void DescribeArguments(ClProcessorArguments& a) override;

private:
  template <class T>
  int32_t ScaleImage(ClImage& in, ClImage& out);
};
