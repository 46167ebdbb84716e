#pragma once
// Frames for the mask tests: simulator pictures as ClImage at 500 dpi, in the row order
// the capture engine hands to the masks, and the measures the engine takes of a mask.
#include "model/FpImage.h"
#include "simulator/SimRender.h"

#include <cstdint>
#include <cstring>

namespace masktest {

constexpr int32_t kPels500 = 19685;

inline void ToImage(const kxsim::ClGreyImage& grey, ClImage& image, int32_t nPels = kPels500)
{
  image.Create(eUInt8, grey.nWidth, grey.nHeight, 1, nPels, nPels);
  for (int y = 0; y < grey.nHeight; ++y)
    std::memcpy(image.Data() + ptrdiff_t(y) * image.LineElements(), grey.Row(y),
                size_t(grey.nWidth));
}

inline uint8_t At(const ClImage& image, int32_t x, int32_t y)
{
  return image.Data()[ptrdiff_t(y) * image.LineElements() + x];
}

inline uint8_t& At(ClImage& image, int32_t x, int32_t y)
{
  return image.Data()[ptrdiff_t(y) * image.LineElements() + x];
}

// A flat finger of the given pressure on a clean platen, display row order.
inline void FingerFrame(ClImage& image, double dPressure, uint32_t nSeed = 7, double dResidue = 0.0)
{
  kxsim::ClFinger finger;
  finger.nSeed = nSeed;
  finger.dPressure = dPressure;
  ToImage(kxsim::RenderPlacedFinger(finger, dResidue, kxsim::kNormalWidth, kxsim::kNormalHeight,
                                    kxsim::kNormalDose, kxsim::EOrientation::eDisplay),
          image);
}

inline void EmptyFrame(ClImage& image, double dResidue)
{
  ToImage(kxsim::RenderEmptyPlaten(dResidue, kxsim::kNormalWidth, kxsim::kNormalHeight,
                                   kxsim::kNormalDose, kxsim::EOrientation::eDisplay),
          image);
}

// Finger area as the engine measures it: samples below 241 in the central region.
inline int64_t FingerArea(const ClImage& mask)
{
  const int32_t w = mask.Width(), h = mask.Height();
  int64_t n = 0;
  for (int32_t y = h / 10; y < h - h / 10; ++y)
    for (int32_t x = w / 10; x < w - w / 10; ++x)
      n += At(mask, x, y) < 241;
  return n;
}

inline bool AllWhite(const ClImage& image)
{
  for (int32_t y = 0; y < image.Height(); ++y)
    for (int32_t x = 0; x < image.Width(); ++x)
      if (At(image, x, y) != 255)
        return false;
  return true;
}

inline bool SameSamples(const ClImage& a, const ClImage& b)
{
  if (a.Width() != b.Width() || a.Height() != b.Height())
    return false;
  for (int32_t y = 0; y < a.Height(); ++y)
    if (std::memcmp(a.Data() + ptrdiff_t(y) * a.LineElements(),
                    b.Data() + ptrdiff_t(y) * b.LineElements(), size_t(a.Width())) != 0)
      return false;
  return true;
}

} // namespace masktest
