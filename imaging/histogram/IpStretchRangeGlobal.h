#pragma once
// ClIpStretchRangeGlobal: stretches the grey range of an image onto a new range through
// the table of ClIpLookUpTableBase. An old range running downwards (the default, 255 to
// 0) is measured from the image: the smallest and largest value present, over all
// planes jointly. A measured range of one value has no defined table.
#include "imaging/histogram/Histogram.h"
#include "imaging/operators/IpLookUpTableBase.h"

class ClIpStretchRangeGlobal : public ClIpLookUpTableBase
{
public:
  ClIpStretchRangeGlobal();

  ClProcessorBase* Clone() const override { return CloneNew<ClIpStretchRangeGlobal>(); }
  const char* GetName() const override { return "ClIpStretchRangeGlobal"; }
  int32_t Initialize() override;
  void ComputeTable() override;

  uint8_t m_nOldRangeFrom = 255;
  uint8_t m_nOldRangeTo = 0;
  uint8_t m_nNewRangeFrom = 0;
  uint8_t m_nNewRangeTo = 255;
  uint8_t m_nUsedFrom = 255;
  uint8_t m_nUsedTo = 0;

protected:
  void DescribeArguments(ClProcessorArguments& a) override;

private:
  ClHistogram m_Histogram;
  ClImage m_Plane;
};
