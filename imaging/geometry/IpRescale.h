#pragma once
// ClIpRescale: a new size or a new resolution by one of five interpolations. Works on
// bytes: "uint8" out for inputs with a type code below 128, "int8" otherwise. Images
// of several planes go plane by plane (the first three).
#include "model/FpImage.h"
#include "imaging/ProcessorBase.h"
#include "imaging/PlaneLoop.h"

#include <vector>

class ClIpRescale : public ClProcessorBase
{
public:
  enum eProcessingMode : int32_t {
    WholeNumbered = 0,
    NearestNeighbour = 1,
    BiLinear = 2,
    BiCubic = 3,
    BiLinearFantMar = 4
  };

  ClIpRescale();

  ClProcessorBase* Clone() const override { return CloneNew<ClIpRescale>(); }
  const char* GetName() const override { return "ClIpRescale"; }
  void GetInfoString(char* pBuffer, size_t nSize) const override;
  // Works out m_nDest*: a resolution request wins over a size request. -35 for a size
  // request below 1.
  int32_t Initialize() override;
  int32_t Process() override;

  // Size request; -101 for "WholeNumbered" and for a zero width or height.
  int32_t Rescale(ClImage* pIn, ClImage* pOut, int32_t nWidth, int32_t nHeight,
                  eProcessingMode eMode);

  // "WholeNumbered" ... "BiLinearFantMar", "InvalidMode" for other values.
  static const char* ModeText(eProcessingMode eMode);

  ClImage* m_pInImage = nullptr;
  ClImage* m_pOutImage = nullptr;
  int32_t m_nNewWidth = 0;
  int32_t m_nNewHeight = 0;
  int32_t m_nNewPelsX = 0;
  int32_t m_nNewPelsY = 0;
  eProcessingMode m_eMode = BiLinear;
  // Bicubic parameter; a positive value takes the fast path once and is negated.
  double m_dConvParameter1 = -0.75;

  int32_t m_nDestWidth = 0;
  int32_t m_nDestHeight = 0;
  int32_t m_nDestPelsX = 0;
  int32_t m_nDestPelsY = 0;

protected:
  void DescribeArguments(ClProcessorArguments& a) override;

private:
  int32_t ProcessPlanes();
  int32_t ProcessPlane(const ClImage& in, ClImage& out);
  void Nearest(const ClImage& in, ClImage& out);
  void Bilinear(const ClImage& in, ClImage& out);
  void BilinearEnlarge(const ClImage& in, ClImage& out);
  // Fixed-point input pixels per output pixel of the two reduction passes.
  int64_t RatioX(const ClImage& in) const;
  int64_t RatioY(const ClImage& in) const;
  void ReduceX(const ClImage& in, ClImage& out);
  void ReduceY(const ClImage& in, ClImage& out);
  void Bicubic(const ClImage& in, ClImage& out);
  void FantMar(const ClImage& in, ClImage& out);
  int32_t WholeNumberedSteps(const ClImage& in, ClImage& out);
  void Log(const char* szWhat, const char* szStep) const;

  // Work images and scratch, kept so that a run per frame allocates only once.
  ClImage m_Work;
  ClImage m_Reduced;
  ClPlaneLoop m_Planes;
  std::vector<int32_t> m_aColumns;
  std::vector<uint32_t> m_aSums;
  std::vector<uint8_t> m_aPackA;
  std::vector<uint8_t> m_aPackB;
  std::vector<double> m_aPackD;
};
