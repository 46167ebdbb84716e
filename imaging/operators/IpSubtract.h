#pragma once
// ClIpSubtract: input 1 minus input 2 over their overlap. Above 90000 overlap samples a
// pair of byte images goes through a 65536-entry table of ProcessPixels, which limits to
// the output's range whatever m_eDataRangeType says; otherwise the direct loop limits by
// m_eDataRangeType, and a negative difference always gives the lower limit.
#include "imaging/Ip2to1Base.h"

enum EDataRangeType : int32_t { DataDependent = 0, InputDependent = 1, UserDependent = 2 };

class ClIpSubtract : public ClIp2to1Base
{
public:
  ClIpSubtract();

  ClProcessorBase* Clone() const override { return CloneNew<ClIpSubtract>(); }
  const char* GetName() const override { return "ClIpSubtract"; }

  int32_t ProcessImages(ClImage* pIn1, ClImage* pIn2, ClImage* pOut, int32_t nOverlapWidth,
                        int32_t nOverlapHeight, uint32_t nPlanes1, uint32_t nPlanes2,
                        int32_t nIn1Start, int32_t nIn1Stride, int32_t nIn2Start,
                        int32_t nIn2Stride, int32_t nOutStart, int32_t nOutStride) override;
  // a minus b, limited to the output's range.
  double ProcessPixels(ClImage* pIn1, ClImage* pIn2, ClImage* pOut, double dValue1,
                       double dValue2) override;

  // Overlaps of more samples than this go through the table.
  static constexpr int64_t s_nTableMinimum = 90000;

  double m_dLowerBound = 0;
  double m_dUpperBound = 0;
  EDataRangeType m_eDataRangeType = DataDependent;

protected:
  void DescribeArguments(ClProcessorArguments& a) override;

private:
  struct ClGeometry
  {
    int32_t nWidth, nHeight;
    uint32_t nPlanes1, nPlanes2;
    int32_t nIn1Start, nIn1Stride, nIn2Start, nIn2Stride, nOutStart, nOutStride;
  };
  int32_t TablePath(ClImage& in1, ClImage& in2, ClImage& out, const ClGeometry& g);
  template <class T1, class T2, class T3>
  int32_t DirectLoop(ClImage& in1, ClImage& in2, ClImage& out, const ClGeometry& g);
};
