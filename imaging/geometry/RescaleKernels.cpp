// Byte kernels of the rescaling processors. Every index into a source is bounded by the
// source size, so settings that do not fit each other give odd pixels but never a read
// outside the image.
#include "imaging/geometry/RescaleKernels.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace RescaleKernels {

namespace {

inline uint8_t ClampToByte(double d)
{
  if (!(d > 0.0))
    return 0;
  if (d > 255.0)
    return 255;
  return static_cast<uint8_t>(static_cast<int32_t>(d));
}

inline int64_t ClampPart(int64_t nPart)
{
  return nPart < 0 ? 0 : (nPart > nFixOne ? nFixOne : nPart);
}

// Exact quotient of 32-bit numbers by a fixed divisor through one multiplication:
// ceil(2^64 / d) times n, upper 64 bits, is n / d for every 32-bit n and d.
class ClDivider
{
public:
  explicit ClDivider(uint64_t d)
    : m_nMagic(d <= 1 ? 0 : UINT64_MAX / d + 1), m_bLarge(d > UINT32_MAX)
  {}
  uint32_t operator()(uint32_t n, uint64_t d) const
  {
    if (m_bLarge)
      return static_cast<uint32_t>(n / d);
    if (m_nMagic == 0)
      return n;
    return static_cast<uint32_t>((static_cast<unsigned __int128>(m_nMagic) * n) >> 64);
  }

private:
  uint64_t m_nMagic;
  bool m_bLarge;
};

// Halving: a ratio of exactly two pixels makes every part of the walk 0 or whole, so
// each output is the floor of the mean of its pair, and an odd last sample stands alone.
constexpr int64_t nHalf = 2 * nFixOne;

// Blocks of a fixed length, on pointers that do not overlap, let the compiler turn the
// halving loops into vector code.
void HalveRow(const uint8_t* __restrict s, uint8_t* __restrict d, int32_t nPairs)
{
  int32_t j = 0;
  for (; j + 16 <= nPairs; j += 16) {
    const uint8_t* sp = s + 2 * j;
    uint8_t* dp = d + j;
    for (int k = 0; k < 16; ++k)
      dp[k] = static_cast<uint8_t>((sp[2 * k] + sp[2 * k + 1]) >> 1);
  }
  for (; j < nPairs; ++j)
    d[j] = static_cast<uint8_t>((s[2 * j] + s[2 * j + 1]) >> 1);
}

void AverageRows(const uint8_t* __restrict s0, const uint8_t* __restrict s1, uint8_t* __restrict d,
                 int32_t nW)
{
  int32_t x = 0;
  for (; x + 16 <= nW; x += 16)
    for (int k = 0; k < 16; ++k)
      d[x + k] = static_cast<uint8_t>((s0[x + k] + s1[x + k]) >> 1);
  for (; x < nW; ++x)
    d[x] = static_cast<uint8_t>((s0[x] + s1[x]) >> 1);
}

} // namespace

void Nearest(const uint8_t* pSrc, int32_t nSrcStride, int32_t nW, int32_t nH, uint8_t* pDst,
             int32_t nDstStride, int32_t nDW, int32_t nDH, int64_t nStepX, int64_t nStepY,
             int32_t* pColumns)
{
  int32_t nCols = 0;
  for (; nCols < nDW; ++nCols) {
    const int64_t sx = (static_cast<int64_t>(nCols) * nStepX) >> nFixShift;
    if (sx < 0 || sx >= nW)
      break;
    pColumns[nCols] = static_cast<int32_t>(sx);
  }
  // Halving, the capture path's case, reads every second sample.
  const bool bHalf = nStepX == 2 * nFixOne;
  int64_t nLastRow = -1;
  const uint8_t* pLastOut = nullptr;
  for (int32_t y = 0; y < nDH; ++y) {
    const int64_t sy = (static_cast<int64_t>(y) * nStepY) >> nFixShift;
    if (sy < 0 || sy >= nH)
      continue;
    uint8_t* d = pDst + static_cast<int64_t>(y) * nDstStride;
    if (sy == nLastRow) {
      std::memcpy(d, pLastOut, static_cast<size_t>(nCols));
      continue;
    }
    const uint8_t* s = pSrc + sy * nSrcStride;
    if (bHalf) {
      for (int32_t x = 0; x < nCols; ++x)
        d[x] = s[2 * x];
    } else {
      for (int32_t x = 0; x < nCols; ++x)
        d[x] = s[pColumns[x]];
    }
    nLastRow = sy;
    pLastOut = d;
  }
}

