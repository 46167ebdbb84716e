#pragma once
// ClIpFilterVariance: sample variance of a clipped square window around every pixel,
// (sum of squares - sum * sum / n) / (n - 1), with every sum and the division carried
// out in the output's type ("double64" by default). A window of one sample divides by 0.
#include "model/FpImage.h"
#include "imaging/Ip1to1Base.h"

#include <vector>

class ClIpFilterVariance : public NewIpBase::ClIp1to1Base
{
public:
  ClIpFilterVariance();

  ClProcessorBase* Clone() const override { return CloneNew<ClIpFilterVariance>(); }
  const char* GetName() const override { return "ClIpFilterVariance"; }
  // The frame's test, then -44 "Input image has too many planes." for more than one.
  void CheckInputType() const override;
  // Throws -701 "Output image not assigned". -33 for an input type outside the eight;
  // an output type outside them ("default" too) does nothing and succeeds.
  int32_t Process() override;

  int32_t m_nInFilterWidth = 11;
  EDataType m_eOutImageType = eDouble64;

protected:
  void DescribeArguments(ClProcessorArguments& a) override;

private:
  template <class TIn, class TOut>
  int32_t Compute(const ClImage& in, ClImage& out);

  // A share of the input while the output, which may be the input, is created.
  ClImage m_Keep;
  std::vector<unsigned char> m_aWork;
};
