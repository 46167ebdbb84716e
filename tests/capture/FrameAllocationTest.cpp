// The per-frame work of the capture workers allocates nothing once its scratch is sized:
// raw frames through preparation, both preview masks and the judgement, and normal frames
// through the flip and the high-precision mask of the roll. Every allocation of the
// process is counted while a frame is worked.
#include "capture/KX2FrameJudge.h"
#include "capture/KX2PreviewMask.h"
#include "capture/KX2FramePrep.h"
#include "simulator/SimRender.h"
#include "tests/common/CountingAllocator.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

namespace {

void ToImage(const kxsim::ClGreyImage& grey, ClImage& image)
{
  image.Create(eUInt8, grey.nWidth, grey.nHeight, 1, 19685, 19685);
  for (int32_t y = 0; y < grey.nHeight; ++y)
    std::memcpy(image.Data() + y * image.LineElements(), grey.Row(y), size_t(grey.nWidth));
}

TEST(FrameAllocation, NoneOncePreviewAndRollMaskAreSized)
{
  kxsim::ClFinger f;
  // Empty frames, placing, holding and lifting: the segmenter meets few and many blobs.
  kxsim::ClSimulator sim(kxsim::MakePlainScript(f, 4, 4, 2, 3, 2));
  std::vector<ClImage> aRaw(size_t(sim.FrameCount())), aNormal(aRaw.size());
  for (size_t n = 0; n < aRaw.size(); ++n) {
    ToImage(sim.Frame(n, true), aRaw[n]);
    ToImage(sim.Frame(n), aNormal[n]);
  }
  ClKX2FramePrep prep;
  ClKX2PreviewMask low, high(true);
  ClImage aPrepared[2], masked, flipped, rolled;
  prep.Run(aRaw[0], aPrepared[1]);
  int64_t nAllocations = 0;
  // Two passes: the first sizes the scratch, the second is counted.
  for (int nPass = 0; nPass < 2; ++nPass)
    for (size_t n = 0; n < aRaw.size(); ++n) {
      g_nAllocations = 0;
      g_bCounting = nPass == 1;
      ClImage& now = aPrepared[n % 2];
      prep.Run(aRaw[n], now);
      low.Run(now, masked, n % 3 == 0, 3);
      const int32_t nArea = ClKX2FrameJudge::FingerArea(masked);
      ClKX2FrameJudge::Judge(nArea, ClKX2FrameJudge::Motion(aPrepared[(n + 1) % 2], now), false);
      KX2FlipRows(aNormal[n], flipped);
      high.Run(flipped, rolled, false, 2);
      g_bCounting = false;
      nAllocations += g_nAllocations;
    }
  EXPECT_EQ(0, nAllocations);
}

} // namespace
