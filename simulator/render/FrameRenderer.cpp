#include "simulator/render/FrameRenderer.h"

#include "simulator/render/ContactModel.h"
#include "simulator/render/FingerTexture.h"
#include "simulator/render/SimRandom.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>

namespace kxsim {

namespace {

constexpr int32_t kOne = 4096;         // contact level 1.0 in the tables
constexpr int32_t kClip = 4 * kOne;    // contact levels are kept within +-kClip
constexpr int32_t kTouch = kOne / 10;  // contact that shows: where a finger counts as touching
constexpr size_t kMaxPixels = 4000000; // within the noise table
constexpr int kTexW = ClFingerTexture::kWidth, kTexH = ClFingerTexture::kHeight;

inline uint8_t Clamp8(int v) { return uint8_t(v < 0 ? 0 : (v > 255 ? 255 : v)); }

inline double SmoothStep(double a, double b, double x)
{
  const double t = std::clamp((x - a) / (b - a), 0.0, 1.0);
  return t * t * (3.0 - 2.0 * t);
}

// Background plus noise, the part of a row that no finger touches.
inline void PlainRun(const uint8_t* pBg, const int8_t* pNoise, uint8_t* pOut, int n)
{
  if (n <= 0)
    return;
  if (pNoise) {
    for (int x = 0; x < n; ++x)
      pOut[x] = Clamp8(int(pBg[x]) + int(pNoise[x]));
  } else {
    std::memcpy(pOut, pBg, size_t(n));
  }
}

} // namespace

ClFrameRenderer::ClFrameRenderer(int nSceneWidth, int nSceneHeight, uint32_t nPlatenSeed)
  : m_nSceneWidth(nSceneWidth), m_nSceneHeight(nSceneHeight), m_nSeed(nPlatenSeed),
    m_Background(nSceneWidth, nSceneHeight, nPlatenSeed)
{
  if (nSceneWidth <= 0 || nSceneHeight <= 0 ||
      size_t(nSceneWidth) * size_t(nSceneHeight) > kMaxPixels)
    throw std::invalid_argument("scene size outside 1 to 4000000 pixels");
  m_nNodesX = nSceneWidth / kCell + 2;
  m_nNodesY = nSceneHeight / kCell + 2;
  const size_t nodes = size_t(m_nNodesX) * size_t(m_nNodesY);
  for (auto* v : {&m_aNodeC, &m_aNodeTX, &m_aNodeTY, &m_aNodeG})
    v->assign(nodes, 0);
  for (auto* v : {&m_aRowC, &m_aRowTX, &m_aRowTY, &m_aRowG})
    v->assign(size_t(m_nNodesX), 0);
  m_aNodeL.assign(size_t(m_nNodesY), 0);
  m_aNodeR.assign(size_t(m_nNodesY), -1);
}

ClFrameRenderer::~ClFrameRenderer() = default;

void ClFrameRenderer::UseTexture(const ClFinger& f)
{
  if (!m_pTexture || m_pTexture->Seed() != f.nSeed ||
      (f.ePattern != EPattern::eAuto && m_pTexture->Pattern() != f.ePattern) ||
      m_pTexture->MeanPeriod() != ClFingerTexture::QuarterPeriod(f.dPeriod) / 4.0)
    m_pTexture = ClFingerTexture::Get(f.nSeed, f.ePattern, f.dPeriod);
  m_pRidges = m_pTexture->Ridges(!f.bFake);
  BuildModifiers(f);
}

KXSIM_UNCHECKED_BY_TSAN void ClFrameRenderer::BuildModifiers(const ClFinger& f)
{
  const ClModKey key{m_pTexture.get(), f.dMoisture, std::max(0, f.nCreases)};
  if (key == m_ModKey)
    return;
  m_ModKey = key;
  const double dry = std::clamp(-f.dMoisture, 0.0, 1.0), wet = std::clamp(f.dMoisture, 0.0, 1.0);
  m_bMod = dry > 0.0 || wet > 0.0 || key.nCreases > 0;
  if (!m_bMod)
    return;
  const size_t n = size_t(kTexW) * kTexH;
  m_aMod.assign(n, 0);
  std::vector<int> acc(n, 0);
  // A dry finger touches with bits of its ridge tops; sweat on a wet one fills the valleys
  // in blotches.
  const uint8_t* dryness = m_pTexture->Dryness();
  const uint8_t* blotch = m_pTexture->Blotches();
  const int dryGain = int(std::lround(dry * 300.0)), wetGain = int(std::lround(wet * 150.0));
  for (size_t i = 0; i < n; ++i)
    acc[i] = -((int(dryness[i]) * dryGain) >> 8) + ((int(blotch[i]) * wetGain) >> 8);
  // Creases: narrow folds that never touch, mostly across the finger.
  ClRandom rnd(uint64_t(f.nSeed) * 86028121u + 29u);
  for (int k = 0; k < key.nCreases; ++k) {
    const double cx = rnd.Uniform(0.3, 0.7) * kTexW, cy = rnd.Uniform(0.35, 0.85) * kTexH;
    const double ang = rnd.Uniform(-0.5, 0.5) + (rnd.Below(4) == 0 ? 1.2 : 0.0);
    const double len = rnd.Uniform(60.0, 220.0), width = rnd.Uniform(1.5, 3.5);
    const double ca = std::cos(ang), sa = std::sin(ang);
    const int x0 = std::max(0, int(cx - len - 8)), x1 = std::min(kTexW - 1, int(cx + len + 8));
    const int y0 = std::max(0, int(cy - len - 8)), y1 = std::min(kTexH - 1, int(cy + len + 8));
    for (int y = y0; y <= y1; ++y)
      for (int x = x0; x <= x1; ++x) {
        const double along = (x - cx) * ca + (y - cy) * sa, across = -(x - cx) * sa + (y - cy) * ca;
        if (std::fabs(along) > len)
          continue;
        const double w = width * (1.0 - 0.6 * std::fabs(along) / len);
        const double d = std::fabs(across) / w;
        if (d < 2.0)
          acc[size_t(y) * kTexW + size_t(x)] -= int(260.0 * (1.0 - SmoothStep(0.6, 2.0, d)));
      }
  }
  for (size_t i = 0; i < n; ++i)
    m_aMod[i] = int8_t(std::clamp(acc[i] / 2, -127, 127));
}

void ClFrameRenderer::Prepare(const ClScene& scene, bool bIdeal)
{
  m_bFinger = scene.eContact != EContact::eNone && scene.dPlaced > 0.0;
  std::fill(m_aNodeL.begin(), m_aNodeL.end(), m_nNodesX);
  std::fill(m_aNodeR.begin(), m_aNodeR.end(), -1);
  if (!m_bFinger)
    return;
  UseTexture(scene.finger);
  const ClContactModel model(scene, m_nSceneWidth, m_nSceneHeight, *m_pTexture, bIdeal);
  // Nodes outside the model's box keep a level below zero; one node of margin keeps the
  // interpolation between them and the box below zero too.
  const int i0 = std::max(0, int(std::floor(model.Left() / kCell)) - 1);
  const int i1 = std::min(m_nNodesX - 1, int(std::ceil(model.Right() / kCell)) + 1);
  const int j0 = std::max(0, int(std::floor(model.Top() / kCell)) - 1);
  const int j1 = std::min(m_nNodesY - 1, int(std::ceil(model.Bottom() / kCell)) + 1);
  std::fill(m_aNodeC.begin(), m_aNodeC.end(), -kOne);
  bool any = false;
  for (int j = j0; j <= j1; ++j) {
    const size_t row = size_t(j) * size_t(m_nNodesX);
    for (int i = i0; i <= i1; ++i) {
      const ClContactModel::ClSample s = model.At(double(i * kCell), double(j * kCell));
      const int32_t c = int32_t(std::clamp(s.dContact * kOne, -double(kClip), double(kClip)));
      m_aNodeC[row + size_t(i)] = c;
      // Keep the skin point inside the texture, so that pixels need no test.
      m_aNodeTX[row + size_t(i)] =
          int32_t(std::clamp(s.dTexX * 256.0, 0.0, (kTexW - 1) * 256.0 - 1.0));
      m_aNodeTY[row + size_t(i)] =
          int32_t(std::clamp(s.dTexY * 256.0, 0.0, (kTexH - 1) * 256.0 - 1.0));
      m_aNodeG[row + size_t(i)] = int32_t(std::lround(std::clamp(s.dGain, 0.0, 2.0) * 256.0));
      if (c > 0) {
        m_aNodeL[size_t(j)] = std::min(m_aNodeL[size_t(j)], i);
        m_aNodeR[size_t(j)] = std::max(m_aNodeR[size_t(j)], i);
        any = true;
      }
    }
  }
  m_bFinger = any;
}

void ClFrameRenderer::BuildShading(const ClShadeKey& k)
{
  // Two tables kept: the capture engine alternates raw and normal frames of one finger.
  if (k == m_ShadeKey && !m_aShade.empty())
    return;
  std::swap(m_aShade, m_aShadeOther);
  std::swap(m_ShadeKey, m_ShadeKeyOther);
  if (k == m_ShadeKey && !m_aShade.empty())
    return;
  m_ShadeKey = k;
  m_aShade.resize(size_t(kLevels) * 256);
  const double pe =
      std::clamp(k.dPressure, 0.0, 1.0) * (0.35 + 0.65 * std::clamp(k.dPlaced, 0.0, 1.0));
  const double wet = std::max(0.0, std::min(1.0, k.dMoisture));
  const double dry = std::max(0.0, std::min(1.0, -k.dMoisture));
  // A set contrast replaces the ridge to valley step that pressure gives at the centre
  // (about 140 at dose 2), scaled with the dose as ever.
  double light = 215.0 * ClPlatenBackground::Illumination(k.nDose) * (1.0 - 0.35 * dry);
  if (k.dContrast > 0.0)
    light = k.dContrast * ClPlatenBackground::Illumination(k.nDose) /
            ClPlatenBackground::Illumination(2) / (0.7 + 0.3 * pe - 0.07 - 0.25 * wet);
  // Firm or wet contact widens the ridges; a dry finger touches with its ridge tops only.
  const double base = 0.05 - 0.3 * pe - 0.35 * wet + 0.25 * dry;
  for (int ci = 0; ci < kLevels; ++ci) {
    double c = (ci + 0.5) / kLevels;
    if (k.bFake)
      c = std::min(1.0, 3.0 * c); // rigid material: flat contact, sharp rim
    if (k.bFull)
      c = 1.0;
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

void ClFrameRenderer::PrepareColumns(int W)
{
  if (W == m_nColsW)
    return;
  m_nColsW = W;
  m_aOutNode.resize(size_t(W));
  m_aOutW.resize(size_t(W));
  m_aRowV.resize(size_t(W));
  m_aSegStart.assign(size_t(m_nNodesX) + 1, W);
  // Sample centres aligned: output pixel x sees scene (x + 0.5) * sceneWidth / W - 0.5.
  for (int x = 0; x < W; ++x) {
    const double s =
        std::clamp((x + 0.5) * m_nSceneWidth / W - 0.5, 0.0, double(m_nSceneWidth - 1));
    const int q = int(std::lround(s * 256.0));
    m_aOutNode[size_t(x)] = q / (256 * kCell);
    m_aOutW[size_t(x)] = (q % (256 * kCell)) / kCell;
  }
  for (int x = W - 1; x >= 0; --x)
    m_aSegStart[size_t(m_aOutNode[size_t(x)])] = x;
  for (int i = m_nNodesX - 1; i >= 0; --i)
    m_aSegStart[size_t(i)] = std::min(m_aSegStart[size_t(i)], m_aSegStart[size_t(i) + 1]);
}

template <bool bMod>
void ClFrameRenderer::ShadePixels(int il, int ir, int xl, int xr, uint8_t* pMask)
{
  const int8_t* tex = m_pRidges;
  const int8_t* mod = m_aMod.data();
  const uint8_t* shade = m_aShade.data();
  uint8_t* v = m_aRowV.data();
  const double perPixel =
      double(m_nSceneWidth) / (double(m_nColsW) * kCell); // grid cells per output pixel
  // Node to node, the fields are linear: step them per pixel in 1/256 of their units.
  for (int i = il; i < ir; ++i) {
    const int xs = std::max(xl, m_aSegStart[size_t(i)]),
              xe = std::min(xr, m_aSegStart[size_t(i) + 1] - 1);
    if (xs > xe)
      continue;
    const double w0 = m_aOutW[size_t(xs)] / 256.0;
    auto start = [&](const std::vector<int32_t>& a, int32_t& acc, int32_t& step) {
      const double d = double(a[size_t(i) + 1] - a[size_t(i)]);
      acc = int32_t(std::lround((a[size_t(i)] + d * w0) * 256.0));
      step = int32_t(std::lround(d * perPixel * 256.0));
    };
    int32_t c, dc, tx, dtx, ty, dty, g, dg;
    start(m_aRowC, c, dc);
    start(m_aRowTX, tx, dtx);
    start(m_aRowTY, ty, dty);
    start(m_aRowG, g, dg);
    for (int x = xs; x <= xe; ++x, c += dc, tx += dtx, ty += dty, g += dg) {
      if (c <= 0) {
        v[x] = 0;
        continue;
      }
      const int32_t px = tx >> 8, py = ty >> 8;
      const int ix = px >> 8, iy = py >> 8, fx = px & 255, fy = py & 255;
      const size_t at = size_t(iy) * kTexW + size_t(ix);
      const int8_t* p = tex + at;
      const int top = p[0] * 256 + (p[1] - p[0]) * fx;
      const int bot = p[kTexW] * 256 + (p[kTexW + 1] - p[kTexW]) * fx;
      int t = (top * 256 + (bot - top) * fy) >> 16;
      if (bMod)
        t = std::clamp(t + mod[at], -128, 127);
      const int level = std::min(c >> 14, kLevels - 1);
      const int s = shade[size_t(level) * 256 + size_t(t + 128)];
      v[x] = uint8_t(std::min(255, (s * (g >> 8)) >> 8));
      if (pMask && c >= (kTouch << 8))
        pMask[x] = 255;
    }
  }
}

bool ClFrameRenderer::ShadeRow(int W, int H, int y, int& xl, int& xr, uint8_t* pMask)
{
  if (!m_bFinger)
    return false;
  const double sy =
      std::clamp((y + 0.5) * m_nSceneHeight / H - 0.5, 0.0, double(m_nSceneHeight - 1));
  const int q = int(std::lround(sy * 256.0));
  const int j = q / (256 * kCell);
  const int32_t wy = (q % (256 * kCell)) / kCell;
  const int nl = std::min(m_aNodeL[size_t(j)], m_aNodeL[size_t(j) + 1]);
  const int nr = std::max(m_aNodeR[size_t(j)], m_aNodeR[size_t(j) + 1]);
  if (nl > nr)
    return false;
  const int il = std::max(0, nl - 1), ir = std::min(m_nNodesX - 1, nr + 1);
  const size_t r0 = size_t(j) * size_t(m_nNodesX), r1 = r0 + size_t(m_nNodesX);
  for (int i = il; i <= ir; ++i) {
    const size_t a = r0 + size_t(i), b = r1 + size_t(i);
    m_aRowC[size_t(i)] = m_aNodeC[a] + (((m_aNodeC[b] - m_aNodeC[a]) * wy) >> 8);
    m_aRowTX[size_t(i)] = m_aNodeTX[a] + (((m_aNodeTX[b] - m_aNodeTX[a]) * wy) >> 8);
    m_aRowTY[size_t(i)] = m_aNodeTY[a] + (((m_aNodeTY[b] - m_aNodeTY[a]) * wy) >> 8);
    m_aRowG[size_t(i)] = m_aNodeG[a] + (((m_aNodeG[b] - m_aNodeG[a]) * wy) >> 8);
  }
  // Output columns whose scene point lies between nodes il and ir.
  xl = std::max(0, int(std::ceil((il * kCell + 0.5) * W / m_nSceneWidth - 0.5)));
  xr = std::min(W - 1, int(std::floor((ir * kCell + 0.5) * W / m_nSceneWidth - 0.5)));
  while (xl <= xr && m_aOutNode[size_t(xl)] < il)
    ++xl;
  while (xr >= xl && m_aOutNode[size_t(xr)] >= ir)
    --xr;
  if (xl > xr)
    return false;
  if (m_bMod)
    ShadePixels<true>(il, ir, xl, xr, pMask);
  else
    ShadePixels<false>(il, ir, xl, xr, pMask);
  return true;
}

// The row loops are built a second time for AVX2, picked when the library is loaded.
#if defined(__GNUC__) && !defined(__clang__) && defined(__x86_64__) && !defined(LSKX2_NO_CLONES)
__attribute__((target_clones("avx2", "default")))
#endif
void ClFrameRenderer::Compose(int W, int H, EOrientation eOrientation, const uint8_t* pBg,
                              size_t nBgRowStep, const int8_t* pNoise, uint8_t* pOut,
                              uint8_t* pMask)
{
  PrepareColumns(W);
  for (int y = 0; y < H; ++y) {
    const int dy = eOrientation == EOrientation::eDevice ? H - 1 - y : y;
    const uint8_t* brow = pBg + size_t(dy) * nBgRowStep;
    // Noise belongs to the sensor's pixels, so both row orders show the same picture.
    const int8_t* nrow = pNoise ? pNoise + size_t(dy) * size_t(W) : nullptr;
    uint8_t* orow = pOut + size_t(y) * size_t(W);
    uint8_t* mrow = pMask ? pMask + size_t(y) * size_t(W) : nullptr;
    if (mrow)
      std::memset(mrow, 0, size_t(W));
    int xl = 0, xr = -1;
    if (!ShadeRow(W, H, dy, xl, xr, mrow)) {
      PlainRun(brow, nrow, orow, W);
      continue;
    }
    const uint8_t* v = m_aRowV.data();
    PlainRun(brow, nrow, orow, xl);
    if (nrow) {
      // Shot noise grows with the light.
      for (int x = xl; x <= xr; ++x) {
        const int n = nrow[x], s = v[x];
        orow[x] = Clamp8(int(brow[x]) + s + n + ((n * s) >> 7));
      }
    } else {
      for (int x = xl; x <= xr; ++x)
        orow[x] = Clamp8(int(brow[x]) + int(v[x]));
    }
    PlainRun(brow + xr + 1, nrow ? nrow + xr + 1 : nullptr, orow + xr + 1, W - xr - 1);
  }
}

void ClFrameRenderer::CheckSize(int W, int H, const uint8_t* pOut) const
{
  if (!pOut || W <= 0 || H <= 0 || size_t(W) * size_t(H) > kMaxPixels)
    throw std::invalid_argument("frame size outside 1 to 4000000 pixels, or no buffer");
}

KXSIM_UNCHECKED_BY_TSAN const ClLatentMap* ClFrameRenderer::Latent(const ClScene& scene)
{
  if (scene.latent.dStrength <= 0.0 || !scene.pLatentScene)
    return nullptr;
  const ClScene& was = *scene.pLatentScene;
  const ClFinger& f = was.finger;
  // Identifies the print: the lifted contact and how it was left.
  uint64_t key = Mix64(f.nSeed) ^ Mix64(uint64_t(int(was.eContact)) + 77);
  for (double d :
       {f.dPressure, f.dMoisture, f.dCentreX, f.dCentreY, f.dWidth, f.dHeight, f.dPeriod, f.dTilt,
        was.dPatchX, was.dPatchWidth, was.dRollFromX, was.dRollToX, was.dDrift, was.dMoveX,
        was.dMoveY, was.dSpread, scene.latent.dStrength, scene.latent.dSmear})
    key = Mix64(key ^ uint64_t(std::llround(d * 1024.0)));
  key = Mix64(key ^ uint64_t(int64_t(was.nShiftX) * 4099 + was.nShiftY));
  if (m_pLatent && m_pLatent->nKey == key)
    return m_pLatent.get();
  if (!m_pLatent)
    m_pLatent = std::make_unique<ClLatentMap>();
  ClLatentMap& l = *m_pLatent;
  l.nKey = key;
  l.nWidth = m_nSceneWidth;
  l.nHeight = m_nSceneHeight;
  // Oil where the ridges touched: the ideal print of the last contact.
  ClScene s = was;
  s.dPlaced = 1.0;
  std::vector<uint8_t> print(size_t(m_nSceneWidth) * m_nSceneHeight), touched(print.size());
  RenderIdeal(s, m_nSceneWidth, m_nSceneHeight, kLatentDose, false, EOrientation::eDisplay,
              print.data(), touched.data());
  const int dark = ClPlatenBackground::DarkLevel(kLatentDose);
  const int smear = int(std::lround(std::clamp(scene.latent.dSmear, 0.0, 1.0) * 14.0));
  l.aOil.assign(print.size(), 0);
  for (int y = 0; y < m_nSceneHeight; ++y) {
    const size_t row = size_t(y) * size_t(m_nSceneWidth);
    for (int x = 0; x < m_nSceneWidth; ++x) {
      // A wiped print is blurred sideways and pushed along.
      int sum = 0, n = 0;
      for (int k = 0; k <= smear; ++k) {
        const int sx = x - k;
        if (sx < 0)
          break;
        sum += std::max(0, int(print[row + size_t(sx)]) - dark);
        ++n;
      }
      l.aOil[row + size_t(x)] = uint8_t(std::min(255, n ? sum / n : 0));
    }
  }
  l.dGain = std::clamp(scene.latent.dStrength, 0.0, 1.0) / 3.0 /
            ClPlatenBackground::Illumination(kLatentDose);
  return m_pLatent.get();
}

void ClFrameRenderer::Render(const ClScene& scene, int W, int H, int nDose, uint64_t nFrame,
                             EOrientation eOrientation, uint8_t* pOut)
{
  CheckSize(W, H, pOut);
  const ClLatentMap* latent = Latent(scene);
  const uint8_t* bg = m_Background.Get(W, H, nDose, scene.dResidue, latent);
  Prepare(scene, false);
  const size_t span = ClPlatenBackground::NoiseLength() - size_t(W) * size_t(H);
  const uint64_t key = nFrame * 0x9E3779B1ull + uint64_t(nDose & 0xFF) + (uint64_t(m_nSeed) << 40);
  const int8_t* noise = ClPlatenBackground::Noise() + size_t(Mix64(key) % span);
  if (m_bFinger)
    BuildShading({scene.finger.dPressure, scene.finger.dMoisture, scene.dPlaced,
                  scene.finger.dContrast, scene.finger.bFake, false, nDose & 0xFF});
  Compose(W, H, eOrientation, bg, size_t(W), noise, pOut, nullptr);
}

void ClFrameRenderer::RenderIdeal(const ClScene& scene, int W, int H, int nDose, bool bFullContact,
                                  EOrientation eOrientation, uint8_t* pOut, uint8_t* pMask,
                                  bool bDistorted)
{
  CheckSize(W, H, pOut);
  Prepare(scene, !bDistorted);
  m_aFlat.assign(size_t(W), uint8_t(ClPlatenBackground::DarkLevel(nDose)));
  if (m_bFinger)
    BuildShading({scene.finger.dPressure, scene.finger.dMoisture, scene.dPlaced,
                  scene.finger.dContrast, scene.finger.bFake, bFullContact, nDose & 0xFF});
  Compose(W, H, eOrientation, m_aFlat.data(), 0, nullptr, pOut, pMask);
}

int64_t ClFrameRenderer::ContactPixels(const ClScene& scene)
{
  Prepare(scene, false);
  if (!m_bFinger)
    return 0;
  BuildShading({scene.finger.dPressure, scene.finger.dMoisture, scene.dPlaced,
                scene.finger.dContrast, scene.finger.bFake, false, 2});
  PrepareColumns(m_nSceneWidth);
  m_aScratch.resize(size_t(m_nSceneWidth));
  int64_t n = 0;
  for (int y = 0; y < m_nSceneHeight; ++y) {
    std::memset(m_aScratch.data(), 0, m_aScratch.size());
    int xl, xr;
    if (!ShadeRow(m_nSceneWidth, m_nSceneHeight, y, xl, xr, m_aScratch.data()))
      continue;
    for (int x = xl; x <= xr; ++x)
      n += m_aScratch[size_t(x)] ? 1 : 0;
  }
  return n;
}

} // namespace kxsim
