#pragma once
// ClTpIpDelta: |a - b| in the intern type, so the order of the inputs does not matter.
// Instance in use: uint8 with int32.
#include "imaging/TpIp2To1.h"
#include "imaging/operators/OperatorRows.h"

#include <type_traits>

template <class T, class TIntern>
class ClTpIpDelta : public ClTpIp2To1<ClTpIpDelta<T, TIntern>>
{
public:
  using InType = T;
  using OutType = T;

  int32_t DoProcess() override
  {
    CheckSameSize(*this->m_pInImage1, *this->m_pInImage2);
    CombineImages<T, T, T>(*this->m_pInImage1, *this->m_pInImage2, *this->m_pOutImage,
                           [](const T* a, const T* b, T* o, int32_t n) {
      if constexpr (std::is_same<T, uint8_t>::value && sizeof(TIntern) > 1 &&
                    std::is_signed<TIntern>::value) {
        AbsDifferenceU8(a, b, o, n);
      } else {
        for (int32_t x = 0; x < n; ++x) {
          const TIntern d = static_cast<TIntern>(static_cast<TIntern>(a[x]) - static_cast<TIntern>(b[x]));
          o[x] = static_cast<T>(d < TIntern(0) ? -d : d);
        }
      }
    });
    return 0;
  }
};
