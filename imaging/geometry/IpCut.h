#pragma once
// ClIpCut: a rectangle of an image of any sample type and plane count.
#include "imaging/Ip1to1Base.h"

class ClIpCut : public NewIpBase::ClIp1to1Base
{
public:
  ClIpCut();

  ClProcessorBase* Clone() const override { return CloneNew<ClIpCut>(); }
  const char* GetName() const override { return "ClIpCut"; }
  // The rectangle is tested (-35, each test its own text) before the output is made.
  int32_t ProcessImage(ClImage* pIn, ClImage* pOut) override;
  // The output takes the cut's size in ProcessImage, after the tests.
  void PrepareOutImage(ClImage*) override {}

  int32_t m_nX0 = 0;
  int32_t m_nY0 = 0;
  int32_t m_nDestWidth = 0;
  int32_t m_nDestHeight = 0;

protected:
  void DescribeArguments(ClProcessorArguments& a) override;
};
