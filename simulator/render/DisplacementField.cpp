#include "simulator/render/DisplacementField.h"

#include "simulator/render/ContactModel.h"
#include "simulator/render/FingerTexture.h"

#include <stdexcept>

namespace kxsim {

ClDisplacementField DisplacementField(const ClScene& scene, int W, int H, int nBlock,
                                      EOrientation eOrientation)
{
  if (W < 1 || H < 1 || nBlock < 1)
    throw std::invalid_argument("displacement field of an empty platen or block");
  ClDisplacementField f;
  f.nBlock = nBlock;
  f.nCols = W / nBlock;
  f.nRows = H / nBlock;
  const size_t n = size_t(f.nCols) * size_t(f.nRows);
  f.aDx.assign(n, 0.0f);
  f.aDy.assign(n, 0.0f);
  f.aTouched.assign(n, 0);
  if (scene.eContact == EContact::eNone || scene.dPlaced <= 0.0)
    return f;
  const auto texture =
      ClFingerTexture::Get(scene.finger.nSeed, scene.finger.ePattern, scene.finger.dPeriod);
  const ClContactModel seen(scene, W, H, *texture, false), ideal(scene, W, H, *texture, true);
  const bool flip = eOrientation == EOrientation::eDevice;
  for (int r = 0; r < f.nRows; ++r)
    for (int c = 0; c < f.nCols; ++c) {
      const double x = (c + 0.5) * nBlock - 0.5, yo = (r + 0.5) * nBlock - 0.5;
      const double y = flip ? H - 1 - yo : yo;
      const ClContactModel::ClSample s = seen.At(x, y);
      double px, py;
      ideal.PlatenOf(s.dTexX, s.dTexY, px, py);
      const size_t i = size_t(r) * size_t(f.nCols) + size_t(c);
      f.aDx[i] = float(x - px);
      f.aDy[i] = float(flip ? py - y : y - py);
      // Contact of a tenth or more shows, as in the renderer's mask.
      f.aTouched[i] = s.dContact >= 0.1 ? 255 : 0;
    }
  return f;
}

} // namespace kxsim