void BilinearEnlarge(const uint8_t* pSrc, int32_t nSrcStride, int32_t nW, int32_t nH, uint8_t* pDst,
                     int32_t nDstStride, int32_t nDW, int32_t nDH, int32_t* pColumns)
{
  const int64_t nStepX = (static_cast<int64_t>(nW) << nFixShift) / nDW;
  const int64_t nStepY = (static_cast<int64_t>(nH) << nFixShift) / nDH;
  const double dRatioX = static_cast<double>(nDW) / nW;
  const double dRatioY = static_cast<double>(nDH) / nH;
  const int32_t mX = static_cast<int32_t>(dRatioX * 0.5 + 0.5);
  const int32_t mY = static_cast<int32_t>(dRatioY * 0.5 + 0.5);
  const int64_t pX = static_cast<int64_t>((mX + 0.5 - dRatioX * 0.5) * nStepX);
  const int64_t pY = static_cast<int64_t>((mY + 0.5 - dRatioY * 0.5) * nStepY);

  const int32_t nLeftEnd = std::min(mX, nDW), nRightBegin = std::max(nDW - mX, 0);
  const int32_t nTopEnd = std::min(mY, nDH), nBottomBegin = std::max(nDH - mY, 0);
  const int32_t nLastCol = nW - 1, nLastRow = nH - 1;

  // Interior columns: source column and fraction.
  int32_t* pIx = pColumns;
  int32_t* pFx = pColumns + nDW;
  for (int32_t x = mX; x < nRightBegin; ++x) {
    const int64_t nPhase = pX + static_cast<int64_t>(x - mX) * nStepX;
    pIx[x] = static_cast<int32_t>(std::min<int64_t>(nPhase >> nFixShift, nLastCol));
    pFx[x] = static_cast<int32_t>(nPhase & (nFixOne - 1));
  }

  for (int32_t y = mY; y < nBottomBegin; ++y) {
    const int64_t nPhase = pY + static_cast<int64_t>(y - mY) * nStepY;
    const int32_t iy = static_cast<int32_t>(std::min<int64_t>(nPhase >> nFixShift, nLastRow));
    const int32_t fy = static_cast<int32_t>(nPhase & (nFixOne - 1));
    const int32_t gy = static_cast<int32_t>(nFixOne) - fy;
    const uint8_t* r0 = pSrc + static_cast<int64_t>(iy) * nSrcStride;
    const uint8_t* r1 = pSrc + static_cast<int64_t>(std::min(iy + 1, nLastRow)) * nSrcStride;
    uint8_t* d = pDst + static_cast<int64_t>(y) * nDstStride;
    for (int32_t x = mX; x < nRightBegin; ++x) {
      const int32_t ix = pIx[x], ix1 = std::min(ix + 1, nLastCol);
      const int32_t fx = pFx[x], gx = static_cast<int32_t>(nFixOne) - fx;
      const int32_t w00 = (gx * gy) >> nFixShift, w10 = (fx * gy) >> nFixShift;
      const int32_t w01 = (gx * fy) >> nFixShift, w11 = (fx * fy) >> nFixShift;
      d[x] = static_cast<uint8_t>(((w00 * r0[ix]) >> nFixShift) + ((w10 * r0[ix1]) >> nFixShift) +
                                  ((w01 * r1[ix]) >> nFixShift) + ((w11 * r1[ix1]) >> nFixShift));
    }
    for (int32_t x = 0; x < nLeftEnd; ++x)
      d[x] = static_cast<uint8_t>((r0[0] * gy + r1[0] * fy) >> nFixShift);
    for (int32_t x = nRightBegin; x < nDW; ++x)
      d[x] = static_cast<uint8_t>((r0[nLastCol] * gy + r1[nLastCol] * fy) >> nFixShift);
  }

  auto marginRow = [&](int32_t y, const uint8_t* r) {
    uint8_t* d = pDst + static_cast<int64_t>(y) * nDstStride;
    for (int32_t x = mX; x < nRightBegin; ++x) {
      const int32_t ix = pIx[x], ix1 = std::min(ix + 1, nLastCol), fx = pFx[x];
      d[x] = static_cast<uint8_t>((r[ix] * (static_cast<int32_t>(nFixOne) - fx) + r[ix1] * fx) >>
                                  nFixShift);
    }
    std::memset(d, r[0], static_cast<size_t>(nLeftEnd));
    std::memset(d + nRightBegin, r[nLastCol], static_cast<size_t>(nDW - nRightBegin));
  };
  const uint8_t* pLastSrcRow = pSrc + static_cast<int64_t>(nLastRow) * nSrcStride;
  for (int32_t y = 0; y < nTopEnd; ++y)
    marginRow(y, pSrc);
  for (int32_t y = nBottomBegin; y < nDH; ++y)
    marginRow(y, pLastSrcRow);
}

