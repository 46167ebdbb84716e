#include "simulator/render/FingerTexture.h"

#include "simulator/render/OrientationField.h"
#include "simulator/render/SimRandom.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>
#include <mutex>

namespace kxsim {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr int kRadius = 7; // kernel of 15 by 15
constexpr int kTaps = 2 * kRadius + 1;
constexpr int kLane = 16;    // taps per row, padded for the vector unit
constexpr int kAngles = 36;  // 5 degree steps
constexpr int kPeriods = 13; // 7.0, 7.5 .. 13.0 pixels
constexpr int kPasses = 20;
constexpr int kOne = 1024; // fixed point of the growing pattern

inline double SmoothStep01(double t) { return t * t * (3.0 - 2.0 * t); }

// Gabor kernels in Q15, zero mean, scaled to answer 1 to a matching sinusoid.
struct ClKernelBank
{
  std::vector<int16_t> aTaps; // [angle][period][row][lane]

  KXSIM_UNCHECKED_BY_TSAN ClKernelBank() : aTaps(size_t(kAngles) * kPeriods * kTaps * kLane, 0)
  {
    std::vector<double> k(size_t(kTaps) * kTaps);
    for (int a = 0; a < kAngles; ++a) {
      const double ang = a * kPi / kAngles;
      const double ca = std::cos(ang), sa = std::sin(ang);
      for (int p = 0; p < kPeriods; ++p) {
        const double period = 7.0 + 0.5 * p;
        const double su = 0.36 * period, sv = 0.46 * period;
        double gsum = 0.0, csum = 0.0;
        for (int dy = -kRadius; dy <= kRadius; ++dy)
          for (int dx = -kRadius; dx <= kRadius; ++dx) {
            const double u = -dx * sa + dy * ca; // across the ridges
            const double v = dx * ca + dy * sa;  // along them
            const double g = std::exp(-0.5 * (u * u / (su * su) + v * v / (sv * sv)));
            k[size_t(dy + kRadius) * kTaps + size_t(dx + kRadius)] = g;
            gsum += g;
            csum += g * std::cos(2.0 * kPi * u / period);
          }
        const double mean = csum / gsum;
        double resp = 0.0;
        for (int dy = -kRadius; dy <= kRadius; ++dy)
          for (int dx = -kRadius; dx <= kRadius; ++dx) {
            const double u = -dx * sa + dy * ca;
            double& w = k[size_t(dy + kRadius) * kTaps + size_t(dx + kRadius)];
            w *= std::cos(2.0 * kPi * u / period) - mean;
            resp += w * std::cos(2.0 * kPi * u / period);
          }
        int16_t* dst = &aTaps[(size_t(a) * kPeriods + size_t(p)) * kTaps * kLane];
        for (int r = 0; r < kTaps; ++r)
          for (int c = 0; c < kTaps; ++c)
            dst[r * kLane + c] =
                int16_t(std::lround(k[size_t(r) * kTaps + size_t(c)] / resp * 32768.0));
      }
    }
  }
  const int16_t* Kernel(int nBin) const { return &aTaps[size_t(nBin) * kTaps * kLane]; }
};

const ClKernelBank& Bank()
{
  static const ClKernelBank bank;
  return bank;
}

// One filtering pass: pIn is padded by kRadius on top and left, pOut is unpadded.
KXSIM_UNCHECKED_FILTER inline int32_t Filter(const int16_t* pIn, size_t nStride,
                                             const int16_t* pKernel)
{
  int32_t acc = 0;
  for (int r = 0; r < kTaps; ++r) {
    const int16_t* p = pIn + size_t(r) * nStride;
    const int16_t* k = pKernel + r * kLane;
    for (int i = 0; i < kLane; ++i)
      acc += int32_t(p[i]) * int32_t(k[i]);
  }
  return acc;
}

// One pass of growth over the whole texture: pIn and pOut padded alike, one kernel bin per pixel.
KXSIM_UNCHECKED_FILTER void FilterPass(const int16_t* pIn, int16_t* pOut, size_t nStride,
                                       const uint16_t* pBins)
{
  const ClKernelBank& bank = Bank();
  const int W = ClFingerTexture::kWidth;
  // A gain above 1 pushes the pattern into saturation, where every ridge has full contrast.
  const int32_t gain = 420;
  for (int y = 0; y < ClFingerTexture::kHeight; ++y) {
    const int16_t* src = pIn + size_t(y) * nStride;
    int16_t* dst = pOut + (size_t(y) + kRadius) * nStride + kRadius;
    const uint16_t* brow = pBins + size_t(y) * W;
    for (int x = 0; x < W; ++x) {
      const int32_t r = Filter(src + x, nStride, bank.Kernel(brow[x])) >> 15;
      dst[x] = int16_t(std::clamp((r * gain) >> 8, -kOne, kOne));
    }
  }
}

struct ClCacheEntry
{
  std::once_flag once;
  std::shared_ptr<const ClFingerTexture> pTexture;
};

} // namespace

