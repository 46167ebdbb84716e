#pragma once
// ClIpKX10SegmentMaskR2: finds the finger areas of a frame by local variance (ridges vary,
// the platen does not) and delivers a soft mask, 255 inside the finger falling to 0
// outside, with the lower and upper envelopes of the finger's grey values. Above 250 dpi
// it works on the frame downsampled by 2 and repeats its results on 2 by 2 blocks.
#include "model/FpImage.h"
#include "imaging/Ip1to1Base.h"
#include "imaging/filters/IpFilterVariance.h"
#include "imaging/filters/TpIpFilterMid.h"
#include "imaging/filters/TpIpFilterMax.h"
#include "imaging/filters/TpIpFilterMin.h"
#include "imaging/geometry/IpCut.h"
#include "imaging/histogram/Histogram.h"
#include "imaging/operators/TpIpBinarize.h"
#include "imaging/operators/TpIpSubtract.h"
#include "imaging/regions/IpConnectedComponent2.h"
#include "masks/TpIpDownsample.h"

#include <cstdint>
#include <vector>

class ClIpKX10SegmentMaskR2 : public NewIpBase::ClIp1to1Base
{
public:
  explicit ClIpKX10SegmentMaskR2(bool bHighPrecision = false);

  ClProcessorBase* Clone() const override { return CloneNew<ClIpKX10SegmentMaskR2>(); }
  const char* GetName() const override { return "ClIpKX10SegmentMaskR2"; }
  // -44 for a missing, non-"uint8", empty or unevenly resolved input, or no output.
  void CheckInputType() const override;
  int32_t ProcessImage(ClImage* pIn, ClImage* pOut) override;

  // Sets the images and runs.
  int32_t Compute(ClImage* pIn, ClImage* pOut);

  // Results besides the mask, of the input's size: smoothed local minimum and maximum.
  ClImage m_LowerEnvelope;
  ClImage m_UpperEnvelope;
  // Off: the envelopes stay at the working resolution (half the input's above 250 dpi),
  // for a caller that reads them per 2 by 2 block, with WorkingSoft().
  bool m_bEnlarge = true;
  // The mask at the working resolution, after a run.
  const ClImage& WorkingSoft() const { return m_Soft; }
  // Optional picture of the empty platen at the input's resolution; not owned.
  ClImage* m_pReference = nullptr;
  bool m_bHighPrecision;
  double m_dVarianceLimit = 300.0;
  // Background candidates are at most this bright.
  uint8_t m_nGreyLimit = 100;

private:
  // Thresholds the variance into the two activity pictures and the background picture.
  void ClassifyActivity(double dUpper, double dLower);
  // Frees the background picture from the medium-variance halo around finger blobs.
  void CleanBackground();
  // Repeats every sample of a half-size picture on a 2 by 2 block of the full size one.
  static void Enlarge(const ClImage& half, ClImage& full);

  // Operators, configured anew at each run.
  ClTpIpDownsample<uint8_t> m_Downsample;
  ClIpFilterVariance m_Variance;
  ClTpIpFilterMin<float> m_MinFloat;
  ClTpIpFilterMax<float> m_MaxFloat;
  ClTpIpFilterMid<float, double> m_MidFloat;
  ClTpIpFilterMin<unsigned char> m_Min;
  ClTpIpFilterMax<unsigned char> m_Max;
  ClTpIpFilterMid<unsigned char, unsigned int> m_Mid;
  ClTpIpSubtract<unsigned char, unsigned char, int> m_Subtract;
  ClTpIpBinarize<unsigned char, unsigned char> m_Binarize;
  ClIpCut m_Cut;
  ClIpConnectedComponent2 m_Components;
  ClIpConnectedComponent2::ComponentsArray_t m_aComponents;
  ClHistogram m_Histogram;
  std::vector<uint32_t> m_aOrder;

  // Work pictures at the working resolution, reused from frame to frame.
  ClImage m_Down;      // D: the frame at the working resolution
  ClImage m_Variances; // V
  ClImage m_FloatWork1;
  ClImage m_FloatWork2;
  ClImage m_Activity;      // A: opened and smoothed variance
  ClImage m_Background;    // E: dark flat samples
  ClImage m_ActivityUpper; // F: activity scaled to the upper limit
  ClImage m_ActivityLower; // G: activity scaled to the lower limit
  ClImage m_Reference;     // the reference at half size
  ClImage m_Blobs;         // areas of full activity as objects (0)
  ClImage m_Labels;
  ClImage m_Cutout;
  ClImage m_Finger; // H: the frame without its background
  ClImage m_Work1;
  ClImage m_Near; // J: 255 where background is close by
  ClImage m_Lower;
  ClImage m_Upper;
  ClImage m_Soft; // I
};
