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
inline std::vector<int> BoxMean(const ClGreyImage& img, int r)
{
  const int W = img.nWidth, H = img.nHeight;
  std::vector<int64_t> sum(size_t(W + 1) * size_t(H + 1), 0);
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x)
      sum[size_t(y + 1) * (W + 1) + x + 1] = img.At(x, y) + sum[size_t(y) * (W + 1) + x + 1] +
                                             sum[size_t(y + 1) * (W + 1) + x] -
                                             sum[size_t(y) * (W + 1) + x];
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
inline int ResidueSample(const ClGreyImage& img)
{
  const std::vector<int> mean = BoxMean(img, 15);
  const int W = img.nWidth, H = img.nHeight;
  int n = 0;
  for (int y = H / 10; y < 9 * H / 10; ++y)
    for (int x = W / 10; x < 9 * W / 10; ++x)
      if (img.At(x, y) - mean[size_t(y) * W + x] >= 5)
        ++n;
  return n;
}

// Pixels whose 9 by 9 mean lies well above the dark platen: the lit finger.
inline std::vector<uint8_t> LitMask(const ClGreyImage& img, int nRise = 25)
{
  const std::vector<int> mean = BoxMean(img, 4);
  std::vector<uint8_t> m(mean.size());
  for (size_t i = 0; i < m.size(); ++i)
    m[i] = mean[i] > 16 + nRise ? 1 : 0;
  return m;
}

inline int64_t Count(const std::vector<uint8_t>& m)
{
  int64_t n = 0;
  for (uint8_t v : m)
    n += v ? 1 : 0;
  return n;
}

struct ClStats
{
  double dMean = 0, dStd = 0;
  int nMin = 255, nMax = 0;
};

inline ClStats Stats(const ClGreyImage& img, int x0, int y0, int x1, int y1)
{
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
struct ClWave
{
  double dPeriod = 0, dNormal = 0, dPower = 0, dMeanPower = 0;
};

inline ClWave DominantWave(const ClGreyImage& img, int x0, int y0, int n)
{
  const double pi = 3.14159265358979323846;
  std::vector<double> v(size_t(n) * n);
  double mean = 0;
  for (int y = 0; y < n; ++y)
    for (int x = 0; x < n; ++x)
      mean += v[size_t(y) * n + x] = img.At(x0 + x, y0 + y);
  mean /= double(n) * n;
  for (double& d : v)
    d -= mean;
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
inline double Correlation(const ClGreyImage& a, const ClGreyImage& b,
                          const std::vector<uint8_t>& mask)
{
  double sa = 0, sb = 0, n = 0;
  for (size_t i = 0; i < mask.size(); ++i)
    if (mask[i]) {
      sa += a.aPixels[i];
      sb += b.aPixels[i];
      ++n;
    }
  if (n == 0)
    return 0;
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

// Integer shift (dx, dy), |dx|, |dy| <= nRange, that best lays the n by n block of a at
// (x0, y0) onto b: b(x + dx, y + dy) matches a(x, y), by normalised correlation, so that
// changes of contact and brightness do not pull the match. Ridges running straight through
// a block leave the shift along them open; of the shifts that match about as well as the
// best, the shortest is taken (the shift across the ridges).
struct ClShift
{
  int nDx = 0, nDy = 0;
  double dScore = 0;
};

inline ClShift BlockShift(const ClGreyImage& a, const ClGreyImage& b, int x0, int y0, int n,
                          int nRange)
{
  const double m = double(n) * n;
  double sa = 0, saa = 0;
  for (int y = 0; y < n; ++y)
    for (int x = 0; x < n; ++x) {
      const double v = a.At(x0 + x, y0 + y);
      sa += v;
      saa += v * v;
    }
  const double va = saa - sa * sa / m;
  const int side = 2 * nRange + 1;
  std::vector<double> score(size_t(side) * size_t(side));
  double top = -2.0;
  for (int dy = -nRange; dy <= nRange; ++dy)
    for (int dx = -nRange; dx <= nRange; ++dx) {
      double sb = 0, sbb = 0, sab = 0;
      for (int y = 0; y < n; ++y) {
        const uint8_t* ra = a.Row(y0 + y) + x0;
        const uint8_t* rb = b.Row(y0 + y + dy) + x0 + dx;
        for (int x = 0; x < n; ++x) {
          sb += rb[x];
          sbb += double(rb[x]) * rb[x];
          sab += double(ra[x]) * rb[x];
        }
      }
      const double c = (sab - sa * sb / m) / std::sqrt(va * (sbb - sb * sb / m) + 1e-9);
      score[size_t(dy + nRange) * size_t(side) + size_t(dx + nRange)] = c;
      top = std::max(top, c);
    }
  ClShift best;
  int norm = 1 << 30;
  for (int dy = -nRange; dy <= nRange; ++dy)
    for (int dx = -nRange; dx <= nRange; ++dx) {
      const double c = score[size_t(dy + nRange) * size_t(side) + size_t(dx + nRange)];
      const int d = dx * dx + dy * dy;
      if (c >= top - 0.02 && (d < norm || (d == norm && c > best.dScore))) {
        best = {dx, dy, c};
        norm = d;
      }
    }
  return best;
}

// Mean absolute difference of two frames over the pixels where mask is set.
inline double MeanAbsDiff(const ClGreyImage& a, const ClGreyImage& b,
                          const std::vector<uint8_t>& mask)
{
  double s = 0, n = 0;
  for (size_t i = 0; i < mask.size(); ++i)
    if (mask[i]) {
      s += std::abs(int(a.aPixels[i]) - int(b.aPixels[i]));
      ++n;
    }
  return n ? s / n : 0.0;
}

// The capture engine's view of a raw frame: a 3 by 3 mean, then nearest neighbours at
// 800 by 750, and its histogram.
inline std::vector<int64_t> EngineHistogram(const ClGreyImage& raw, int nW = 800, int nH = 750)
{
  std::vector<int64_t> h(256, 0);
  for (int y = 0; y < nH; ++y)
    for (int x = 0; x < nW; ++x) {
      const int sx = int(int64_t(x) * raw.nWidth / nW), sy = int(int64_t(y) * raw.nHeight / nH);
      int sum = 0, cnt = 0;
      for (int dy = -1; dy <= 1; ++dy)
        for (int dx = -1; dx <= 1; ++dx) {
          const int xx = sx + dx, yy = sy + dy;
          if (xx < 0 || yy < 0 || xx >= raw.nWidth || yy >= raw.nHeight)
            continue;
          sum += raw.At(xx, yy);
          ++cnt;
        }
      ++h[size_t(sum / cnt)];
    }
  return h;
}

// The engine's motion measure: squared differences of the cumulative histograms.
inline int64_t MotionMeasure(const std::vector<int64_t>& h1, const std::vector<int64_t>& h2)
{
  int64_t c1 = 0, c2 = 0, d = 0;
  for (size_t i = 0; i < 256; ++i) {
    c1 += h1[i];
    c2 += h2[i];
    d += (c2 - c1) * (c2 - c1);
  }
  return d;
}

} // namespace kxsimtest
