#pragma once
// How the capture engine judges its frames: finger area from the mask, motion between two
// frames, and the residue on an empty platen. Frames are compared by their histograms
// only, 256 numbers each, never pixel by pixel.
#include "model/FpImage.h"
#include "imaging/filters/TpIpFilterMid.h"
#include "imaging/histogram/Histogram.h"
#include "imaging/operators/TpIpSubtract.h"

#include <cstdint>

class ClKX2FrameJudge
{
public:
  // At most this finger area is an empty platen for the detection worker.
  static constexpr int32_t nEmptyArea = 8000;
  // Below this the final image of GetImage holds no finger: one apart from the above.
  static constexpr int32_t nImageArea = 8000;
  // Above this a still finger is worth a normal capture for the liveness check.
  static constexpr int32_t nCaptureArea = 32000;
  // At least this motion measure is a moving finger.
  static constexpr uint64_t nMotionLimit = 800000000u;

  enum EVerdict { eNoFinger, eMoving, eStill };

  // Samples of the central region (a tenth of each side cut away) darker than 241 in a
  // mask, where the background is 255.
  static int32_t FingerArea(const ClImage& masked);
  // Sum over the grey levels of the squared difference of the two cumulative histograms.
  static uint64_t Motion(const ClImage& older, const ClImage& newer);
  // Once accepted, a finger stays accepted however it moves until it is lifted.
  static EVerdict Judge(int32_t nArea, uint64_t nMotion, bool bAccepted)
  {
    if (nArea <= nEmptyArea)
      return eNoFinger;
    if (nMotion >= nMotionLimit && !bAccepted)
      return eMoving;
    return eStill;
  }
  static bool WantsCapture(int32_t nArea) { return nArea > nCaptureArea; }
  static bool HoldsFinger(int32_t nArea) { return nArea >= nImageArea; }

  // Residue measure of one frame: how many central samples stand out by 5 or more above
  // their 31 by 31 neighbourhood mean.
  int32_t ConditionSample(ClImage& frame);
  // Condition 0 to 100 from the ring of samples (unfilled entries count as 0).
  static int32_t ConditionValue(const int32_t* pSamples, uint32_t nCount);

  // The central region of the masks and the condition.
  static void CentralHistogram(const ClImage& image, ClHistogram& histogram);

private:
  ClTpIpFilterMid<unsigned char, unsigned int> m_Mean;
  ClTpIpSubtract<unsigned char, unsigned char, short> m_Subtract;
  ClImage m_Smooth;
  ClImage m_Difference;
  ClHistogram m_Histogram;
};