void ReduceX(const uint8_t* pSrc, int32_t nSrcStride, int32_t nW, int32_t nH, uint8_t* pDst,
             int32_t nDstStride, int32_t nDW, int64_t nRatio)
{
  if (nRatio < 1)
    nRatio = 1;
  if (nRatio == nHalf) {
    const int32_t nPairs = std::min(nW / 2, nDW);
    const bool bSingle = nW % 2 != 0 && nPairs < nDW;
    for (int32_t y = 0; y < nH; ++y) {
      const uint8_t* s = pSrc + static_cast<int64_t>(y) * nSrcStride;
      uint8_t* d = pDst + static_cast<int64_t>(y) * nDstStride;
      HalveRow(s, d, nPairs);
      if (bSingle)
        d[nPairs] = s[nW - 1];
    }
    return;
  }
  const ClDivider divide(static_cast<uint64_t>(nRatio));
  const int64_t nEnd = static_cast<int64_t>(nW) << nFixShift;
  for (int32_t y = 0; y < nH; ++y) {
    const uint8_t* s = pSrc + static_cast<int64_t>(y) * nSrcStride;
    uint8_t* d = pDst + static_cast<int64_t>(y) * nDstStride;
    uint32_t nSum = 0;
    int64_t nBound = nRatio - nFixOne;
    int32_t j = 0;
    for (int32_t i = 0; i < nW && j < nDW; ++i) {
      const int64_t nPos = static_cast<int64_t>(i) << nFixShift;
      const uint32_t v = s[i];
      if (nPos <= nBound) {
        nSum += v << nFixShift;
        continue;
      }
      const uint32_t nPart = static_cast<uint32_t>(ClampPart(nBound + nFixOne - nPos));
      d[j++] = static_cast<uint8_t>(divide(nSum + v * nPart, static_cast<uint64_t>(nRatio)));
      nSum = v * (static_cast<uint32_t>(nFixOne) - nPart);
      nBound += nRatio;
    }
    if (j < nDW) {
      const int64_t nDiv = std::max<int64_t>(nRatio - nFixOne + nEnd - nBound, 1);
      d[j] = static_cast<uint8_t>(nSum / static_cast<uint64_t>(nDiv));
    }
  }
}

