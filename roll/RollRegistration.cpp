#include "roll/RollRegistration.h"

#include "model/FpImage.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

// A block whose samples spread less than this (standard deviation) shows no ridges.
constexpr double kLeastContrast = 8.0;
// A correlation peak below this is no match.
constexpr float kLeastPeak = 0.8f;
// Along parallel ridges every shift matches alike; a slight cost of distance then picks
// the shortest, across the ridges, which is what lines them up.
constexpr float kDistanceCost = 0.004f;
// Skin at the centre line moves little between frames; a seam that moved further slipped.
constexpr float kSeamSlip = 2.0f;
// A node further than this from the median of its neighbours is an outlier.
constexpr float kOutlier = 1.5f;

inline float Median(float* p, int32_t n)
{
  std::nth_element(p, p + n / 2, p + n);
  return p[n / 2];
}

// Offset of the vertex of the parabola through three samples, within half a pixel.
inline float Vertex(float a, float b, float c)
{
  const float d = a - 2.0f * b + c;
  return d < 0.0f ? std::clamp(0.5f * (a - c) / d, -0.5f, 0.5f) : 0.0f;
}

// Catmull-Rom weights of the four samples around a point t (0 to 1) past the second.
inline void CubicWeights(float t, float* w)
{
  const float t2 = t * t, t3 = t2 * t;
  w[0] = 0.5f * (-t3 + 2.0f * t2 - t);
  w[1] = 0.5f * (3.0f * t3 - 5.0f * t2 + 2.0f);
  w[2] = 0.5f * (-3.0f * t3 + 4.0f * t2 + t);
  w[3] = 0.5f * (t3 - t2);
}

} // namespace

void ClRollRegistration::Prepare(int32_t nWidth, int32_t nHeight)
{
  m_nWidth = nWidth;
  m_nHeight = nHeight;
  const size_t nRows = size_t(nHeight / kStep + 1);
  m_aNodes.assign(nRows * kNodes, StNode());
  m_aFiltered.assign(nRows * kNodes, StNode());
  m_aSurfaces.assign(nRows * kNodes * kSpan * kSpan, 0.0f);
  m_aHasSurface.assign(nRows * kNodes, 0);
  m_aBlock.assign(size_t(kBlock) * kBlock, 0);
  m_aWindow.assign(size_t(kWindow) * kWindow, 0);
  m_aSum.assign(size_t(kWindow + 1) * (kWindow + 1), 0);
  m_aSum2.assign(size_t(kWindow + 1) * (kWindow + 1), 0);
}