std::shared_ptr<const ClFingerTexture> ClFingerTexture::Get(uint32_t nSeed, EPattern ePattern,
                                                            double dPeriod)
{
  static std::mutex mutex;
  static std::map<std::tuple<uint32_t, int, int>, std::shared_ptr<ClCacheEntry>> cache;
  const EPattern e =
      ePattern == EPattern::eAuto ? ClOrientationField::PatternFromSeed(nSeed) : ePattern;
  const int quarters = QuarterPeriod(dPeriod);
  std::shared_ptr<ClCacheEntry> entry;
  {
    std::lock_guard<std::mutex> lock(mutex);
    std::shared_ptr<ClCacheEntry>& slot = cache[{nSeed, int(e), quarters}];
    if (!slot)
      slot = std::make_shared<ClCacheEntry>();
    entry = slot;
  }
  // Growth runs outside the map's lock so that other seeds are not held up.
  std::call_once(entry->once, [&] {
    entry->pTexture = std::make_shared<ClFingerTexture>(nSeed, e, quarters / 4.0);
  });
  return entry->pTexture;
}

ClFingerTexture::ClFingerTexture(uint32_t nSeed, EPattern ePattern, double dPeriod)
  : m_nSeed(nSeed),
    m_ePattern(ePattern == EPattern::eAuto ? ClOrientationField::PatternFromSeed(nSeed) : ePattern),
    m_nPeriodQuarters(QuarterPeriod(dPeriod))
{
  Grow();
  StampPores();
  MakeDryness();
  MakeTone();
}

int ClFingerTexture::QuarterPeriod(double dPeriod)
{
  return int(std::lround(std::clamp(dPeriod, kMinPeriod, kMaxPeriod) * 4.0));
}

