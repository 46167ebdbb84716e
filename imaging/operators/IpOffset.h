#pragma once
// ClIpOffset: adds m_dOffset to every sample. "uint8" goes through a table of clamped
// sums. The other types add in the sample's own width, so that a sum wraps first, and
// then limit only on the side of the offset's sign: with offset 10 an "int8" 120 becomes
// -126 and stays so.
#include "imaging/Ip1to1Base.h"

class ClIpOffset : public NewIpBase::ClIp1to1Base
{
public:
  ClIpOffset();

  ClProcessorBase* Clone() const override { return CloneNew<ClIpOffset>(); }
  const char* GetName() const override { return "ClIpOffset"; }
  // True as soon as an input is set.
  bool IsReady() const override;
  void GetInfoString(char* pBuffer, size_t nSize) const override;

  int32_t ProcessImage(ClImage* pIn, ClImage* pOut) override;
  // The value plus the offset, limited to the output's range.
  double ProcessPixel(ClImage* pIn, ClImage* pOut, double dValue) override;

  double m_dOffset = 0;

protected:
  void DescribeArguments(ClProcessorArguments& a) override;

private:
  template <class T>
  int32_t OffsetImage(ClImage& in, ClImage& out);
};