bool ClRollRegistration::Surface(const ClImage& rolled, const ClImage& frame, int32_t xc,
                                 int32_t yc, float* pOut)
{
  constexpr int32_t n = kBlock * kBlock, h = kBlock / 2;
  int64_t nSa = 0, nSaa = 0;
  for (int32_t i = 0; i < kBlock; ++i) {
    const uint8_t* r = rolled.Data() + ptrdiff_t(yc - h + i) * rolled.LineElements() + xc - h;
    int16_t* a = &m_aBlock[size_t(i) * kBlock];
    for (int32_t j = 0; j < kBlock; ++j) {
      a[j] = r[j];
      nSa += r[j];
      nSaa += r[j] * r[j];
    }
  }
  const double dVarA = double(nSaa) - double(nSa) * double(nSa) / n;
  if (dVarA < kLeastContrast * kLeastContrast * n)
    return false;

  // The frame's window with running sums of samples and squares for the candidates' means.
  const int32_t nStride = kWindow + 1;
  for (int32_t i = 0; i < kWindow; ++i) {
    const uint8_t* f =
        frame.Data() + ptrdiff_t(yc - h - kRange + i) * frame.LineElements() + xc - h - kRange;
    int16_t* w = &m_aWindow[size_t(i) * kWindow];
    int32_t nRow = 0, nRow2 = 0;
    for (int32_t j = 0; j < kWindow; ++j) {
      w[j] = f[j];
      nRow += f[j];
      nRow2 += f[j] * f[j];
      m_aSum[size_t(i + 1) * nStride + j + 1] = m_aSum[size_t(i) * nStride + j + 1] + nRow;
      m_aSum2[size_t(i + 1) * nStride + j + 1] = m_aSum2[size_t(i) * nStride + j + 1] + nRow2;
    }
  }

  const int16_t* a = m_aBlock.data();
  for (int32_t dy = 0; dy < kSpan; ++dy) {
    for (int32_t dx = 0; dx < kSpan; ++dx) {
      int32_t nSab = 0;
      for (int32_t i = 0; i < kBlock; ++i) {
        const int16_t* w = &m_aWindow[size_t(i + dy) * kWindow + dx];
        const int16_t* ai = a + i * kBlock;
        for (int32_t j = 0; j < kBlock; ++j)
          nSab += int32_t(ai[j]) * int32_t(w[j]);
      }
      auto box = [&](const std::vector<int32_t>& s) {
        return double(s[size_t(dy + kBlock) * nStride + dx + kBlock] -
                      s[size_t(dy) * nStride + dx + kBlock] -
                      s[size_t(dy + kBlock) * nStride + dx] + s[size_t(dy) * nStride + dx]);
      };
      const double dSb = box(m_aSum), dVarB = box(m_aSum2) - dSb * dSb / n;
      const double dCov = double(nSab) - double(nSa) * dSb / n;
      pOut[dy * kSpan + dx] = dVarB > 0.0 ? float(dCov / std::sqrt(dVarA * dVarB)) : 0.0f;
    }
  }
  return true;
}

void ClRollRegistration::Peak(int32_t i, int32_t j)
{
  StNode& node = m_aNodes[size_t(i) * kNodes + j];
  node = StNode();
  if (!m_aHasSurface[size_t(i) * kNodes + j])
    return;
  // Own surface twice, the neighbours along the seam once: blocks of parallel ridges match
  // along the ridges, their neighbours' ridges turn. Across the seam the stretch grows,
  // so those neighbours would bias the peak.
  float aSum[kSpan * kSpan] = {};
  float dWeight = 0.0f;
  auto add = [&](int32_t ii, int32_t jj, float w) {
    if (ii < 0 || ii >= m_nRows || jj < 0 || jj >= kNodes ||
        !m_aHasSurface[size_t(ii) * kNodes + jj])
      return;
    const float* s = &m_aSurfaces[(size_t(ii) * kNodes + jj) * kSpan * kSpan];
    for (int32_t k = 0; k < kSpan * kSpan; ++k)
      aSum[k] += w * s[k];
    dWeight += w;
  };
  add(i, j, 2.0f);
  add(i - 1, j, 1.0f);
  add(i + 1, j, 1.0f);
  for (int32_t y = 0; y < kSpan; ++y)
    for (int32_t x = 0; x < kSpan; ++x)
      aSum[y * kSpan + x] -= dWeight * kDistanceCost *
                             float((x - kRange) * (x - kRange) + (y - kRange) * (y - kRange));
  const int32_t k = int32_t(std::max_element(aSum, aSum + kSpan * kSpan) - aSum);
  const int32_t py = k / kSpan, px = k % kSpan;
  // A peak at the edge of the range means the match lies beyond it.
  if (aSum[k] < kLeastPeak * dWeight || px == 0 || py == 0 || px == kSpan - 1 || py == kSpan - 1)
    return;
  node.dx = float(px - kRange) + Vertex(aSum[k - 1], aSum[k], aSum[k + 1]);
  node.dy = float(py - kRange) + Vertex(aSum[k - kSpan], aSum[k], aSum[k + kSpan]);
  node.bTrusted = true;
}

