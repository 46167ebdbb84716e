#include "simulator/render/PlatenBackground.h"

#include "simulator/render/FingerTexture.h"
#include "simulator/render/SimRandom.h"

#include <algorithm>
#include <cmath>

namespace kxsim {

namespace {
constexpr size_t kNoiseLength = size_t(1) << 22;
constexpr size_t kCacheSize = 6;
constexpr int kLatents = 12;
constexpr int kSpecks = 400;
constexpr uint32_t kLatentSeed = 0x1A7E47;
} // namespace

ClPlatenBackground::ClPlatenBackground(int nSceneWidth, int nSceneHeight, uint32_t nSeed)
  : m_nSceneWidth(nSceneWidth), m_nSceneHeight(nSceneHeight)
{
  ClRandom rnd(uint64_t(nSeed) * 2654435761u + 99u);
  const double w = nSceneWidth, h = nSceneHeight;
  // Each mark appears once the residue level passes its threshold, so that a dirtier
  // platen holds the marks of a cleaner one and more.
  for (int i = 0; i < kLatents; ++i) {
    ClLatent l;
    l.dX = rnd.Uniform(0.2 * w, 0.8 * w);
    l.dY = rnd.Uniform(0.2 * h, 0.8 * h);
    l.dRx = rnd.Uniform(0.09 * w, 0.15 * w);
    l.dRy = rnd.Uniform(0.13 * h, 0.21 * h);
    l.dAngle = rnd.Uniform(-0.5, 0.5);
    l.dTexX = rnd.Uniform(0.3, 0.7) * ClFingerTexture::kWidth;
    l.dTexY = rnd.Uniform(0.3, 0.7) * ClFingerTexture::kHeight;
    l.dAmplitude = rnd.Uniform(14.0, 20.0);
    l.dThreshold = double(i) / kLatents * 0.95;
    m_aLatents.push_back(l);
  }
  for (int i = 0; i < kSpecks; ++i) {
    ClSpeck s;
    s.dX = rnd.Uniform(0.0, w);
    s.dY = rnd.Uniform(0.0, h);
    s.dRadius = rnd.Uniform(0.6, 2.2);
    s.dAmplitude = rnd.Uniform(8.0, 40.0);
    s.dThreshold = rnd.Uniform(0.02, 1.0);
    m_aSpecks.push_back(s);
  }
}

int ClPlatenBackground::DarkLevel(int nDose)
{
  return 13 + int(std::lround(4.0 * Illumination(nDose)));
}

double ClPlatenBackground::Illumination(int nDose)
{
  return std::clamp(0.7 + 0.0333 * double(nDose & 0xFF), 0.7, 1.25);
}

const int8_t* ClPlatenBackground::Noise()
{
  static const std::vector<int8_t> table = [] {
    std::vector<int8_t> t(kNoiseLength);
    ClRandom rnd(0x4B58534Eull);
    for (int8_t& v : t)
      v = int8_t(std::clamp(std::lround(rnd.Normal() * 1.3), -7l, 7l));
    return t;
  }();
  return table.data();
}

size_t ClPlatenBackground::NoiseLength() { return kNoiseLength; }

const uint8_t* ClPlatenBackground::Get(int nWidth, int nHeight, int nDose, double dResidue,
                                       const ClLatentMap* pLatent)
{
  const uint64_t nLatent = pLatent ? pLatent->nKey : 0;
  const int nResidue = int(std::lround(std::clamp(dResidue, 0.0, 1.0) * 1000.0));
  nDose &= 0xFF;
  for (size_t i = 0; i < m_aCache.size(); ++i) {
    ClEntry& e = *m_aCache[i];
    if (e.nWidth == nWidth && e.nHeight == nHeight && e.nDose == nDose && e.nResidue == nResidue &&
        e.nLatent == nLatent) {
      std::rotate(m_aCache.begin(), m_aCache.begin() + long(i), m_aCache.begin() + long(i) + 1);
      return m_aCache.front()->aPixels.data();
    }
  }
  auto e = std::make_unique<ClEntry>();
  e->nWidth = nWidth;
  e->nHeight = nHeight;
  e->nDose = nDose;
  e->nResidue = nResidue;
  e->nLatent = nLatent;
  Build(*e, pLatent);
  m_aCache.insert(m_aCache.begin(), std::move(e));
  if (m_aCache.size() > kCacheSize)
    m_aCache.pop_back();
  return m_aCache.front()->aPixels.data();
}

KXSIM_UNCHECKED_BY_TSAN void ClPlatenBackground::Build(ClEntry& e, const ClLatentMap* pLatent) const
{
  const int W = e.nWidth, H = e.nHeight;
  const double sx = double(m_nSceneWidth) / W, sy = double(m_nSceneHeight) / H;
  const double r = e.nResidue / 1000.0;
  const double gain = Illumination(e.nDose);
  std::vector<float> acc(size_t(W) * H);
  // A faint illumination fall-off of about two grey levels towards the corners.
  const double cx = m_nSceneWidth * 0.5, cy = m_nSceneHeight * 0.5;
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x) {
      const double dx = ((x + 0.5) * sx - cx) / cx, dy = ((y + 0.5) * sy - cy) / cy;
      acc[size_t(y) * W + x] = float(DarkLevel(e.nDose) + 1.0 - 0.9 * (dx * dx + dy * dy));
    }
  // Latent marks are windows on the print of some earlier finger.
  std::shared_ptr<const ClFingerTexture> print;
  for (const ClLatent& l : m_aLatents) {
    if (r <= l.dThreshold)
      continue;
    if (!print)
      print = ClFingerTexture::Get(kLatentSeed, EPattern::eAuto);
    const int8_t* ridges = print->Ridges(false);
    const double a = l.dAmplitude * gain * std::min(1.0, (r - l.dThreshold) * 2.5 + 0.35);
    const double ca = std::cos(l.dAngle), sa = std::sin(l.dAngle);
    const double ext = std::max(l.dRx, l.dRy);
    const int x0 = std::max(0, int((l.dX - ext) / sx)),
              x1 = std::min(W - 1, int((l.dX + ext) / sx) + 1);
    const int y0 = std::max(0, int((l.dY - ext) / sy)),
              y1 = std::min(H - 1, int((l.dY + ext) / sy) + 1);
    for (int y = y0; y <= y1; ++y)
      for (int x = x0; x <= x1; ++x) {
        const double px = (x + 0.5) * sx - 0.5, py = (y + 0.5) * sy - 0.5;
        const double u = ((px - l.dX) * ca + (py - l.dY) * sa) / l.dRx;
        const double v = (-(px - l.dX) * sa + (py - l.dY) * ca) / l.dRy;
        const double rho = u * u + v * v;
        if (rho >= 1.0)
          continue;
        const double window = (1.0 - rho) * (1.0 - rho);
        // Oil left where the ridges touched.
        const int tx = std::clamp(int(l.dTexX + u * l.dRx), 0, ClFingerTexture::kWidth - 1);
        const int ty = std::clamp(int(l.dTexY + v * l.dRy), 0, ClFingerTexture::kHeight - 1);
        const double ridge =
            std::max(0, int(ridges[size_t(ty) * ClFingerTexture::kWidth + size_t(tx)])) / 127.0;
        acc[size_t(y) * W + x] += float(a * window * ridge);
      }
  }
  for (const ClSpeck& s : m_aSpecks) {
    if (r <= s.dThreshold)
      continue;
    const double a = s.dAmplitude * gain;
    const double ext = 3.0 * s.dRadius;
    const int x0 = std::max(0, int((s.dX - ext) / sx)),
              x1 = std::min(W - 1, int((s.dX + ext) / sx) + 1);
    const int y0 = std::max(0, int((s.dY - ext) / sy)),
              y1 = std::min(H - 1, int((s.dY + ext) / sy) + 1);
    for (int y = y0; y <= y1; ++y)
      for (int x = x0; x <= x1; ++x) {
        const double dx = (x + 0.5) * sx - 0.5 - s.dX, dy = (y + 0.5) * sy - 0.5 - s.dY;
        acc[size_t(y) * W + x] +=
            float(a * std::exp(-(dx * dx + dy * dy) / (2.0 * s.dRadius * s.dRadius)));
      }
  }
  if (pLatent && !pLatent->aOil.empty()) {
    const double g = pLatent->dGain * gain;
    for (int y = 0; y < H; ++y) {
      const int ly = std::min(pLatent->nHeight - 1, int((y + 0.5) * pLatent->nHeight / H));
      for (int x = 0; x < W; ++x) {
        const int lx = std::min(pLatent->nWidth - 1, int((x + 0.5) * pLatent->nWidth / W));
        acc[size_t(y) * W + x] +=
            float(g * pLatent->aOil[size_t(ly) * size_t(pLatent->nWidth) + size_t(lx)]);
      }
    }
  }
  e.aPixels.resize(acc.size());
  for (size_t i = 0; i < acc.size(); ++i)
    e.aPixels[i] = uint8_t(std::clamp(std::lround(acc[i]), 0l, 255l));
}

} // namespace kxsim
