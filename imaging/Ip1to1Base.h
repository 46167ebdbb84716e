#pragma once
// One input image, one output image. Process makes every such processor safe to run in
// place: when the algorithm cannot read and write one image (m_bInPlace false) and the
// output is the input, the result goes to a temporary whose buffer is then swapped in.
//
// An operator overrides ProcessPixel (the slow general path; "uint8" inputs go through
// a 256-entry table built from it when m_bUseLookUp is set) or, for speed, ProcessImage
// with a typed kernel dispatched once on the input type (DispatchType). PrepareOutImage
// shapes the output; by default like the input.
#include "imaging/IpProcessorBase.h"

class ClImage;

namespace NewIpBase {

class ClIp1to1Base : public ClIpProcessorBase
{
public:
  ClIp1to1Base();

  // -701 "m_pInImage is not set", "m_pOutImage is not set", "m_pInImage->Data() is not set".
  int32_t Process() override;

  // Default: the generic pixel loop over ProcessPixel; -101 for an unknown type.
  virtual int32_t ProcessImage(ClImage* pIn, ClImage* pOut);
  virtual void PrepareOutImage(ClImage* pOut);
  virtual double ProcessPixel(ClImage* pIn, ClImage* pOut, double dValue);

  // -701 "Input image not assigned", else the type list.
  void CheckInputType() const override;

  ClImage* m_pInImage = nullptr;
  // May be the input.
  ClImage* m_pOutImage = nullptr;
  bool m_bInPlace = false;
  bool m_bUseLookUp = true;

protected:
  void DescribeArguments(ClProcessorArguments& a) override;
};

} // namespace NewIpBase
