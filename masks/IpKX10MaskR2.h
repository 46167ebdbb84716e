#pragma once
// ClIpKX10MaskR2: the mask of KX10 frames. The segmenter finds the finger and its grey
// envelopes; inside the finger the frame is stretched between its local dark and bright
// bounds and inverted, towards the rim it fades to white, and the background is white.
// The result is both a mask and a cleaned grey picture of the finger.
#include "model/FpImage.h"
#include "imaging/histogram/Histogram.h"
#include "masks/IpKX10SegmentMaskR2.h"
#include "masks/IpLiveScannerMask.h"

#include <cstdint>
#include <vector>

class ClIpKX10MaskR2 : public ClIpLiveScannerMask
{
public:
  ClIpKX10MaskR2();
  explicit ClIpKX10MaskR2(bool bHighPrecision);

  ClProcessorBase* Clone() const override { return CloneNew<ClIpKX10MaskR2>(); }
  const char* GetName() const override { return "ClIpKX10MaskR2"; }
  // Throws -701 without images and -44 for a sensitivity outside 0 to 5. A frame without
  // a finger gives an all-white output. The output may be the input.
  int32_t Process() override;

  // Variance limit of the segmenter for a sensitivity step; -44 outside 0 to 5.
  static double VarianceLimit(int32_t nSensitivity);

  bool m_bHighPrecision;
  ClIpKX10SegmentMaskR2 m_Segmenter;

private:
  // The top 25 rows become black and the next 25 ramp up, so the frame's top edge never
  // reads as finger.
  void FadeTop();
  void Stretch();
  // With the segmenter's results at the frame's size, and at half its size.
  void StretchSamples();
  void StretchBlocks();

  ClHistogram m_Histogram;
  ClImage m_Faded; // T
  // The segmenter's mask at its working resolution, which the stretch reads.
  const ClImage& Soft() const { return m_Segmenter.WorkingSoft(); }
  ClImage m_Soft; // M
  // The stretch's batch of rim blocks, kept from frame to frame.
  std::vector<int32_t> m_aRimInts;
  std::vector<double> m_aRimDoubles;
};
