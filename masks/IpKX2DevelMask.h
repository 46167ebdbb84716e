#pragma once
// ClIpKX2DevelMask: a global mask for KX2 frames. The grey range between a dark and a
// bright anchor of the central histogram is spread and inverted, and everything whose
// wider neighbourhood is light becomes white. No segmenter: one histogram and one mean.
#include "model/FpImage.h"
#include "imaging/Ip1to1Base.h"
#include "imaging/filters/IpFilterMid.h"
#include "imaging/histogram/Histogram.h"

class ClIpKX2DevelMask : public NewIpBase::ClIp1to1Base
{
public:
  ClIpKX2DevelMask();

  ClProcessorBase* Clone() const override { return CloneNew<ClIpKX2DevelMask>(); }
  const char* GetName() const override { return "ClIpKX2DevelMask"; }
  // Output like the input, background 255. The output may be the input.
  int32_t Process() override;

private:
  // Work state kept between frames so that a stream of frames allocates only once.
  ClHistogram m_Histogram;
  ClIpFilterMid m_FilterMid;
  ClImage m_Grey;
  ClImage m_Blurred;
};
