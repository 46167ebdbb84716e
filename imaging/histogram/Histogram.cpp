#pragma GCC optimize("O3")
#include "imaging/histogram/Histogram.h"

#include "model/FpImage.h"
#include "base/Exceptions.h"
#include "imaging/VectorKernel.h"

#include <algorithm>
#include <cstring>

namespace {

// Counts bytes into four interleaved tables so that equal neighbours do not stall on one
// counter, then folds them.
void CountBytes(const uint8_t* p, int32_t n, uint32_t (*pTables)[256])
{
  int32_t i = 0;
  for (; i + 4 <= n; i += 4) {
    ++pTables[0][p[i]];
    ++pTables[1][p[i + 1]];
    ++pTables[2][p[i + 2]];
    ++pTables[3][p[i + 3]];
  }
  for (; i < n; ++i)
    ++pTables[0][p[i]];
}

// Samples from nFrom to nFrom + nSpan: a byte compare, summed in byte lanes 255 samples at
// a time so that the vector lanes stay bytes.
LSKX2_VECTOR_KERNEL uint64_t CountSpan(const uint8_t* p, int32_t n, uint8_t nFrom, uint8_t nSpan)
{
  uint64_t nTotal = 0;
  for (int32_t i = 0; i < n;) {
    const int32_t nEnd = std::min(n, i + 255);
    uint8_t c = 0;
    for (; i < nEnd; ++i)
      c = static_cast<uint8_t>(c + (static_cast<uint8_t>(p[i] - nFrom) <= nSpan));
    nTotal += c;
  }
  return nTotal;
}

} // namespace

uint64_t ClHistogram::CountInRange(const ClImage& image, int32_t x0, int32_t y0, int32_t x1,
                                   int32_t y1, uint8_t nFrom, uint8_t nTo)
{
  x0 = std::max(x0, 0);
  y0 = std::max(y0, 0);
  x1 = std::min(x1, image.Width());
  y1 = std::min(y1, image.Height());
  const uint8_t* pData = image.Data();
  if (pData == nullptr || x0 >= x1 || y0 >= y1 || nFrom > nTo)
    return 0;
  const ptrdiff_t nStride = image.LineBytes();
  const auto nSpan = static_cast<uint8_t>(nTo - nFrom);
  uint64_t n = 0;
  for (int32_t y = y0; y < y1; ++y)
    n += CountSpan(pData + y * nStride + x0, x1 - x0, nFrom, nSpan);
  return n;
}

ClHistogram::ClHistogram() { Reset(); }

ClHistogram::~ClHistogram() = default;

void ClHistogram::Reset()
{
  std::memset(m_aBins, 0, sizeof(m_aBins));
  m_nOffset = 0;
}

void ClHistogram::CheckPlanes(const ClImage& image)
{
  if (image.Planes() != 1)
    LSKX2_THROW_UNPLACED("Color-image not supported in ClHistogram::Create.", eErrInternal);
}

void ClHistogram::Create(const ClImage& image)
{
  Reset();
  CheckPlanes(image);
  CountRows(image, 0, 0, image.Width(), image.Height());
}

void ClHistogram::Create(const ClImage& image, int32_t x0, int32_t y0, int32_t x1, int32_t y1)
{
  Reset();
  CheckPlanes(image);
  if (x0 >= x1 || y0 >= y1)
    LSKX2_THROW_UNPLACED("invalid Range in ClHistogram::Create.", eErrInternal);
  x0 = std::max(x0, 0);
  y0 = std::max(y0, 0);
  x1 = std::min(x1, image.Width());
  y1 = std::min(y1, image.Height());
  CountRows(image, x0, y0, x1, y1);
}

void ClHistogram::CountRows(const ClImage& image, int32_t x0, int32_t y0, int32_t x1, int32_t y1)
{
  const uint8_t* pData = image.Data();
  if (pData == nullptr || x0 >= x1 || y0 >= y1)
    return;
  // x indexes bytes: samples wider than one byte are counted byte by byte.
  const ptrdiff_t nStride = image.LineBytes();
  uint32_t aTables[4][256] = {};
  for (int32_t y = y0; y < y1; ++y)
    CountBytes(pData + y * nStride + x0, x1 - x0, aTables);
  const bool bSigned = image.DataType() > 127;
  for (int32_t i = 0; i < 256; ++i) {
    const uint32_t c = aTables[0][i] + aTables[1][i] + aTables[2][i] + aTables[3][i];
    // A signed byte b is counted at b + 128, which is its unsigned pattern with the top
    // bit flipped.
    m_aBins[bSigned ? (i ^ 0x80) : i] = c;
  }
  if (bSigned)
    m_nOffset = 128;
}