void ReduceY(const uint8_t* pSrc, int32_t nSrcStride, int32_t nW, int32_t nH, uint8_t* pDst,
             int32_t nDstStride, int32_t nDH, int64_t nRatio, uint32_t* pSums)
{
  if (nRatio < 1)
    nRatio = 1;
  if (nRatio == nHalf) {
    const int32_t nPairs = std::min(nH / 2, nDH);
    for (int32_t j = 0; j < nPairs; ++j) {
      const uint8_t* s0 = pSrc + static_cast<int64_t>(2 * j) * nSrcStride;
      AverageRows(s0, s0 + nSrcStride, pDst + static_cast<int64_t>(j) * nDstStride, nW);
    }
    if (nH % 2 != 0 && nPairs < nDH)
      std::memcpy(pDst + static_cast<int64_t>(nPairs) * nDstStride,
                  pSrc + static_cast<int64_t>(nH - 1) * nSrcStride, static_cast<size_t>(nW));
    return;
  }
  const ClDivider divide(static_cast<uint64_t>(nRatio));
  std::fill(pSums, pSums + nW, 0u);
  int64_t nBound = nRatio - nFixOne;
  int32_t j = 0;
  for (int32_t i = 0; i < nH && j < nDH; ++i) {
    const int64_t nPos = static_cast<int64_t>(i) << nFixShift;
    const uint8_t* s = pSrc + static_cast<int64_t>(i) * nSrcStride;
    if (nPos <= nBound) {
      for (int32_t x = 0; x < nW; ++x)
        pSums[x] += static_cast<uint32_t>(s[x]) << nFixShift;
      continue;
    }
    const uint32_t nPart = static_cast<uint32_t>(ClampPart(nBound + nFixOne - nPos));
    const uint32_t nRest = static_cast<uint32_t>(nFixOne) - nPart;
    uint8_t* d = pDst + static_cast<int64_t>(j) * nDstStride;
    for (int32_t x = 0; x < nW; ++x) {
      d[x] = static_cast<uint8_t>(divide(pSums[x] + s[x] * nPart, static_cast<uint64_t>(nRatio)));
      pSums[x] = s[x] * nRest;
    }
    ++j;
    nBound += nRatio;
  }
  if (j < nDH) {
    const int64_t nDiv =
        std::max<int64_t>(nRatio - nFixOne + (static_cast<int64_t>(nH) << nFixShift) - nBound, 1);
    uint8_t* d = pDst + static_cast<int64_t>(j) * nDstStride;
    for (int32_t x = 0; x < nW; ++x)
      d[x] = static_cast<uint8_t>(pSums[x] / static_cast<uint64_t>(nDiv));
  }
}

void Halve(const uint8_t* pSrc, int32_t nSrcStride, int32_t nW, int32_t nH, uint8_t* pDst,
           int32_t nDstStride, int32_t nDW, int32_t nDH, uint8_t* pRows)
{
  const int32_t nPairs = std::min(nW / 2, nDW);
  const bool bSingle = nW % 2 != 0 && nPairs < nDW;
  const int32_t nOut = nPairs + (bSingle ? 1 : 0);
  uint8_t* t0 = pRows;
  uint8_t* t1 = pRows + nDW + 1;
  auto halve = [&](int32_t y, uint8_t* t) {
    const uint8_t* s = pSrc + static_cast<int64_t>(y) * nSrcStride;
    HalveRow(s, t, nPairs);
    if (bSingle)
      t[nPairs] = s[nW - 1];
  };
  const int32_t nRowPairs = std::min(nH / 2, nDH);
  for (int32_t j = 0; j < nRowPairs; ++j) {
    halve(2 * j, t0);
    halve(2 * j + 1, t1);
    AverageRows(t0, t1, pDst + static_cast<int64_t>(j) * nDstStride, nOut);
  }
  if (nH % 2 != 0 && nRowPairs < nDH)
    halve(nH - 1, pDst + static_cast<int64_t>(nRowPairs) * nDstStride);
}

double CubicWeight(double d2, double a)
{
  if (d2 < 2.0) {
    const double d = std::sqrt(d2);
    return ((a + 2.0) * d - (a + 3.0)) * d2 + 1.0;
  }
  if (d2 < 4.0) {
    const double d = std::sqrt(d2);
    return ((d2 + 8.0) * d - 5.0 * d2) * a - 4.0 * a;
  }
  return 0.0;
}

