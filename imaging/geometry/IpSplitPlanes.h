#pragma once
// ClIpSplitPlanes: the planes of an interleaved image into one-plane images, for the
// processors that work plane by plane.
#include "model/FpImage.h"
#include "imaging/ProcessorBase.h"

class ClIpSplitPlanes : public ClProcessorBase
{
public:
  ClIpSplitPlanes();

  ClProcessorBase* Clone() const override { return CloneNew<ClIpSplitPlanes>(); }
  const char* GetName() const override { return "ClIpSplitPlanes"; }
  // Throws -35 "Image has more than 4 planes."; a type outside the eight skips silently.
  int32_t Process() override;

  // A null plane pointer: that plane is not wanted.
  int32_t Split(ClImage* pIn, ClImage* pPlane0, ClImage* pPlane1 = nullptr,
                ClImage* pPlane2 = nullptr, ClImage* pPlane3 = nullptr);

  ClImage* m_pInImage = nullptr;
  ClImage* m_apOutPlane[4] = {nullptr, nullptr, nullptr, nullptr};

protected:
  void DescribeArguments(ClProcessorArguments& a) override;

private:
  // A share of the input, so that a plane may be written into the input object itself.
  ClImage m_Keep;
};
