#pragma once
// The three-zone walk shared by every running-window filter. Along a line of nCount
// samples the window of half size nHalf is clipped to the line, never padded: while it
// grows a sample enters per step, when full one enters and one leaves, while it shrinks
// one leaves. The visitor holds the running value and the line; the walk only says when.
//
//   f.Add(j)            sample j enters before position i is stored (j = i + nHalf)
//   f.Store(i, n)       store position i, window of n samples, not full
//   f.StoreFull(i)      store position i, window of 2 * nHalf + 1 samples
//   f.Sub(j)            sample j leaves after position i is stored (j = i - nHalf)
//
// Initially the visitor has received Add(0) .. Add(nHalf - 1).
#include "imaging/VectorKernel.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <type_traits>

// Number of samples of a clipped window of half nHalf at position i of a line of nCount.
inline int32_t ClippedCount(int32_t i, int32_t nHalf, int32_t nCount)
{
  const int32_t a = i - nHalf < 0 ? 0 : i - nHalf;
  const int32_t b = i + nHalf >= nCount ? nCount - 1 : i + nHalf;
  return b - a + 1;
}

template <class F>
inline void WalkWindow(int32_t nCount, int32_t nHalf, F& f)
{
  if (nCount <= 0)
    return;
  if (nHalf < 0)
    nHalf = 0;
  const int32_t nFirst = std::min(nHalf, nCount);
  for (int32_t j = 0; j < nFirst; ++j)
    f.Add(j);
  int32_t n = nFirst;
  // Positions below nEnterEnd take a sample in; positions from nLeaveBegin give one up.
  const int32_t nEnterEnd = std::max(0, nCount - nHalf);
  const int32_t nLeaveBegin = nFirst;
  int32_t i = 0;
  if (nEnterEnd <= nLeaveBegin) {
    for (; i < nEnterEnd; ++i) {
      f.Add(i + nHalf);
      f.Store(i, ++n);
    }
    for (; i < nLeaveBegin; ++i)
      f.Store(i, n);
  } else {
    for (; i < nLeaveBegin; ++i) {
      f.Add(i + nHalf);
      f.Store(i, ++n);
    }
    for (; i < nEnterEnd; ++i) {
      f.Add(i + nHalf);
      f.StoreFull(i);
      f.Sub(i - nHalf);
    }
    n = nCount - (nEnterEnd - nHalf);
  }
  for (; i < nCount; ++i) {
    f.Store(i, n--);
    f.Sub(i - nHalf);
  }
}

// Sums of the clipped window at every position of a line, o[i] = p[i - nHalf] + ... +
// p[i + nHalf]: the plain walk, one running sum.
template <class Acc>
inline void PlainWindowSums(const Acc* p, Acc* o, int32_t nCount, int32_t nHalf)
{
  struct Visitor
  {
    const Acc* p;
    Acc* o;
    Acc s;
    void Add(int32_t j) { s += p[j]; }
    void Sub(int32_t j) { s -= p[j]; }
    void Store(int32_t i, int32_t) { o[i] = s; }
    void StoreFull(int32_t i) { o[i] = s; }
  } v{p, o, Acc(0)};
  WalkWindow(nCount, nHalf, v);
}