void BicubicExact(const double* pPacked, int32_t nW, int32_t nH, uint8_t* pDst, int32_t nDstStride,
                  int32_t nDW, int32_t nDH, double a)
{
  const double sx = static_cast<double>(nW) / nDW;
  const double sy = static_cast<double>(nH) / nDH;
  const int64_t nCount = static_cast<int64_t>(nW) * nH;
  for (int32_t y = 0; y < nDH; ++y) {
    const double py = y * sy;
    const int64_t iy = static_cast<int64_t>(py);
    uint8_t* d = pDst + static_cast<int64_t>(y) * nDstStride;
    for (int32_t x = 0; x < nDW; ++x) {
      const double px = x * sx;
      const int64_t ix = static_cast<int64_t>(px);
      double dSum = 0.0, dWeights = 0.0;
      for (int64_t r = iy - 1; r <= iy + 2; ++r) {
        const double dy = static_cast<double>(r) - py;
        for (int64_t c = ix - 1; c <= ix + 2; ++c) {
          // Only the linear index is tested: a window over the left edge reads the end
          // of the row before.
          const int64_t nIndex = r * nW + c;
          if (nIndex < 0 || nIndex >= nCount)
            continue;
          const double dx = static_cast<double>(c) - px;
          const double w = CubicWeight(dx * dx + dy * dy, a);
          dSum += w * pPacked[nIndex];
          dWeights += w;
        }
      }
      d[x] = ClampToByte(dSum / (dWeights == 0.0 ? 1.0 : dWeights));
    }
  }
}

void BicubicFast(const uint8_t* pPacked, int32_t nW, int32_t nH, uint8_t* pDst, int32_t nDstStride,
                 int32_t nDW, int32_t nDH, double a)
{
  auto weight = [a](double d2) { return static_cast<int32_t>(CubicWeight(d2, a) * 10000.0 + 0.5); };
  const int32_t w05 = weight(0.5), w25 = weight(2.5), w45 = weight(4.5);
  const int32_t aWeights[4][4] = {
      {w45, w25, w25, w45}, {w25, w05, w05, w25}, {w25, w05, w05, w25}, {w45, w25, w25, w45}};
  int32_t nAll = 0;
  for (const auto& row : aWeights)
    for (int32_t w : row)
      nAll += w;
  const double sx = static_cast<double>(nW) / nDW;
  const double sy = static_cast<double>(nH) / nDH;
  const int64_t nCount = static_cast<int64_t>(nW) * nH;
  for (int32_t y = 0; y < nDH; ++y) {
    const int64_t ry = static_cast<int64_t>(y * sy + 0.5);
    uint8_t* d = pDst + static_cast<int64_t>(y) * nDstStride;
    for (int32_t x = 0; x < nDW; ++x) {
      const int64_t cx = static_cast<int64_t>(x * sx + 0.5);
      int64_t nSum = 0;
      int32_t nDiv = nAll;
      for (int32_t j = 0; j < 4; ++j) {
        const int64_t nRow = (ry - 1 + j) * nW;
        for (int32_t i = 0; i < 4; ++i) {
          const int64_t nIndex = nRow + cx - 1 + i;
          if (nIndex < 0 || nIndex >= nCount)
            nDiv -= aWeights[j][i];
          else
            nSum += static_cast<int64_t>(aWeights[j][i]) * pPacked[nIndex];
        }
      }
      const int64_t v = nSum / std::max(nDiv, 1);
      d[x] = static_cast<uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v));
    }
  }
}

void ResampleLine(const uint8_t* pIn, int32_t n, uint8_t* pOut, int32_t m)
{
  const double dScale = static_cast<double>(m) / n;
  const double dInv = 1.0 / dScale;
  double dOutSeg = dInv, dInSeg = 1.0, dSum = 0.0;
  int32_t i = 0;
  for (int32_t k = 0; k < m;) {
    const double v = (1.0 - dInSeg) * pIn[i + 1] + dInSeg * pIn[i];
    if (dOutSeg > dInSeg) {
      dSum += v * dInSeg;
      dOutSeg -= dInSeg;
      dInSeg = 1.0;
      // Rounding can run the walk past the last sample; it stops on the spare byte.
      if (i < n)
        ++i;
    } else {
      pOut[k++] = ClampToByte((dSum + v * dOutSeg) * dScale);
      dSum = 0.0;
      dInSeg -= dOutSeg;
      dOutSeg = dInv;
    }
  }
}