uint8_t ClHistogram::FirstValue() const
{
  // Searched five bins at a time over 0..254.
  for (int32_t i = 0; i < 255; i += 5) {
    if (m_aBins[i])
      return static_cast<uint8_t>(i - m_nOffset);
    if (m_aBins[i + 1])
      return static_cast<uint8_t>(i + 1 - m_nOffset);
    if (m_aBins[i + 2])
      return static_cast<uint8_t>(i + 2 - m_nOffset);
    if (m_aBins[i + 3])
      return static_cast<uint8_t>(i + 3 - m_nOffset);
    if (m_aBins[i + 4])
      return static_cast<uint8_t>(i + 4 - m_nOffset);
  }
  return static_cast<uint8_t>(255 - m_nOffset);
}

uint8_t ClHistogram::LastValue() const
{
  // Searched five bins at a time over 255..1.
  for (int32_t i = 255; i > 0; i -= 5) {
    if (m_aBins[i])
      return static_cast<uint8_t>(i - m_nOffset);
    if (m_aBins[i - 1])
      return static_cast<uint8_t>(i - 1 - m_nOffset);
    if (m_aBins[i - 2])
      return static_cast<uint8_t>(i - 2 - m_nOffset);
    if (m_aBins[i - 3])
      return static_cast<uint8_t>(i - 3 - m_nOffset);
    if (m_aBins[i - 4])
      return static_cast<uint8_t>(i - 4 - m_nOffset);
  }
  return static_cast<uint8_t>(0 - m_nOffset);
}

uint64_t ClHistogram::Total() const
{
  uint64_t n = 0;
  for (uint32_t c : m_aBins)
    n += c;
  return n;
}

double ClHistogram::MeanOfDarkest(uint32_t nCount) const { return MeanFromEnd(nCount, 0, 1); }

double ClHistogram::MeanOfBrightest(uint32_t nCount) const { return MeanFromEnd(nCount, 255, -1); }

double ClHistogram::MeanFromEnd(uint32_t nCount, int32_t nFirst, int32_t nStep) const
{
  if (nCount > Total())
    LSKX2_THROW_MSG("Amount of pixels too high.", eErrInvalidParameter);
  uint64_t k = 0;
  uint64_t s = 0;
  int32_t i = nFirst;
  // Ends at the latest on the last bin: the total reaches nCount.
  for (; i >= 0 && i < 256; i += nStep) {
    k += m_aBins[i];
    s += uint64_t(m_aBins[i]) * uint64_t(i);
    if (k >= nCount)
      break;
  }
  const int64_t nExcess = static_cast<int64_t>(k - nCount);
  return static_cast<double>(static_cast<int64_t>(s) - nExcess * i) / static_cast<double>(nCount);
}

double ClHistogram::TrimmedMean(double dLow, double dHigh) const
{
  int64_t aCum[256];
  int64_t k = 0;
  for (int32_t i = 0; i < 256; ++i) {
    k += m_aBins[i];
    aCum[i] = k;
  }
  const int64_t nTotal = aCum[255];
  const int64_t nLow = static_cast<int64_t>(static_cast<double>(nTotal) * dLow);
  const int64_t nHigh = static_cast<int64_t>(static_cast<double>(nTotal) * dHigh);
  // A fraction of 1 or more finds no upper index; the search then stops at the last bin.
  int32_t f = 0;
  while (f < 255 && !(aCum[f] > nLow))
    ++f;
  int32_t l = f;
  while (l < 255 && !(aCum[l] > nHigh))
    ++l;
  int64_t s = 0;
  int64_t c = 0;
  for (int32_t i = f; i <= l; ++i) {
    s += int64_t(m_aBins[i]) * i;
    c += m_aBins[i];
  }
  const int64_t nHiExcess = aCum[l] - nHigh;
  const int64_t nLoExcess = f >= 1 ? nLow - aCum[f - 1] : nLow;
  return static_cast<double>(s - f * nLoExcess - l * nHiExcess) /
         static_cast<double>(c - nHiExcess - nLoExcess);
}

double ClHistogram::MeanInRange(uint8_t nFrom, uint8_t nTo) const
{
  uint64_t s = 0;
  uint64_t c = 0;
  for (int32_t i = nFrom; i <= nTo; ++i) {
    s += uint64_t(m_aBins[i]) * uint64_t(i);
    c += m_aBins[i];
  }
  if (nFrom > nTo || c == 0)
    return static_cast<double>((nFrom + nTo) >> 1);
  return static_cast<double>(s) / static_cast<double>(c) - m_nOffset;
}

uint32_t ClHistogram::UsedBins() const
{
  uint32_t n = 0;
  for (uint32_t c : m_aBins)
    n += c != 0 ? 1u : 0u;
  return n;
}