void ClRollRegistration::RejectOutliers()
{
  for (int32_t i = 0; i < m_nRows; ++i) {
    for (int32_t j = 0; j < kNodes; ++j) {
      const StNode& node = Node(i, j);
      StNode& out = m_aFiltered[size_t(i) * kNodes + j];
      out = node;
      if (!node.bTrusted)
        continue;
      float aX[9] = {}, aY[9] = {};
      int32_t n = 0;
      for (int32_t ii = std::max(0, i - 1); ii <= std::min(m_nRows - 1, i + 1); ++ii)
        for (int32_t jj = std::max(0, j - 1); jj <= std::min(kNodes - 1, j + 1); ++jj)
          if (Node(ii, jj).bTrusted) {
            aX[n] = Node(ii, jj).dx;
            aY[n++] = Node(ii, jj).dy;
          }
      const float mx = Median(aX, n), my = Median(aY, n);
      if (std::fabs(node.dx - mx) > kOutlier || std::fabs(node.dy - my) > kOutlier) {
        out.dx = mx;
        out.dy = my;
      }
    }
  }
  m_aNodes.swap(m_aFiltered);
}

void ClRollRegistration::HoldSlip()
{
  float aX[kMaxRows], aY[kMaxRows];
  int32_t n = 0;
  for (int32_t i = 0; i < m_nRows && n < kMaxRows; ++i)
    if (Node(i, 0).bTrusted) {
      aX[n] = Node(i, 0).dx;
      aY[n++] = Node(i, 0).dy;
    }
  if (n == 0)
    return;
  const float sx = Median(aX, n), sy = Median(aY, n);
  if (std::hypot(sx, sy) <= kSeamSlip)
    return;
  for (int32_t k = 0; k < m_nRows * kNodes; ++k) {
    m_aNodes[size_t(k)].dx -= sx;
    m_aNodes[size_t(k)].dy -= sy;
  }
}

int32_t ClRollRegistration::Estimate(const ClImage& rolled, const ClImage& frame,
                                     const ClImage& rolledMask, const ClImage& frameMask,
                                     const int* pCenter, int32_t nTop, int32_t nBottom,
                                     int32_t nDirection)
{
  m_nTop = nTop;
  m_nDirection = nDirection;
  m_nRows = nBottom < nTop ? 0 : std::min((nBottom - nTop) / kStep + 1, m_nHeight / kStep + 1);
  const int32_t nMargin = kBlock / 2 + kRange;
  for (int32_t i = 0; i < m_nRows; ++i) {
    const int32_t y = nTop + i * kStep;
    for (int32_t j = 0; j < kNodes; ++j) {
      const int32_t x = pCenter[y] + (nDirection == 0 ? -1 : 1) * j * kNodeSpacing;
      const size_t k = size_t(i) * kNodes + j;
      m_aHasSurface[k] = 0;
      if (x < nMargin || x >= m_nWidth - nMargin || y < nMargin || y >= m_nHeight - nMargin)
        continue;
      if (rolledMask.Data()[ptrdiff_t(y) * rolledMask.LineElements() + x] != 255 ||
          frameMask.Data()[ptrdiff_t(y) * frameMask.LineElements() + x] != 255)
        continue;
      m_aHasSurface[k] = Surface(rolled, frame, x, y, &m_aSurfaces[k * kSpan * kSpan]) ? 1 : 0;
    }
  }
  for (int32_t i = 0; i < m_nRows; ++i)
    for (int32_t j = 0; j < kNodes; ++j)
      Peak(i, j);
  RejectOutliers();

  HoldSlip();
  int32_t nTrusted = 0;
  for (int32_t k = 0; k < m_nRows * kNodes; ++k)
    nTrusted += m_aNodes[size_t(k)].bTrusted ? 1 : 0;
  return nTrusted;
}

void ClRollRegistration::FieldAt(int32_t y, float o, float& dx, float& dy) const
{
  dx = dy = 0.0f;
  if (m_nRows == 0)
    return;
  const float g = std::clamp(float(y - m_nTop) / kStep, 0.0f, float(m_nRows - 1));
  const float q = std::clamp(o / kNodeSpacing, 0.0f, float(kNodes - 1));
  const int32_t i0 = std::min(int32_t(g), m_nRows - 1), j0 = std::min(int32_t(q), kNodes - 1);
  const int32_t i1 = std::min(i0 + 1, m_nRows - 1), j1 = std::min(j0 + 1, kNodes - 1);
  const float t = g - i0, s = q - j0;
  // Untrusted nodes do not move the frame.
  auto add = [&](int32_t i, int32_t j, float w) {
    const StNode& n = Node(i, j);
    if (n.bTrusted) {
      dx += w * n.dx;
      dy += w * n.dy;
    }
  };
  add(i0, j0, (1 - t) * (1 - s));
  add(i0, j1, (1 - t) * s);
  add(i1, j0, t * (1 - s));
  add(i1, j1, t * s);
}

