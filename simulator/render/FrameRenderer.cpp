#include "simulator/render/FrameRenderer.h"

#include "simulator/render/FingerTexture.h"
#include "simulator/render/SimRandom.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>

namespace kxsim {

namespace {

constexpr int32_t kOne = 4096;          // contact level 1.0 in the tables
constexpr int32_t kFar = 1 << 24;       // "well outside", kept far from overflow
constexpr int32_t kTouch = kOne / 10;
constexpr size_t kMaxPixels = 4000000;  // within the noise table   // contact that shows: where a finger counts as touching

inline int Reflect(int i, int n) {
  const int period = 2 * n;
  i %= period;
  if (i < 0) i += period;
  return i < n ? i : period - 1 - i;
}

inline uint8_t Clamp8(int v) { return uint8_t(v < 0 ? 0 : (v > 255 ? 255 : v)); }

inline double SmoothStep(double a, double b, double x) {
  const double t = std::clamp((x - a) / (b - a), 0.0, 1.0);
  return t * t * (3.0 - 2.0 * t);
}

// Background plus noise, the part of a row that no finger touches.
inline void PlainRun(const uint8_t* pBg, const int8_t* pNoise, uint8_t* pOut, int n) {
  if (pNoise) {
    for (int x = 0; x < n; ++x) pOut[x] = Clamp8(int(pBg[x]) + int(pNoise[x]));
  } else {
    std::memcpy(pOut, pBg, size_t(n));
  }
}

}  // namespace

ClFrameRenderer::ClFrameRenderer(int nSceneWidth, int nSceneHeight, uint32_t nPlatenSeed)
    : m_nSceneWidth(nSceneWidth),
      m_nSceneHeight(nSceneHeight),
      m_nSeed(nPlatenSeed),
      m_Background(nSceneWidth, nSceneHeight, nPlatenSeed) {
  if (nSceneWidth <= 0 || nSceneHeight <= 0 || size_t(nSceneWidth) * size_t(nSceneHeight) > kMaxPixels)
    throw std::invalid_argument("scene size outside 1 to 4000000 pixels");
}

ClFrameRenderer::~ClFrameRenderer() = default;

void ClFrameRenderer::UseTexture(const ClFinger& f) {
  if (!m_pTexture || m_pTexture->Seed() != f.nSeed ||
      (f.ePattern != EPattern::eAuto && m_pTexture->Pattern() != f.ePattern))
    m_pTexture = ClFingerTexture::Get(f.nSeed, f.ePattern);
  m_pRidges = m_pTexture->Ridges(!f.bFake);
}

void ClFrameRenderer::Prepare(const ClScene& scene) {
  const int W = m_nSceneWidth, H = m_nSceneHeight;
  const ClFinger& f = scene.finger;
  m_bFinger = scene.eContact != EContact::eNone && scene.dPlaced > 0.0;
  if (!m_bFinger) return;
  m_nDryGain = f.dMoisture < 0.0 ? int(std::lround(std::min(1.0, -f.dMoisture) * 0.9 * 256.0)) : 0;

  // Contact geometry: an outline ellipse, and for a roll a lit band inside it.
  const double p = std::clamp(f.dPressure, 0.0, 1.0);
  const double placed = std::clamp(scene.dPlaced, 0.0, 1.0);
  const double grow = 0.45 + 0.55 * placed;
  const double size = (0.8 + 0.2 * p) * grow;
  const double cy = f.dCentreY < 0.0 ? H * 0.5 : f.dCentreY;
  const double b = std::max(1.0, f.dHeight * 0.5 * size);
  const bool roll = scene.eContact == EContact::eRoll;
  double cx, a, bandX = 0.0, bandHalf = 1.0;
  if (roll) {
    cx = 0.5 * (scene.dRollFromX + scene.dRollToX);
    bandHalf = std::max(1.0, scene.dPatchWidth * 0.5 * grow);
    a = 0.5 * std::fabs(scene.dRollToX - scene.dRollFromX) + 1.3 * bandHalf;
    bandX = scene.dPatchX;
  } else {
    cx = f.dCentreX < 0.0 ? W * 0.5 : f.dCentreX;
    a = std::max(1.0, f.dWidth * 0.5 * size);
  }
  m_dOutlineX = cx;
  m_dOutlineA = a;
  // Integer texture offsets: the scene is a plain window on the texture.
  const int offX = int(std::lround(ClFingerTexture::kCoreX - cx)) - scene.nShiftX;
  const int offY = int(std::lround(ClFingerTexture::kCentreY - cy)) - scene.nShiftY;

  m_aColQ.resize(size_t(W));
  m_aColBand.resize(size_t(W));
  m_aColT.resize(size_t(W));
  m_nBandL = W;
  m_nBandR = -1;
  for (int x = 0; x < W; ++x) {
    const double u = (x - cx) / a;
    m_aColQ[size_t(x)] = int32_t(std::min(double(kFar), u * u * kOne));
    int32_t band = kOne;
    if (roll) {
      // The side of a rolled finger curves away from the platen: contact fades over the
      // outer part of the patch.
      const double v = (x - bandX) / bandHalf;
      const double q = 1.0 - v * v;
      band = int32_t(std::max(-double(kFar), (q > 0.0 ? q * q : q) * kOne));
    }
    m_aColBand[size_t(x)] = band;
    if (band > 0) {
      m_nBandL = std::min(m_nBandL, x);
      m_nBandR = std::max(m_nBandR, x);
    }
    m_aColT[size_t(x)] = Reflect(x + offX, ClFingerTexture::kWidth);
  }
  m_aRowQ.resize(size_t(H));
  m_aRowT.resize(size_t(H));
  for (int y = 0; y < H; ++y) {
    const double v = (y - cy) / b;
    m_aRowQ[size_t(y)] = int32_t(std::min(double(kFar), v * v * kOne));
    m_aRowT[size_t(y)] = Reflect(y + offY, ClFingerTexture::kHeight) * ClFingerTexture::kWidth;
  }
}

bool ClFrameRenderer::Span(int y, int& xl, int& xr) const {
  const int32_t base = kOne - m_aRowQ[size_t(y)];
  if (base <= 0 || m_nBandL > m_nBandR) return false;
  const double half = m_dOutlineA * std::sqrt(double(base) / kOne);
  xl = std::max({m_nBandL, int(std::floor(m_dOutlineX - half)) - 1, 0});
  xr = std::min({m_nBandR, int(std::ceil(m_dOutlineX + half)) + 1, m_nSceneWidth - 1});
  return xl <= xr;
}

void ClFrameRenderer::BuildShading(const ClShadeKey& k) {
  if (k == m_ShadeKey && !m_aShade.empty()) return;
  m_ShadeKey = k;
  m_aShade.resize(size_t(kLevels) * 256);
  const double light = 215.0 * ClPlatenBackground::Illumination(k.nDose);
  const double pe = std::clamp(k.dPressure, 0.0, 1.0) * (0.35 + 0.65 * std::clamp(k.dPlaced, 0.0, 1.0));
  const double wet = std::max(0.0, std::min(1.0, k.dMoisture));
  const double dry = std::max(0.0, std::min(1.0, -k.dMoisture));
  // Firm or wet contact widens the ridges; a dry finger touches with its ridge tops only.
  const double base = 0.05 - 0.3 * pe - 0.35 * wet + 0.25 * dry;
  for (int ci = 0; ci < kLevels; ++ci) {
    double c = (ci + 0.5) / kLevels;
    if (k.bFake) c = std::min(1.0, 3.0 * c);  // rigid material: flat contact, sharp rim
    if (k.bFull) c = 1.0;
    // Towards the rim the finger presses less: only ridge tops touch and contrast fades.
    const double thr = base + (1.0 - c) * (1.0 - c) * 1.1;
    const double amp = (0.04 + 0.96 * std::pow(c, 0.6)) * (0.7 + 0.3 * pe);
    const double valley = k.bFake ? 0.5 * amp : (0.07 + 0.25 * wet) * std::sqrt(c);
    uint8_t* row = &m_aShade[size_t(ci) * 256];
    for (int ti = 0; ti < 256; ++ti) {
      const double t = (ti - 128) / 127.0;
      const double r = SmoothStep(thr - 0.22, thr + 0.22, t);
      row[ti] = uint8_t(std::clamp(std::lround(light * (valley + (amp - valley) * r)), 0l, 235l));
    }
  }
}

template <bool bDry>
void ClFrameRenderer::ShadeRow(int y, int xl, int xr, uint8_t* pV, uint8_t* pMask) const {
  const int32_t base = kOne - m_aRowQ[size_t(y)];
  const int8_t* ridges = m_pRidges + m_aRowT[size_t(y)];
  const uint8_t* dry = m_pTexture->Dryness() + m_aRowT[size_t(y)];
  const int32_t* colQ = m_aColQ.data();
  const int32_t* colBand = m_aColBand.data();
  const int32_t* colT = m_aColT.data();
  const uint8_t* shade = m_aShade.data();
  for (int x = xl; x <= xr; ++x) {
    const int32_t c = std::min(colBand[x], base - colQ[x]);
    if (c <= 0) {
      pV[x] = 0;
      continue;
    }
    int t = ridges[colT[x]];
    if (bDry) t = std::max(-128, t - ((int(dry[colT[x]]) * m_nDryGain) >> 9));
    pV[x] = shade[size_t(std::min(c >> 6, kLevels - 1)) * 256 + size_t(t + 128)];
    if (pMask && c >= kTouch) pMask[x] = 255;
  }
}

void ClFrameRenderer::ShadeRow(int y, int xl, int xr, uint8_t* pV, uint8_t* pMask) const {
  if (m_nDryGain) ShadeRow<true>(y, xl, xr, pV, pMask);
  else ShadeRow<false>(y, xl, xr, pV, pMask);
}

bool ClFrameRenderer::ShadeScene(bool bMask) {
  const size_t n = size_t(m_nSceneWidth) * size_t(m_nSceneHeight);
  m_aSceneV.assign(n, 0);
  if (bMask) m_aSceneMask.assign(n, 0);
  m_nShadeX0 = m_nSceneWidth;
  m_nShadeX1 = -1;
  m_nShadeY0 = m_nSceneHeight;
  m_nShadeY1 = -1;
  if (!m_bFinger) return false;
  for (int y = 0; y < m_nSceneHeight; ++y) {
    int xl, xr;
    if (!Span(y, xl, xr)) continue;
    const size_t row = size_t(y) * size_t(m_nSceneWidth);
    ShadeRow(y, xl, xr, &m_aSceneV[row], bMask ? &m_aSceneMask[row] : nullptr);
    m_nShadeX0 = std::min(m_nShadeX0, xl);
    m_nShadeX1 = std::max(m_nShadeX1, xr);
    m_nShadeY0 = std::min(m_nShadeY0, y);
    m_nShadeY1 = std::max(m_nShadeY1, y);
  }
  return m_nShadeX0 <= m_nShadeX1;
}

void ClFrameRenderer::PrepareScaling(int W, int H) {
  if (W == m_nScaleW && H == m_nScaleH) return;
  m_nScaleW = W;
  m_nScaleH = H;
  // Bilinear weights in 1/256, sample centres aligned: output pixel x covers scene
  // (x + 0.5) * sceneWidth / W - 0.5.
  auto table = [](int n, int scene, std::vector<int32_t>& i0, std::vector<int32_t>& f) {
    i0.resize(size_t(n));
    f.resize(size_t(n));
    for (int x = 0; x < n; ++x) {
      const double s = std::clamp((x + 0.5) * scene / n - 0.5, 0.0, double(scene - 1));
      int a = int(std::floor(s));
      int w = int(std::lround((s - a) * 256.0));
      if (w >= 256) { ++a; w = 0; }
      if (a >= scene - 1) { a = scene - 1; w = 0; }
      i0[size_t(x)] = a;
      f[size_t(x)] = w;
    }
  };
  table(W, m_nSceneWidth, m_aOutX0, m_aOutF);
  table(H, m_nSceneHeight, m_aOutY0, m_aOutFY);
}

void ClFrameRenderer::Compose(int W, int H, EOrientation eOrientation, const uint8_t* pBg,
                              size_t nBgRowStep, const int8_t* pNoise, uint8_t* pOut, uint8_t* pMask) {
  const bool same = W == m_nSceneWidth && H == m_nSceneHeight;
  const bool shaded = !same && ShadeScene(pMask != nullptr);
  if (!same) PrepareScaling(W, H);
  m_aRowV.resize(size_t(W));
  m_aBlend.assign(size_t(m_nSceneWidth), 0);
  // Output columns that can see the shaded area of a scaled scene.
  int sxl = 0, sxr = -1;
  if (shaded) {
    sxl = W;
    for (int x = 0; x < W; ++x)
      if (m_aOutX0[size_t(x)] + 1 >= m_nShadeX0 && m_aOutX0[size_t(x)] <= m_nShadeX1) {
        sxl = std::min(sxl, x);
        sxr = x;
      }
  }
  const int sw = m_nSceneWidth;
  for (int y = 0; y < H; ++y) {
    const int dy = eOrientation == EOrientation::eDevice ? H - 1 - y : y;
    const uint8_t* brow = pBg + size_t(dy) * nBgRowStep;
    // Noise belongs to the sensor's pixels, so both row orders show the same picture.
    const int8_t* nrow = pNoise ? pNoise + size_t(dy) * size_t(W) : nullptr;
    uint8_t* orow = pOut + size_t(y) * size_t(W);
    uint8_t* mrow = pMask ? pMask + size_t(y) * size_t(W) : nullptr;
    if (mrow) std::memset(mrow, 0, size_t(W));
    int xl = 0, xr = -1;
    uint8_t* v = m_aRowV.data();
    if (same) {
      if (m_bFinger && Span(dy, xl, xr)) ShadeRow(dy, xl, xr, v, mrow);
    } else if (shaded) {
      const int y0 = m_aOutY0[size_t(dy)], fy = m_aOutFY[size_t(dy)];
      const int y1 = std::min(y0 + 1, m_nSceneHeight - 1);
      if (y1 >= m_nShadeY0 && y0 <= m_nShadeY1) {
        xl = sxl;
        xr = sxr;
        const uint8_t* r0 = &m_aSceneV[size_t(y0) * size_t(sw)];
        const uint8_t* r1 = &m_aSceneV[size_t(y1) * size_t(sw)];
        // Rows first (a plain vector loop), then the columns from the blended row.
        uint16_t* blend = m_aBlend.data();
        const int bx0 = std::max(0, m_nShadeX0 - 1), bx1 = std::min(sw - 1, m_nShadeX1 + 1);
        for (int x = bx0; x <= bx1; ++x) blend[x] = uint16_t(r0[x] * (256 - fy) + r1[x] * fy);
        const int32_t* ox = m_aOutX0.data();
        const int32_t* of = m_aOutF.data();
        for (int x = xl; x <= xr; ++x) {
          const int x0 = ox[x], fx = of[x];
          const int x1 = std::min(x0 + 1, sw - 1);
          v[x] = uint8_t((int(blend[x0]) * (256 - fx) + int(blend[x1]) * fx + 32768) >> 16);
        }
        if (mrow) {
          const uint8_t* m0 = &m_aSceneMask[size_t(y0) * size_t(sw)];
          const uint8_t* m1 = &m_aSceneMask[size_t(y1) * size_t(sw)];
          for (int x = xl; x <= xr; ++x) {
            const int x0 = m_aOutX0[size_t(x)], fx = m_aOutF[size_t(x)];
            const int x1 = std::min(x0 + 1, sw - 1);
            const int top = m0[x0] * (256 - fx) + m0[x1] * fx;
            const int bot = m1[x0] * (256 - fx) + m1[x1] * fx;
            mrow[x] = ((top * (256 - fy) + bot * fy) >> 16) >= 128 ? 255 : 0;
          }
        }
      }
    }
    if (xl > xr) {
      PlainRun(brow, nrow, orow, W);
      continue;
    }
    PlainRun(brow, nrow, orow, xl);
    if (nrow) {
      // Shot noise grows with the light.
      for (int x = xl; x <= xr; ++x) {
        const int n = nrow[x], s = v[x];
        orow[x] = Clamp8(int(brow[x]) + s + n + ((n * s) >> 7));
      }
    } else {
      for (int x = xl; x <= xr; ++x) orow[x] = Clamp8(int(brow[x]) + int(v[x]));
    }
    PlainRun(brow + xr + 1, nrow ? nrow + xr + 1 : nullptr, orow + xr + 1, W - xr - 1);
  }
}

void ClFrameRenderer::CheckSize(int W, int H, const uint8_t* pOut) const {
  if (!pOut || W <= 0 || H <= 0 || size_t(W) * size_t(H) > kMaxPixels)
    throw std::invalid_argument("frame size outside 1 to 4000000 pixels, or no buffer");
}

void ClFrameRenderer::Render(const ClScene& scene, int W, int H, int nDose, uint64_t nFrame,
                             EOrientation eOrientation, uint8_t* pOut) {
  CheckSize(W, H, pOut);
  Prepare(scene);
  const uint8_t* bg = m_Background.Get(W, H, nDose, scene.dResidue);
  const size_t span = ClPlatenBackground::NoiseLength() - size_t(W) * size_t(H);
  const uint64_t key = nFrame * 0x9E3779B1ull + uint64_t(nDose & 0xFF) + (uint64_t(m_nSeed) << 40);
  const int8_t* noise = ClPlatenBackground::Noise() + size_t(Mix64(key) % span);
  if (m_bFinger) {
    UseTexture(scene.finger);
    BuildShading({scene.finger.dPressure, scene.finger.dMoisture, scene.dPlaced, scene.finger.bFake, false, nDose & 0xFF});
  }
  Compose(W, H, eOrientation, bg, size_t(W), noise, pOut, nullptr);
}

void ClFrameRenderer::RenderIdeal(const ClScene& scene, int W, int H, int nDose, bool bFullContact,
                                  EOrientation eOrientation, uint8_t* pOut, uint8_t* pMask) {
  CheckSize(W, H, pOut);
  Prepare(scene);
  m_aFlat.assign(size_t(W), uint8_t(ClPlatenBackground::DarkLevel(nDose)));
  if (m_bFinger) {
    UseTexture(scene.finger);
    BuildShading({scene.finger.dPressure, scene.finger.dMoisture, scene.dPlaced, scene.finger.bFake,
                  bFullContact, nDose & 0xFF});
  }
  Compose(W, H, eOrientation, m_aFlat.data(), 0, nullptr, pOut, pMask);
}

int64_t ClFrameRenderer::ContactPixels(const ClScene& scene) {
  Prepare(scene);
  if (!m_bFinger) return 0;
  int64_t n = 0;
  for (int y = 0; y < m_nSceneHeight; ++y) {
    int xl, xr;
    if (!Span(y, xl, xr)) continue;
    const int32_t base = kOne - m_aRowQ[size_t(y)];
    for (int x = xl; x <= xr; ++x)
      if (std::min(m_aColBand[size_t(x)], base - m_aColQ[size_t(x)]) >= kTouch) ++n;
  }
  return n;
}

}  // namespace kxsim
