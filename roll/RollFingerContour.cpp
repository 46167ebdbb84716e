#include "roll/RollFingerContour.h"

#include "model/FpImage.h"

#include <algorithm>

void ClRollFingerContour::Reserve(TpArrayDynamic<int, 10>& a, uint32_t n)
{
  a.Clear();
  if (a.Capacity() < n)
    a.Grow(n - a.Capacity());
}

void ClRollFingerContour::Clear()
{
  m_aLeft.Clear();
  m_aRight.Clear();
  m_aCenter.Clear();
  m_aTop.Clear();
  m_aBottom.Clear();
  m_nTopRow = m_nBottomRow = m_nMeanCenter = m_nLeftmost = m_nRightmost = -1;
}

void ClRollFingerContour::Build(const ClImage& mask)
{
  Clear();
  const int32_t w = mask.Width(), h = mask.Height(), nStride = mask.LineElements();
  if (!mask.Data() || w <= 0 || h <= 0)
    return;
  auto row = [&](int32_t y) { return mask.Data() + ptrdiff_t(y) * nStride; };
  auto hasFinger = [&](int32_t y) {
    const uint8_t* p = row(y);
    return std::find(p, p + w, uint8_t(255)) != p + w;
  };

  // The finger is the first band of rows holding mask samples; a finger that begins in
  // the very last row is not seen.
  int32_t y = 0;
  while (y < h && !hasFinger(y))
    ++y;
  if (y >= h - 1)
    return;
  m_nTopRow = y;
  while (y < h && hasFinger(y))
    ++y;
  m_nBottomRow = y - 1;

  const uint32_t nRows = uint32_t(m_nBottomRow - m_nTopRow + 1);
  Reserve(m_aRunLeft, nRows);
  Reserve(m_aRunRight, nRows);
  for (y = m_nTopRow; y <= m_nBottomRow; ++y) {
    const uint8_t* p = row(y);
    int32_t x = 0;
    while (x < w && p[x] <= 254)
      ++x;
    if (x == w)
      continue;
    const int32_t nLeft = x;
    // A run that never meets 0 again ends at the last column.
    while (x < w && p[x] != 0)
      ++x;
    m_aRunLeft.Add(nLeft);
    m_aRunRight.Add(x - 1);
  }
  if (m_aRunLeft.Size() == 0) {
    Clear();
    return;
  }

  Reserve(m_aLeft, uint32_t(h));
  Reserve(m_aRight, uint32_t(h));
  Reserve(m_aCenter, uint32_t(h));
  const int32_t nLast = int32_t(m_aRunLeft.Size()) - 1;
  int64_t nSum = 0;
  for (y = 0; y < h; ++y) {
    const int32_t i = std::clamp(y - m_nTopRow, 0, std::min(m_nBottomRow - m_nTopRow, nLast));
    const int32_t l = m_aRunLeft[i], r = m_aRunRight[i];
    m_aLeft.Add(l);
    m_aRight.Add(r);
    m_nLeftmost = m_nLeftmost < 0 ? l : std::min(m_nLeftmost, l);
    m_nRightmost = std::max(m_nRightmost, r);
    // The centre line moves by at most one column per row.
    const int32_t c = l + (r - l) / 2;
    int32_t nCenter = c;
    if (y > 0) {
      const int32_t nPrev = m_aCenter[y - 1];
      if (std::abs(c - nPrev) >= 2)
        nCenter = nPrev + (c > nPrev ? 1 : -1);
    }
    m_aCenter.Add(nCenter);
    nSum += nCenter;
  }
  m_nMeanCenter = static_cast<int32_t>(nSum / h);

  const uint32_t nCols = uint32_t(m_nRightmost - m_nLeftmost + 1);
  Reserve(m_aColTop, nCols);
  Reserve(m_aColBottom, nCols);
  for (int32_t x = m_nLeftmost; x <= m_nRightmost; ++x) {
    int32_t t = 0;
    while (t < h && row(t)[x] != 255)
      ++t;
    if (t == h)
      continue;
    int32_t b = h - 1;
    while (row(b)[x] != 255)
      --b;
    m_aColTop.Add(t);
    m_aColBottom.Add(b);
  }
  Reserve(m_aTop, uint32_t(w));
  Reserve(m_aBottom, uint32_t(w));
  const int32_t nLastCol = int32_t(m_aColTop.Size()) - 1;
  for (int32_t x = 0; x < w; ++x) {
    if (nLastCol < 0) {
      // No column holds a full sample: nothing is inside the finger.
      m_aTop.Add(h);
      m_aBottom.Add(-1);
      continue;
    }
    const int32_t i = std::min(std::clamp(x, m_nLeftmost, m_nRightmost) - m_nLeftmost, nLastCol);
    m_aTop.Add(m_aColTop[i]);
    m_aBottom.Add(m_aColBottom[i]);
  }
}
