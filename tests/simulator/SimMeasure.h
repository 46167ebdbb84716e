#pragma once
// Measurements on simulated pictures, written for clarity rather than speed.
#include "simulator/render/SimTypes.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace kxsimtest {

using kxsim::ClGreyImage;

// Mean of a box of radius r around each pixel, the box cut at the image border.
inline std::vector<int> BoxMean(const ClGreyImage& img, int r) {
  const int W = img.nWidth, H = img.nHeight;
  std::vector<int64_t> sum(size_t(W + 1) * size_t(H + 1), 0);
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x)
      sum[size_t(y + 1) * (W + 1) + x + 1] = img.At(x, y) + sum[size_t(y) * (W + 1) + x + 1] +
                                             sum[size_t(y + 1) * (W + 1) + x] - sum[size_t(y) * (W + 1) + x];
  std::vector<int> out(size_t(W) * H);
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x) {
      const int x0 = std::max(0, x - r), x1 = std::min(W, x + r + 1);
      const int y0 = std::max(0, y - r), y1 = std::min(H, y + r + 1);
      const int64_t s = sum[size_t(y1) * (W + 1) + x1] - sum[size_t(y0) * (W + 1) + x1] -
                        sum[size_t(y1) * (W + 1) + x0] + sum[size_t(y0) * (W + 1) + x0];
      out[size_t(y) * W + x] = int(s / ((x1 - x0) * (y1 - y0)));
    }
  return out;
}

// How the scanner condition counts residue: pixels of the central region at least 5 grey
// levels above their 31 by 31 neighbourhood.
inline int ResidueSample(const ClGreyImage& img) {
  const std::vector<int> mean = BoxMean(img, 15);
  const int W = img.nWidth, H = img.nHeight;
  int n = 0;
  for (int y = H / 10; y < 9 * H / 10; ++y)
    for (int x = W / 10; x < 9 * W / 10; ++x)
      if (img.At(x, y) - mean[size_t(y) * W + x] >= 5) ++n;
  return n;
}

// Pixels whose 9 by 9 mean lies well above the dark platen: the lit finger.
inline std::vector<uint8_t> LitMask(const ClGreyImage& img, int nRise = 25) {
  const std::vector<int> mean = BoxMean(img, 4);
  std::vector<uint8_t> m(mean.size());
  for (size_t i = 0; i < m.size(); ++i) m[i] = mean[i] > 16 + nRise ? 1 : 0;
  return m;
}

inline int64_t Count(const std::vector<uint8_t>& m) {
  int64_t n = 0;
  for (uint8_t v : m) n += v ? 1 : 0;
  return n;
}

struct ClStats {
  double dMean = 0, dStd = 0;
  int nMin = 255, nMax = 0;
};

inline ClStats Stats(const ClGreyImage& img, int x0, int y0, int x1, int y1) {
  ClStats s;
  double sum = 0, sq = 0;
  int n = 0;
  for (int y = y0; y < y1; ++y)
    for (int x = x0; x < x1; ++x) {
      const int v = img.At(x, y);
      sum += v;
      sq += double(v) * v;
      s.nMin = std::min(s.nMin, v);
      s.nMax = std::max(s.nMax, v);
      ++n;
    }
  s.dMean = sum / n;
  s.dStd = std::sqrt(std::max(0.0, sq / n - s.dMean * s.dMean));
  return s;
}

// Dominant plane wave of a square block: the period (pixels) and the direction of the
// wave vector (radians, 0..pi), found by a brute-force Fourier search.
struct ClWave {
  double dPeriod = 0, dNormal = 0, dPower = 0, dMeanPower = 0;
};

inline ClWave DominantWave(const ClGreyImage& img, int x0, int y0, int n) {
  const double pi = 3.14159265358979323846;
  std::vector<double> v(size_t(n) * n);
  double mean = 0;
  for (int y = 0; y < n; ++y)
    for (int x = 0; x < n; ++x) mean += v[size_t(y) * n + x] = img.At(x0 + x, y0 + y);
  mean /= double(n) * n;
  for (double& d : v) d -= mean;
  ClWave best;
  double total = 0;
  int tried = 0;
  for (double period = 6.0; period <= 13.0; period += 0.25)
    for (int a = 0; a < 180; a += 3) {
      const double t = a * pi / 180.0;
      const double kx = 2 * pi * std::cos(t) / period, ky = 2 * pi * std::sin(t) / period;
      double re = 0, im = 0;
      for (int y = 0; y < n; ++y)
        for (int x = 0; x < n; ++x) {
          const double ph = kx * x + ky * y;
          re += v[size_t(y) * n + x] * std::cos(ph);
          im += v[size_t(y) * n + x] * std::sin(ph);
        }
      const double p = re * re + im * im;
      total += p;
      ++tried;
      if (p > best.dPower) {
        best.dPower = p;
        best.dPeriod = period;
        best.dNormal = t;
      }
    }
  best.dMeanPower = total / tried;
  return best;
}

// Normalised cross-correlation over the pixels where mask is set.
inline double Correlation(const ClGreyImage& a, const ClGreyImage& b, const std::vector<uint8_t>& mask) {
  double sa = 0, sb = 0, n = 0;
  for (size_t i = 0; i < mask.size(); ++i)
    if (mask[i]) {
      sa += a.aPixels[i];
      sb += b.aPixels[i];
      ++n;
    }
  if (n == 0) return 0;
  const double ma = sa / n, mb = sb / n;
  double ab = 0, aa = 0, bb = 0;
  for (size_t i = 0; i < mask.size(); ++i)
    if (mask[i]) {
      const double da = a.aPixels[i] - ma, db = b.aPixels[i] - mb;
      ab += da * db;
      aa += da * da;
      bb += db * db;
    }
  return ab / std::sqrt(aa * bb + 1e-9);
}

}  // namespace kxsimtest
