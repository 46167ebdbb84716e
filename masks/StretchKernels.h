#pragma once
// The local stretch of the KX10 mask: what depends on one value only, tabled per
// precision; the formula of a sample towards the rim; and the kernel that runs it on the
// rim blocks of a row, built with the vectorizer (see imaging/VectorKernel.h).
#include "imaging/VectorKernel.h"

#include <algorithm>
#include <cstdint>

inline uint8_t StretchInvert(double v)
{
  return static_cast<uint8_t>(static_cast<int32_t>(255.0 - std::min(v, 255.0)));
}

// Per mask value m the blend weight and the limits, per envelope distance the gain. The
// per-sample work is then a few multiplications without a division.
struct StStretchTables
{
  explicit StStretchTables(bool bHighPrecision);

  int32_t nSoftFrom;
  double aA[256];
  double aRest[256];
  uint8_t aLift[256];
  double aLimit[256];
  bool aSharp[256];
  double aFade[256];
  double aWhite[256];
  // 255 / k for an envelope distance k from 1 to 255.
  double aGain[256];
  // The inverted stretch inside the finger per envelope distance k and sample distance d.
  uint8_t aCore[256][256];
};

const StStretchTables& StretchTables(bool bHighPrecision);

// Towards the rim the stretch fades into the plain inverted frame and then into white:
// sample g with the values of its mask sample and envelopes (see StRim); nSharp is 0 or 1.
LSKX2_KERNEL_INLINE int32_t RimSample(int32_t g, int32_t nL2, double dGain, double dA, double dRest,
                                      double dFade, double dWhite, int32_t nSharp)
{
  const double d = std::max(g - nL2, 0);
  const double v = dA * std::min(255.0, d * dGain) + dRest * d;
  // 255 - min(v, 255) lies in [0, 255] (v is not negative): the inverted sample.
  const auto w = static_cast<int32_t>(255.0 - std::min(v, 255.0));
  const auto f = static_cast<int32_t>(w * dFade + dWhite);
  // Both are worked out and one is picked by a mask, which vectorizes.
  const int32_t nPick = -nSharp;
  return (w & nPick) | (f & ~nPick);
}

// Inside the finger: the stretch between the dark bound l2 (at most 32) and the upper
// envelope, k = upper - l2 apart.
inline uint8_t CoreSample(int32_t g, int32_t l2, int32_t k, const StStretchTables& t)
{
  return k < 0 ? 255 : t.aCore[k][std::max(g - l2, 0)];
}

// The values of RimSample for mask value m and envelopes l and h.
struct StRim
{
  StRim(int32_t m, int32_t l, int32_t h, const StStretchTables& t)
    : dA(t.aA[m]), dRest(t.aRest[m]), dFade(t.aFade[m]), dWhite(t.aWhite[m]), nSharp(t.aSharp[m])
  {
    nL2 = std::min(std::max(l + 5 + t.aLift[m], 0), 32);
    int32_t h2 = std::max(h, 50);
    if (h2 < nL2 + 50)
      h2 = std::min(255, nL2 + 50);
    dGain = std::min(t.aLimit[m], std::max(0.0, t.aGain[h2 - nL2]));
  }
  uint8_t operator()(int32_t g) const
  {
    return static_cast<uint8_t>(RimSample(g, nL2, dGain, dA, dRest, dFade, dWhite, nSharp));
  }
  double dA, dRest, dFade, dWhite;
  int32_t nSharp;
  int32_t nL2;
  double dGain;
};

// Rim blocks of 2 by 2 samples gathered from a pair of rows: block j has the values
// of its StRim at index j and its samples at aSamples[k][j], k = 0 and 1 the upper
// row's left and right, 2 and 3 the lower row's; the results go to aOut[k][j].
struct StRimBatch
{
  int32_t* pL2;
  double* pGain;
  double* pA;
  double* pRest;
  double* pFade;
  double* pWhite;
  int32_t* pSharp;
  int32_t* aSamples[4];
  int32_t* aOut[4];
};

void StretchRimBatch(const StRimBatch& batch, int32_t nBlocks);
