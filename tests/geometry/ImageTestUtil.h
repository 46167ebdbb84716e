#pragma once
// Small helpers of the geometry and region tests: images from functions, random
// binary and grey images, sample access and comparison.
#include "imaging/FpImage.h"

#include <cstdint>
#include <functional>
#include <random>

namespace GeoTest {

inline uint8_t& At(ClImage& image, int32_t x, int32_t y)
{
  return image.Data()[static_cast<int64_t>(y) * image.LineBytes() + x];
}

inline uint8_t At(const ClImage& image, int32_t x, int32_t y)
{
  return image.Data()[static_cast<int64_t>(y) * image.LineBytes() + x];
}

inline void Make(ClImage& image, int32_t nW, int32_t nH, const std::function<uint8_t(int32_t, int32_t)>& f,
                 int32_t nPels = 19685)
{
  image.Create(eUInt8, nW, nH, 1, nPels, nPels);
  for (int32_t y = 0; y < nH; ++y)
    for (int32_t x = 0; x < nW; ++x)
      At(image, x, y) = f(x, y);
}

inline void MakeRandom(ClImage& image, int32_t nW, int32_t nH, uint32_t nSeed, int32_t nPels = 19685)
{
  std::mt19937 rng(nSeed);
  Make(image, nW, nH, [&](int32_t, int32_t) { return static_cast<uint8_t>(rng() & 0xFF); }, nPels);
}

// Object pixels (0) with the given density, the rest 255.
inline void MakeBinary(ClImage& image, int32_t nW, int32_t nH, double dDensity, uint32_t nSeed)
{
  std::mt19937 rng(nSeed);
  std::bernoulli_distribution object(dDensity);
  Make(image, nW, nH, [&](int32_t, int32_t) { return object(rng) ? uint8_t(0) : uint8_t(255); });
}

// Index of the first differing pixel in row order, or -1.
inline int64_t FirstDifference(const ClImage& a, const ClImage& b)
{
  if (a.Width() != b.Width() || a.Height() != b.Height())
    return -2;
  for (int32_t y = 0; y < a.Height(); ++y)
    for (int32_t x = 0; x < a.Width(); ++x)
      if (At(a, x, y) != At(b, x, y))
        return static_cast<int64_t>(y) * a.Width() + x;
  return -1;
}

} // namespace GeoTest