void ClRollRegistration::Warp(const ClImage& frame, const int* pCenter, int32_t nBand,
                              ClImage& out) const
{
  const int32_t w = frame.Width(), h = frame.Height();
  const int32_t nIn = frame.LineElements(), nOut = out.LineElements();
  const int32_t nLast = m_nRows > 0 ? std::min(h - 1, m_nTop + (m_nRows - 1) * kStep) : -1;
  for (int32_t y = 0; y < h; ++y) {
    uint8_t* d = out.Data() + ptrdiff_t(y) * nOut;
    std::memcpy(d, frame.Data() + ptrdiff_t(y) * nIn, size_t(w));
    if (y < m_nTop || y > nLast)
      continue;
    const int32_t m = pCenter[y], nSign = m_nDirection == 0 ? -1 : 1;
    for (int32_t o = -kLead; o <= nBand; ++o) {
      const int32_t x = m + nSign * o;
      if (x < 0 || x >= w)
        continue;
      float dx, dy;
      FieldAt(y, float(std::max(o, 0)), dx, dy);
      if (o < 0) {
        const float k = float(kLead + o) / kLead;
        dx *= k;
        dy *= k;
      }
      // Cubic convolution: a bilinear sample at half a pixel is a two-tap mean, which
      // softens every ridge edge it moves.
      const float fx = std::clamp(x + dx, 0.0f, float(w - 1)),
                  fy = std::clamp(y + dy, 0.0f, float(h - 1));
      const int32_t x0 = std::min(int32_t(fx), w - 2), y0 = std::min(int32_t(fy), h - 2);
      float ax[4], ay[4];
      CubicWeights(fx - x0, ax);
      CubicWeights(fy - y0, ay);
      float v = 0.0f;
      for (int32_t i = 0; i < 4; ++i) {
        const uint8_t* p = frame.Data() + ptrdiff_t(std::clamp(y0 - 1 + i, 0, h - 1)) * nIn;
        float row = 0.0f;
        for (int32_t j = 0; j < 4; ++j)
          row += ax[j] * p[std::clamp(x0 - 1 + j, 0, w - 1)];
        v += ay[i] * row;
      }
      d[x] = uint8_t(std::clamp(v + 0.5f, 0.0f, 255.0f));
    }
  }
}

double ClRollRegistration::Mismatch(const ClImage& rolled, const ClImage& warped,
                                    const ClImage& frameMask, const int* pCenter,
                                    int32_t nBand) const
{
  const int32_t w = warped.Width();
  const int32_t nLast = m_nRows > 0 ? std::min(m_nHeight - 1, m_nTop + (m_nRows - 1) * kStep) : -1;
  int64_t n = 0, nOff = 0;
  for (int32_t y = m_nTop; y <= nLast; ++y) {
    const uint8_t* r = rolled.Data() + ptrdiff_t(y) * rolled.LineElements();
    const uint8_t* f = warped.Data() + ptrdiff_t(y) * warped.LineElements();
    const uint8_t* m = frameMask.Data() + ptrdiff_t(y) * frameMask.LineElements();
    const int32_t nSign = m_nDirection == 0 ? -1 : 1;
    for (int32_t o = 1; o <= nBand; ++o) {
      const int32_t x = pCenter[y] + nSign * o;
      if (x < 0 || x >= w || m[x] != 255)
        continue;
      ++n;
      nOff += std::abs(int32_t(r[x]) - int32_t(f[x])) > kMismatch ? 1 : 0;
    }
  }
  return n ? double(nOff) / double(n) : 0.0;
}
