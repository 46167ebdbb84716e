#pragma once
// ClIpSubsample: every n-th sample, or the mean of each n by n block, for 8- and 16-bit
// images. The roll's finger detection works on the subsampled frame.
#include "model/FpImage.h"
#include "imaging/ProcessorBase.h"
#include "imaging/PlaneLoop.h"

class ClIpSubsample : public ClProcessorBase
{
public:
  ClIpSubsample() = default;

  ClProcessorBase* Clone() const override { return CloneNew<ClIpSubsample>(); }
  const char* GetName() const override { return "ClIpSubsample"; }
  void GetInfoString(char* pBuffer, size_t nSize) const override;
  // Throws -44 "rate parameter out of range (1..n)", -103 "unsupported image type",
  // -701 for a missing image, in that order.
  int32_t Process() override;

  // Clears m_nSubX and m_nSubY, so that nRate applies to both directions.
  int32_t Subsample(ClImage* pIn, int32_t nRate, ClImage* pOut, bool bMid);

  ClImage* m_pInImage = nullptr;
  ClImage* m_pOutImage = nullptr;
  // Not 0: taken for both directions during the run.
  int32_t m_nRate = 2;
  int32_t m_nSubX = 0;
  int32_t m_nSubY = 0;
  bool m_bMid = true;

private:
  int32_t ProcessPlanes();

  ClImage m_Keep;
  ClImage m_Work;
  ClPlaneLoop m_Planes;
};
