#pragma once
// ClIpBinarizeGlobal: samples at or above a threshold become white, the others black.
// A NaN setting takes the output's range: its ends for black and white and their mean
// for the threshold (127.5 for "uint8"). A setting outside the range gives -35.
#include "imaging/Ip1to1Base.h"

#include <limits>

class ClIpBinarizeGlobal : public NewIpBase::ClIp1to1Base
{
public:
  ClIpBinarizeGlobal();

  ClProcessorBase* Clone() const override { return CloneNew<ClIpBinarizeGlobal>(); }
  const char* GetName() const override { return "ClIpBinarizeGlobal"; }
  // Input set and both validity tests passed; otherwise the frame's type check decides.
  bool IsReady() const override;
  void GetInfoString(char* pBuffer, size_t nSize) const override;

  int32_t ProcessImage(ClImage* pIn, ClImage* pOut) override;
  double ProcessPixel(ClImage* pIn, ClImage* pOut, double dValue) override;
  // False without an input, or for a threshold beyond both ends of the input's range.
  virtual bool IsThresholdValid() const;
  // False without an output, or for a black or white level beyond both ends of the
  // output's range.
  virtual bool AreLevelsValid() const;

  double m_dThreshold = std::numeric_limits<double>::quiet_NaN();
  double m_dBlack = std::numeric_limits<double>::quiet_NaN();
  double m_dWhite = std::numeric_limits<double>::quiet_NaN();
  double m_dUsedThreshold = 0;
  double m_dUsedBlack = 0;
  double m_dUsedWhite = 0;

protected:
  void DescribeArguments(ClProcessorArguments& a) override;

private:
  template <class T>
  int32_t BinarizeImage(ClImage& in, ClImage& out);
};
