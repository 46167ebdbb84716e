#pragma once
// ClTpIpSubtract: a minus b in the intern type, a negative difference giving 0. The
// limits m_nLower and m_nUpper are carried for the callers but the loop does not read
// them. Instance in use: uint8, uint8, int32.
#include "imaging/TpIp2To1.h"
#include "imaging/operators/OperatorRows.h"

#include <algorithm>
#include <cstddef>
#include <type_traits>

template <class TIn, class TOut, class TIntern>
class ClTpIpSubtract : public ClTpIp2To1<ClTpIpSubtract<TIn, TOut, TIntern>>
{
public:
  using InType = TIn;
  using OutType = TOut;

  int32_t DoProcess() override
  {
    const ClImage& in1 = *this->m_pInImage1;
    const ClImage& in2 = *this->m_pInImage2;
    ClImage& out = *this->m_pOutImage;
    const TIn* pA = in1.Pixels<TIn>();
    const TIn* pB = in2.Pixels<TIn>();
    TOut* pO = out.Pixels<TOut>();
    if (!pA || !pB || !pO)
      return 0;
    // Input 2 may differ in size (a reference of another height): it is taken off where
    // it covers input 1, and beyond it there is nothing to take off.
    const int32_t nWidth = std::min(in1.Width(), out.Width());
    const int32_t nHeight = std::min(in1.Height(), out.Height());
    const int32_t nCoverWidth = std::min(nWidth, in2.Width());
    const int32_t nCoverHeight = std::min(nHeight, in2.Height());
    const ptrdiff_t nA = in1.LineElements(), nB = in2.LineElements(), nO = out.LineElements();
    // Rows without padding, all covered: one run over the whole picture.
    if (nCoverWidth == nWidth && nCoverHeight == nHeight && nA == nWidth && nB == nWidth &&
        nO == nWidth && int64_t(nWidth) * nHeight <= INT32_MAX) {
      SubtractRow(pA, pB, pO, nWidth * nHeight);
      return 0;
    }
    for (int32_t y = 0; y < nHeight; ++y, pA += nA, pO += nO) {
      int32_t x = 0;
      if (y < nCoverHeight) {
        SubtractRow(pA, pB, pO, nCoverWidth);
        pB += nB;
        x = nCoverWidth;
      }
      for (; x < nWidth; ++x)
        pO[x] = Difference(pA[x], TIn(0));
    }
    return 0;
  }

  TOut m_nLower = 0;
  TOut m_nUpper = 255;

private:
  static TOut Difference(TIn a, TIn b)
  {
    const TIntern d = static_cast<TIntern>(static_cast<TIntern>(a) - static_cast<TIntern>(b));
    return d < TIntern(0) ? TOut(0) : static_cast<TOut>(d);
  }
  static void SubtractRow(const TIn* a, const TIn* b, TOut* o, int32_t n)
  {
    if constexpr (std::is_same<TIn, uint8_t>::value && std::is_same<TOut, uint8_t>::value &&
                  sizeof(TIntern) > 1 && std::is_signed<TIntern>::value) {
      SubtractToZeroU8(a, b, o, n);
    } else {
      for (int32_t x = 0; x < n; ++x)
        o[x] = Difference(a[x], b[x]);
    }
  }
};