#if defined(__GNUC__) && !defined(__clang__)
// Full-window sums of unsigned integers from position i (whose sum s is stored already)
// towards nEnd, 16 bytes of sums at a time: the differences p[k + nHalf] - p[k - nHalf - 1]
// of a vector are summed up within it in log2(lanes) shifted adds, and only the vector's
// total is carried on, so that vectors do not wait on one another's prefix. Wrapping
// sums are exact in any order. Returns the first position not done; s is then the sum of
// the last one done.
template <class Acc>
LSKX2_KERNEL_INLINE int32_t VectorWindowSums(const Acc* p, Acc* o, int32_t i, int32_t nEnd,
                                             int32_t nHalf, Acc& s)
{
  typedef Acc V __attribute__((vector_size(16)));
  constexpr int32_t L = int32_t(16 / sizeof(Acc));
  static_assert(L == 2 || L == 4, "4- or 8-byte sums");
  const V z = {};
  V carry = z + s;
  for (; i + 2 * L <= nEnd; i += 2 * L) {
    V a, b, c, d;
    std::memcpy(&a, p + i + nHalf, sizeof(V));
    std::memcpy(&b, p + i - nHalf - 1, sizeof(V));
    std::memcpy(&c, p + i + L + nHalf, sizeof(V));
    std::memcpy(&d, p + i + L - nHalf - 1, sizeof(V));
    V u = a - b, w = c - d;
    if constexpr (L == 4) {
      u += __builtin_shuffle(z, u, V{0, 4, 5, 6});
      w += __builtin_shuffle(z, w, V{0, 4, 5, 6});
      u += __builtin_shuffle(z, u, V{0, 1, 4, 5});
      w += __builtin_shuffle(z, w, V{0, 1, 4, 5});
    } else {
      u += __builtin_shuffle(z, u, V{0, 2});
      w += __builtin_shuffle(z, w, V{0, 2});
    }
    const V tu = __builtin_shuffle(u, V{} + Acc(L - 1));
    const V tw = __builtin_shuffle(w, V{} + Acc(L - 1));
    u += carry;
    w += carry + tu;
    std::memcpy(o + i, &u, sizeof(V));
    std::memcpy(o + i + L, &w, sizeof(V));
    carry += tu + tw;
  }
  s = carry[0];
  return i;
}
#endif

// The same sums, faster. Unsigned integers run the full zone a vector at a time (see
// VectorWindowSums); other sums as four interleaved chains, each started from a sum of
// its own first window, so that the adds do not wait on one another. Floating sums then
// differ from a single chain only in their last bits.
template <class Acc>
LSKX2_KERNEL_INLINE void RunningWindowSums(const Acc* p, Acc* o, int32_t nCount, int32_t nHalf)
{
  if (nHalf < 0)
    nHalf = 0;
  const int32_t nFull = nCount - 2 * nHalf; // positions with the whole window inside
#if defined(__GNUC__) && !defined(__clang__)
  if constexpr (std::is_integral<Acc>::value && std::is_unsigned<Acc>::value) {
    if (nFull >= 16) {
      Acc s = Acc(0);
      for (int32_t j = 0; j < nHalf; ++j)
        s += p[j];
      for (int32_t i = 0; i < nHalf; ++i) {
        s += p[i + nHalf];
        o[i] = s;
      }
      s += p[2 * nHalf];
      o[nHalf] = s;
      const int32_t nFullEnd = nCount - nHalf;
      int32_t i = VectorWindowSums(p, o, nHalf + 1, nFullEnd, nHalf, s);
      for (; i < nFullEnd; ++i) {
        s += p[i + nHalf] - p[i - nHalf - 1];
        o[i] = s;
      }
      for (; i < nCount; ++i) {
        s -= p[i - nHalf - 1];
        o[i] = s;
      }
      return;
    }
  }
#endif
  constexpr int32_t K = 4;
  if (nFull < 8 * K) {
    PlainWindowSums(p, o, nCount, nHalf);
    return;
  }
  Acc s = Acc(0);
  for (int32_t j = 0; j < nHalf; ++j)
    s += p[j];
  for (int32_t i = 0; i < nHalf; ++i) {
    s += p[i + nHalf];
    o[i] = s;
  }
  // Chains k = 0..K-1 cover [a + k * nSeg, a + (k + 1) * nSeg); the last takes the rest.
  const int32_t a = nHalf;
  const int32_t nSeg = nFull / K;
  Acc c[K];
  for (int32_t k = 0; k < K; ++k) {
    const int32_t i0 = a + k * nSeg;
    Acc t = Acc(0);
    for (int32_t j = i0 - nHalf; j <= i0 + nHalf; ++j)
      t += p[j];
    c[k] = t;
    o[i0] = t;
  }
  for (int32_t t = 1; t < nSeg; ++t) {
    for (int32_t k = 0; k < K; ++k) {
      const int32_t i = a + k * nSeg + t;
      c[k] += p[i + nHalf] - p[i - nHalf - 1];
      o[i] = c[k];
    }
  }
  Acc r = c[K - 1];
  const int32_t nFullEnd = a + nFull;
  for (int32_t i = a + K * nSeg; i < nFullEnd; ++i) {
    r += p[i + nHalf] - p[i - nHalf - 1];
    o[i] = r;
  }
  for (int32_t i = nFullEnd; i < nCount; ++i) {
    r -= p[i - nHalf - 1];
    o[i] = r;
  }
}
