#pragma once
// Two inputs, one output, with image 2 shifted against image 1 by (m_nOffsetX,
// m_nOffsetY). Setup lays both inputs into an output large enough for the pair and
// works out where their overlap lies; ProcessImages then combines the overlap.
//
// An operator overrides ProcessPixels (general path), or ProcessImages with a kernel
// dispatched once on the three types (DispatchTypes(in1, in2, out, f)); the numbers it
// receives are in samples: starts into each buffer and row strides.
#include "model/DataType.h"
#include "imaging/ProcessorBase.h"

#include <cstdint>
#include <vector>

class ClImage;

class ClIp2to1Base : public ClProcessorBase
{
public:
  ClIp2to1Base();

  // All three pointers set and both inputs holding data.
  bool IsReady() const override;
  // -37 when not ready; -44 when m_bSizeMustBeEqual and sizes differ or an offset is set.
  int32_t Initialize() override;
  int32_t Process() override;

  virtual int32_t ProcessImages(ClImage* pIn1, ClImage* pIn2, ClImage* pOut, int32_t nOverlapWidth,
                                int32_t nOverlapHeight, uint32_t nPlanes1, uint32_t nPlanes2,
                                int32_t nIn1Start, int32_t nIn1Stride, int32_t nIn2Start,
                                int32_t nIn2Stride, int32_t nOutStart, int32_t nOutStride);
  virtual double ProcessPixels(ClImage* pIn1, ClImage* pIn2, ClImage* pOut, double dValue1,
                               double dValue2);

  ClImage* m_pInImage1 = nullptr;
  ClImage* m_pInImage2 = nullptr;
  // May be either input.
  ClImage* m_pOutImage = nullptr;
  // eTypeDefault: the type of input 1.
  EDataType m_eOutImageType = eTypeDefault;
  bool m_bSizeMustBeEqual = true;
  double m_dFillColor = 0;
  // Fill of results with 2 to 4 planes; no parameter reaches them.
  double m_adFillPlanes[4] = {0, 0, 0, 0};
  int32_t m_nOffsetX = 0;
  int32_t m_nOffsetY = 0;
  // Written by Setup on every run.
  int32_t m_nOverlapWidth = 0;
  int32_t m_nOverlapHeight = 0;
  int32_t m_nOutStart = 0;
  int32_t m_nIn1Start = 0;
  int32_t m_nIn2Start = 0;
  bool m_bUseLookUp = false;

protected:
  void DescribeArguments(ClProcessorArguments& a) override;
  // Creates the target for the pair, pastes both inputs when they differ in size or are
  // shifted, and stores the overlap numbers.
  template <class T1, class T2, class T3>
  int32_t Setup(ClImage& target);

  // The 65536-entry table of uint8 pairs, kept between runs.
  std::vector<uint8_t> m_aLookUp;
};
