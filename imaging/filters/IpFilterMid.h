#pragma once
// ClIpFilterMid: mean over a window clipped at the borders, along rows (mode X), columns
// (mode Y), both (mode XY), or along or across a direction field. Along one direction
// the sum starts with the half width as a rounding term; a window larger than the line
// shrinks to it. The 3 by 3 XY mean of "uint8" runs in fixed point without a division.
// With m_pFractionImage set, the XY mean of "uint8" also delivers its fraction in 1/256:
// the two images then hold the mean in 8.8 fixed point.
#include "imaging/filters/IpFilterBase.h"

#include <vector>

class ClIpFilterMid : public ClIpFilterBase
{
public:
  ClIpFilterMid();
  ~ClIpFilterMid() override;

  ClProcessorBase* Clone() const override { return CloneNew<ClIpFilterMid>(); }
  const char* GetName() const override { return "ClIpFilterMid"; }

  // "uint8" through the frame's dispatch; the other types to their own routines, where
  // the directed modes answer -33. Throws -35 for a type outside the eight.
  int32_t ProcessSinglePlane() override;
  int32_t FilterXUnsigned() override;
  int32_t FilterYUnsigned() override;
  int32_t FilterXYUnsigned() override;
  int32_t FilterXSigned() override;
  int32_t FilterYSigned() override;
  int32_t FilterXYSigned() override;
  // Throws -701 when a direction image is not set.
  int32_t FilterDirectedUnsigned(bool bOrtho) override;

  // Second output of the XY mean of "uint8": the fraction of the mean times 256.
  ClImage* m_pFractionImage = nullptr;

private:
  template <class S>
  int32_t MeanX(const ClImage& in, ClImage& out, bool bParity);
  template <class S>
  int32_t MeanY(const ClImage& in, ClImage& out, bool bParity);
  int32_t TypedMode(int32_t nMode);
  int32_t MeanXYFraction();

  ClImage m_Temp;
  // Column sums and work rows, kept between runs.
  std::vector<unsigned char> m_aWork;
  template <class T>
  T* Work(size_t nCount);
};