void Transpose(const uint8_t* pSrc, int32_t nW, int32_t nH, uint8_t* pDst)
{
  for (int32_t y = 0; y < nH; ++y) {
    const uint8_t* s = pSrc + static_cast<int64_t>(y) * nW;
    for (int32_t x = 0; x < nW; ++x)
      pDst[static_cast<int64_t>(x) * nH + y] = s[x];
  }
}

void MeanX(const uint8_t* pSrc, int32_t nSrcStride, int32_t nW, int32_t nH, uint8_t* pDst,
           int32_t nDstStride, int32_t nDW, int32_t k)
{
  // An input narrower than one block still gives one output, over what it has.
  const int32_t nFull = std::max(nW / k, 1);
  const int32_t nTake = std::min(k, nW);
  const int32_t nOut = std::min(nFull, nDW);
  for (int32_t y = 0; y < nH; ++y) {
    const uint8_t* s = pSrc + static_cast<int64_t>(y) * nSrcStride;
    uint8_t* d = pDst + static_cast<int64_t>(y) * nDstStride;
    for (int32_t x = 0; x < nOut; ++x) {
      uint32_t nSum = 0;
      const uint8_t* p = s + static_cast<int64_t>(x) * k;
      for (int32_t i = 0; i < nTake; ++i)
        nSum += p[i];
      d[x] = static_cast<uint8_t>(nSum / static_cast<uint32_t>(nTake));
    }
    if (nOut > 0 && nDW > nOut)
      std::memset(d + nOut, d[nOut - 1], static_cast<size_t>(nDW - nOut));
  }
}

void RepeatX(const uint8_t* pSrc, int32_t nSrcStride, int32_t nW, int32_t nH, uint8_t* pDst,
             int32_t nDstStride, int32_t nDW, int32_t k)
{
  const int32_t nCovered =
      static_cast<int32_t>(std::min<int64_t>(static_cast<int64_t>(nW) * k, nDW));
  for (int32_t y = 0; y < nH; ++y) {
    const uint8_t* s = pSrc + static_cast<int64_t>(y) * nSrcStride;
    uint8_t* d = pDst + static_cast<int64_t>(y) * nDstStride;
    for (int32_t x = 0; x < nCovered; ++x)
      d[x] = s[x / k];
    if (nDW > nCovered)
      std::memset(d + nCovered, s[nW - 1], static_cast<size_t>(nDW - nCovered));
  }
}

void MeanY(const uint8_t* pSrc, int32_t nSrcStride, int32_t nW, int32_t nH, uint8_t* pDst,
           int32_t nDstStride, int32_t nDH, int32_t k)
{
  const int32_t nFull = std::max(nH / k, 1);
  const int32_t nTake = std::min(k, nH);
  const int32_t nOut = std::min(nFull, nDH);
  for (int32_t y = 0; y < nOut; ++y) {
    uint8_t* d = pDst + static_cast<int64_t>(y) * nDstStride;
    const uint8_t* s = pSrc + static_cast<int64_t>(y) * k * nSrcStride;
    for (int32_t x = 0; x < nW; ++x) {
      uint32_t nSum = 0;
      for (int32_t i = 0; i < nTake; ++i)
        nSum += s[static_cast<int64_t>(i) * nSrcStride + x];
      d[x] = static_cast<uint8_t>(nSum / static_cast<uint32_t>(nTake));
    }
  }
  for (int32_t y = nOut; nOut > 0 && y < nDH; ++y)
    std::memcpy(pDst + static_cast<int64_t>(y) * nDstStride,
                pDst + static_cast<int64_t>(nOut - 1) * nDstStride, static_cast<size_t>(nW));
}

void RepeatY(const uint8_t* pSrc, int32_t nSrcStride, int32_t nW, int32_t nH, uint8_t* pDst,
             int32_t nDstStride, int32_t nDH, int32_t k)
{
  for (int32_t y = 0; y < nDH; ++y) {
    const int64_t sy = std::min<int64_t>(y / k, nH - 1);
    std::memcpy(pDst + static_cast<int64_t>(y) * nDstStride, pSrc + sy * nSrcStride,
                static_cast<size_t>(nW));
  }
}

} // namespace RescaleKernels
