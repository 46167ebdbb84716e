#pragma once
// ClTpIpDelta: |a - b| in the intern type, so the order of the inputs does not matter.
// Instance in use: uint8 with int32.
#include "imaging/operators/TpIpCombine.h"

#include <type_traits>

template <class T, class TIntern>
struct ClTpDeltaRows
{
  void operator()(const T* a, const T* b, T* o, int32_t n) const
  {
    if constexpr (std::is_same<T, uint8_t>::value && sizeof(TIntern) > 1 &&
                  std::is_signed<TIntern>::value) {
      AbsDifferenceU8(a, b, o, n);
    } else {
      for (int32_t x = 0; x < n; ++x) {
        const TIntern d =
            static_cast<TIntern>(static_cast<TIntern>(a[x]) - static_cast<TIntern>(b[x]));
        o[x] = static_cast<T>(d < TIntern(0) ? -d : d);
      }
    }
  }
};

template <class T, class TIntern>
using ClTpIpDelta = ClTpIpCombine<T, ClTpDeltaRows<T, TIntern>>;
