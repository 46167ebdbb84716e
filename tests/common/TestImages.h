#pragma once
// Images for the image-processing tests: random, listed or drawn samples, and sample
// access by position for the brute-force references.
#include "model/FpImage.h"

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <limits>
#include <random>
#include <type_traits>
#include <vector>

template <class T>
inline T& At(ClImage& image, int32_t x, int32_t y, uint32_t p = 0)
{
  return image
      .Pixels<T>()[static_cast<ptrdiff_t>(y) * image.LineElements() + x * image.Planes() + p];
}

template <class T>
inline T At(const ClImage& image, int32_t x, int32_t y, uint32_t p = 0)
{
  return image
      .Pixels<T>()[static_cast<ptrdiff_t>(y) * image.LineElements() + x * image.Planes() + p];
}

template <class T>
inline void MakeRandom(ClImage& image, int32_t w, int32_t h, uint32_t nSeed, double dLow,
                       double dHigh, uint32_t nPlanes = 1)
{
  image.Create(TpDataType<T>::value, w, h, nPlanes, 19685, 19685);
  std::mt19937 gen(nSeed);
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x)
      for (uint32_t p = 0; p < nPlanes; ++p) {
        if constexpr (std::is_floating_point<T>::value)
          At<T>(image, x, y, p) =
              static_cast<T>(std::uniform_real_distribution<double>(dLow, dHigh)(gen));
        else
          At<T>(image, x, y, p) = static_cast<T>(std::uniform_int_distribution<int64_t>(
              static_cast<int64_t>(dLow), static_cast<int64_t>(dHigh))(gen));
      }
}

// Full range of an integer type, [0, 1) for floating types.
template <class T>
inline void MakeRandom(ClImage& image, int32_t w, int32_t h, uint32_t nSeed)
{
  if constexpr (std::is_floating_point<T>::value)
    MakeRandom<T>(image, w, h, nSeed, 0.0, 1.0);
  else
    MakeRandom<T>(image, w, h, nSeed, double(std::numeric_limits<T>::min()),
                  double(std::numeric_limits<T>::max()));
}

// One row after another.
template <class T>
inline void MakeImage(ClImage& image, int32_t w, int32_t h, std::initializer_list<double> values)
{
  image.Create(TpDataType<T>::value, w, h, 1, 19685, 19685);
  auto it = values.begin();
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x)
      At<T>(image, x, y) = static_cast<T>(it != values.end() ? *it++ : 0.0);
}

template <class T>
inline void MakeFlat(ClImage& image, int32_t w, int32_t h, T value)
{
  image.Create(TpDataType<T>::value, w, h, 1, 19685, 19685);
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x)
      At<T>(image, x, y) = value;
}

// Points a processor at its images.
template <class P>
inline P& Wire(P& p, ClImage& in, ClImage& out)
{
  p.m_pInImage = &in;
  p.m_pOutImage = &out;
  return p;
}

// Sizes every filter test runs over: one pixel, small odd and even, and larger.
struct TpSize
{
  int32_t w, h;
};
inline std::vector<TpSize> TestSizes()
{
  return {{1, 1}, {7, 5}, {8, 6}, {2, 9}, {31, 4}, {203, 151}, {256, 190}};
}

// First position where two images differ, for a readable failure; -1 if none.
template <class T>
inline int64_t FirstDifference(const ClImage& a, const ClImage& b, double dTolerance = 0)
{
  if (a.Width() != b.Width() || a.Height() != b.Height() || a.Planes() != b.Planes())
    return -2;
  for (int32_t y = 0; y < a.Height(); ++y)
    for (int32_t x = 0; x < a.Width(); ++x)
      for (uint32_t p = 0; p < a.Planes(); ++p) {
        const double da = double(At<T>(a, x, y, p)), db = double(At<T>(b, x, y, p));
        const bool bSame = dTolerance == 0 ? (da == db || (da != da && db != db))
                                           : (da - db <= dTolerance && db - da <= dTolerance);
        if (!bSame)
          return (int64_t(y) * a.Width() + x) * a.Planes() + p;
      }
  return -1;
}

// Byte images of the geometry and region tests.
namespace GeoTest {

inline uint8_t& At(ClImage& image, int32_t x, int32_t y) { return ::At<uint8_t>(image, x, y); }
inline uint8_t At(const ClImage& image, int32_t x, int32_t y) { return ::At<uint8_t>(image, x, y); }

inline void Make(ClImage& image, int32_t nW, int32_t nH,
                 const std::function<uint8_t(int32_t, int32_t)>& f, int32_t nPels = 19685)
{
  image.Create(eUInt8, nW, nH, 1, nPels, nPels);
  for (int32_t y = 0; y < nH; ++y)
    for (int32_t x = 0; x < nW; ++x)
      At(image, x, y) = f(x, y);
}

inline void MakeRandom(ClImage& image, int32_t nW, int32_t nH, uint32_t nSeed,
                       int32_t nPels = 19685)
{
  std::mt19937 rng(nSeed);
  Make(
      image, nW, nH, [&](int32_t, int32_t) { return static_cast<uint8_t>(rng() & 0xFF); }, nPels);
}

// Object pixels (0) with the given density, the rest 255.
inline void MakeBinary(ClImage& image, int32_t nW, int32_t nH, double dDensity, uint32_t nSeed)
{
  std::mt19937 rng(nSeed);
  std::bernoulli_distribution object(dDensity);
  Make(image, nW, nH, [&](int32_t, int32_t) { return object(rng) ? uint8_t(0) : uint8_t(255); });
}

inline int64_t FirstDifference(const ClImage& a, const ClImage& b)
{
  return ::FirstDifference<uint8_t>(a, b);
}

} // namespace GeoTest