KXSIM_UNCHECKED_BY_TSAN void ClFingerTexture::Grow()
{
  const int W = kWidth, H = kHeight;
  const ClOrientationField field(m_nSeed, m_ePattern, kCoreX, kCoreY, m_nPeriodQuarters / 4.0);

  // Orientation and period per pixel, computed on a coarse grid and held per 4 by 4 cell:
  // both fields vary far slower than that except right at a core, where it does not show.
  std::vector<uint16_t> bins(size_t(W) * H);
  const int cw = (W + 7) / 8, ch = (H + 7) / 8;
  m_aAngle.assign(size_t(cw) * ch, 0.0f);
  m_aPeriod.assign(size_t(cw) * ch, 0.0f);
  for (int cy = 0; cy < ch; ++cy)
    for (int cx = 0; cx < cw; ++cx) {
      m_aAngle[size_t(cy) * cw + cx] = float(field.RidgeAngle(cx * 8 + 3.5, cy * 8 + 3.5));
      m_aPeriod[size_t(cy) * cw + cx] = float(field.Period(cx * 8 + 3.5, cy * 8 + 3.5));
    }
  for (int by = 0; by < H; by += 4)
    for (int bx = 0; bx < W; bx += 4) {
      const double a = field.RidgeAngle(bx + 1.5, by + 1.5);
      const double t = field.Period(bx + 1.5, by + 1.5);
      const int ab = int(std::lround(a / (kPi / kAngles))) % kAngles;
      const int pb = std::clamp(int(std::lround((t - 7.0) / 0.5)), 0, kPeriods - 1);
      const uint16_t bin = uint16_t(ab * kPeriods + pb);
      for (int y = by; y < std::min(by + 4, H); ++y)
        for (int x = bx; x < std::min(bx + 4, W); ++x)
          bins[size_t(y) * W + x] = bin;
    }

  // Padded buffers: kRadius rows and columns in front, enough behind for a full lane.
  const size_t stride = size_t(W) + kRadius + kLane;
  const size_t rows = size_t(H) + 2 * kRadius;
  std::vector<int16_t> a(stride * rows, 0), b(stride * rows, 0);
  ClRandom rnd(uint64_t(m_nSeed) * 104729u + 3u);
  for (int y = 0; y < H; ++y) {
    int16_t* row = &a[(size_t(y) + kRadius) * stride + kRadius];
    for (int x = 0; x < W; ++x)
      row[x] = int16_t(int(rnd.Below(2 * kOne + 1)) - kOne);
  }

  for (int pass = 0; pass < kPasses; ++pass) {
    FilterPass(a.data(), b.data(), stride, bins.data());
    a.swap(b);
  }

  // The settled pattern is nearly binary; a small binomial blur gives the ridges the soft
  // flanks of a real print without the contrast losses of an oriented smoothing pass.
  m_aPlain.resize(size_t(W) * H);
  for (int y = 0; y < H; ++y) {
    const int16_t* r0 = &a[(size_t(y) + kRadius - 1) * stride + kRadius];
    const int16_t* r1 = r0 + stride;
    const int16_t* r2 = r1 + stride;
    for (int x = 0; x < W; ++x) {
      const int v = r0[x - 1] + 2 * r0[x] + r0[x + 1] + 2 * (r1[x - 1] + 2 * r1[x] + r1[x + 1]) +
                    r2[x - 1] + 2 * r2[x] + r2[x + 1];
      m_aPlain[size_t(y) * W + x] = int8_t(std::clamp(v * 127 / (16 * kOne), -127, 127));
    }
  }
}

KXSIM_UNCHECKED_BY_TSAN void ClFingerTexture::StampPores()
{
  // Pores sit on ridge centres, about one every 12 pixels along a ridge.
  const int W = kWidth, H = kHeight;
  m_aPores = m_aPlain;
  ClRandom rnd(uint64_t(m_nSeed) * 15485863u + 11u);
  const int cell = 11;
  for (int cy = 0; cy + cell <= H; cy += cell)
    for (int cx = 0; cx + cell <= W; cx += cell) {
      const int px = cx + 1 + int(rnd.Below(cell - 2));
      const int py = cy + 1 + int(rnd.Below(cell - 2));
      if (rnd.Below(100) >= 70 || m_aPlain[size_t(py) * W + px] < 70)
        continue;
      for (int dy = -1; dy <= 1; ++dy)
        for (int dx = -1; dx <= 1; ++dx) {
          int8_t& v = m_aPores[size_t(py + dy) * W + size_t(px + dx)];
          const int drop = (dx == 0 && dy == 0) ? 150 : ((dx == 0 || dy == 0) ? 80 : 35);
          v = int8_t(std::max(-127, int(v) - drop));
        }
    }
}

