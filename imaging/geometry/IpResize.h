#pragma once
// ClIpResize: enlargement by an integer factor, each pixel repeated as a block, into a
// "uint8" image of a given or derived size.
#include "model/FpImage.h"
#include "imaging/ProcessorBase.h"
#include "imaging/PlaneLoop.h"

class ClIpResize : public ClProcessorBase
{
public:
  ClIpResize();

  ClProcessorBase* Clone() const override { return CloneNew<ClIpResize>(); }
  const char* GetName() const override { return "ClIpResize"; }
  // -701 for a missing image or input data; -35 for a factor below 1.
  int32_t Process() override;

  ClImage* m_pInImage = nullptr;
  ClImage* m_pOutImage = nullptr;
  int32_t m_nScaleFactor = 2;
  // Both 0: the input's size times the factor.
  int32_t m_nDestWidth = 0;
  int32_t m_nDestHeight = 0;

protected:
  void DescribeArguments(ClProcessorArguments& a) override;

private:
  int32_t ProcessPlanes();
  void ResizePlane(const ClImage& in, ClImage& out, int32_t nDW, int32_t nDH) const;

  ClImage m_Keep;
  ClPlaneLoop m_Planes;
};
