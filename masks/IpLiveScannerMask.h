#pragma once
// ClIpLiveScannerMask: the common frame of the finger masks. The capture engine runs any
// mask by one call, Compute(in, out, dpi, scale); the result has the input's geometry,
// white (255) for background and darker values for the finger. Only "uint8" input.
#include "imaging/Ip1to1Base.h"

#include <cstdint>

class ClImage;

class ClIpLiveScannerMask : public NewIpBase::ClIp1to1Base
{
public:
  ClIpLiveScannerMask();

  void DeclareInterface(ClParameterInterface& itf) override;
  void SetDefaultParameters() override;
  void BindParameters(ClParameterContainer& container) override;
  void CheckInputType() const override;

  // Stores the resolution and scale, sets the images and runs the mask.
  virtual int32_t Compute(ClImage* pIn, ClImage* pOut, int32_t nDPI, double dScale);

  int32_t m_nInDPI;
  double m_dInScaleSegmentation;
  int32_t m_nReserved = 0;
  // Step 0 (least sensitive) to 5; a mask that reads it refuses other values per frame.
  int32_t m_nSensitivity = 2;
  // Optional picture of the empty platen; not owned.
  ClImage* m_pReferenceImage = nullptr;
};