KXSIM_UNCHECKED_BY_TSAN void ClFingerTexture::MakeDryness()
{
  // Value noise on a 5 pixel lattice, so that breaks fall every few pixels along a ridge.
  const int W = kWidth, H = kHeight, g = 5;
  const int gw = W / g + 2, gh = H / g + 2;
  std::vector<uint8_t> lattice(size_t(gw) * gh);
  ClRandom rnd(uint64_t(m_nSeed) * 32452843u + 5u);
  for (uint8_t& v : lattice)
    v = uint8_t(rnd.Below(256));
  m_aDryness.resize(size_t(W) * H);
  for (int y = 0; y < H; ++y) {
    const int ly = y / g, fy = y % g;
    for (int x = 0; x < W; ++x) {
      const int lx = x / g, fx = x % g;
      const int v00 = lattice[size_t(ly) * gw + lx], v01 = lattice[size_t(ly) * gw + lx + 1];
      const int v10 = lattice[size_t(ly + 1) * gw + lx],
                v11 = lattice[size_t(ly + 1) * gw + lx + 1];
      const int top = v00 * (g - fx) + v01 * fx, bot = v10 * (g - fx) + v11 * fx;
      m_aDryness[size_t(y) * W + x] = uint8_t((top * (g - fy) + bot * fy) / (g * g));
    }
  }
}

KXSIM_UNCHECKED_BY_TSAN void ClFingerTexture::MakeTone()
{
  // Value noise on a coarse lattice, smoothly interpolated: how evenly the skin lights up
  // (tone) and where a wet finger holds sweat (blotches).
  ClRandom rnd(uint64_t(m_nSeed) * 49979687u + 13u);
  m_aToneLattice.resize(size_t(kToneW) * kToneH);
  for (float& v : m_aToneLattice)
    v = float(rnd.Uniform(-1.0, 1.0));
  const int W = kWidth, H = kHeight, g = 36;
  const int gw = W / g + 3, gh = H / g + 3;
  std::vector<float> lattice(size_t(gw) * gh);
  for (float& v : lattice)
    v = float(rnd.Uniform());
  m_aBlotch.resize(size_t(W) * H);
  for (int y = 0; y < H; ++y) {
    const int ly = y / g;
    const double fy = SmoothStep01(double(y % g) / g);
    for (int x = 0; x < W; ++x) {
      const int lx = x / g;
      const double fx = SmoothStep01(double(x % g) / g);
      const double top =
          lattice[size_t(ly) * gw + lx] * (1 - fx) + lattice[size_t(ly) * gw + lx + 1] * fx;
      const double bot =
          lattice[size_t(ly + 1) * gw + lx] * (1 - fx) + lattice[size_t(ly + 1) * gw + lx + 1] * fx;
      // Blotches cover about a third of the skin, with soft edges.
      const double v = (top * (1 - fy) + bot * fy - 0.55) / 0.2;
      m_aBlotch[size_t(y) * W + x] = uint8_t(std::lround(255.0 * std::clamp(v, 0.0, 1.0)));
    }
  }
}

double ClFingerTexture::Tone(double x, double y) const
{
  const double fx = std::clamp(x, 0.0, double(kWidth)) / kToneCell;
  const double fy = std::clamp(y, 0.0, double(kHeight)) / kToneCell;
  const int ix = std::min(int(fx), kToneW - 2), iy = std::min(int(fy), kToneH - 2);
  const double wx = SmoothStep01(fx - ix), wy = SmoothStep01(fy - iy);
  const float* r0 = &m_aToneLattice[size_t(iy) * kToneW + size_t(ix)];
  const float* r1 = r0 + kToneW;
  return (r0[0] * (1 - wx) + r0[1] * wx) * (1 - wy) + (r1[0] * (1 - wx) + r1[1] * wx) * wy;
}

double ClFingerTexture::PeriodAt(int x, int y) const
{
  const int cw = (kWidth + 7) / 8;
  return m_aPeriod[size_t(std::clamp(y, 0, kHeight - 1) / 8) * cw +
                   size_t(std::clamp(x, 0, kWidth - 1) / 8)];
}

double ClFingerTexture::RidgeAngleAt(int x, int y) const
{
  const int cw = (kWidth + 7) / 8;
  return m_aAngle[size_t(std::clamp(y, 0, kHeight - 1) / 8) * cw +
                  size_t(std::clamp(x, 0, kWidth - 1) / 8)];
}

} // namespace kxsim
