// Ground truth of a script: the ideal rolled and plain prints.
#include "simulator/render/FrameRenderer.h"
#include "simulator/render/PlatenBackground.h"
#include "simulator/render/Script.h"

#include <cmath>
#include <vector>

namespace kxsim {

bool ClScript::RollTruth(int nRoll, ClFrameRenderer& renderer, int W, int H, int nDose,
                         EOrientation eOrientation, ClGreyImage& image, ClGreyImage& mask,
                         bool bAsSeen) const
{
  int n = -1;
  for (size_t i = 0; i < m_aSteps.size(); ++i)
    if (m_aSteps[i].eKind == EStep::eRoll && m_aRuns[i].nKindIndex == nRoll)
      n = int(i);
  if (n < 0 || W <= 0 || H <= 0)
    return false;
  image = ClGreyImage(W, H, uint8_t(ClPlatenBackground::DarkLevel(nDose)));
  mask = ClGreyImage(W, H, 0);
  ClGreyImage frame(W, H), touched(W, H);
  // As seen: each pixel from the frame whose centre line passed closest to it.
  std::vector<float> nearest(bAsSeen ? size_t(W) * size_t(H) : 0, 1e30f);
  const double sx = double(renderer.SceneWidth()) / W, sy = double(renderer.SceneHeight()) / H;
  for (int64_t k = 0; k < m_aRuns[size_t(n)].nLength; ++k) {
    ClScene s = SceneOf(n, k);
    if (s.eContact == EContact::eNone)
      continue;
    s.dResidue = 0.0;
    s.latent = ClLatentPrint();
    renderer.RenderIdeal(s, W, H, nDose, true, eOrientation, frame.aPixels.data(),
                         touched.aPixels.data(), bAsSeen);
    const double slope = std::tan(s.finger.dTilt * 3.14159265358979323846 / 180.0);
    const double cy =
        (s.finger.dCentreY < 0.0 ? renderer.SceneHeight() * 0.5 : s.finger.dCentreY) + s.dDrift;
    for (int y = 0; y < H; ++y) {
      const double py = ((eOrientation == EOrientation::eDevice ? H - 1 - y : y) + 0.5) * sy - 0.5;
      const double centre = s.dPatchX - (py - cy) * slope;
      for (int x = 0; x < W; ++x) {
        const size_t i = size_t(y) * size_t(W) + size_t(x);
        if (!touched.aPixels[i])
          continue;
        mask.aPixels[i] = 255;
        if (bAsSeen) {
          const float d = float(std::fabs((x + 0.5) * sx - 0.5 - centre));
          if (d >= nearest[i])
            continue;
          nearest[i] = d;
        }
        image.aPixels[i] = frame.aPixels[i];
      }
    }
  }
  return true;
}

bool ClScript::PlainTruth(int nStill, ClFrameRenderer& renderer, int W, int H, int nDose,
                          EOrientation eOrientation, ClGreyImage& image, ClGreyImage& mask) const
{
  for (size_t i = 0; i < m_aSteps.size(); ++i) {
    if (m_aSteps[i].eKind != EStep::eStill || m_aRuns[i].nKindIndex != nStill)
      continue;
    if (W <= 0 || H <= 0)
      return false;
    ClScene s = SceneOf(int(i), 0, false);
    s.dResidue = 0.0;
    image = ClGreyImage(W, H);
    mask = ClGreyImage(W, H);
    renderer.RenderIdeal(s, W, H, nDose, false, eOrientation, image.aPixels.data(),
                         mask.aPixels.data());
    return true;
  }
  return false;
}

} // namespace kxsim
