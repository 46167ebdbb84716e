#pragma once
// ClTpIpSubtract: a minus b in the intern type, a negative difference giving 0. The
// limits m_nLower and m_nUpper are carried for the callers but the loop does not read
// them. Instance in use: uint8, uint8, int32.
#include "imaging/TpIp2To1.h"
#include "imaging/operators/OperatorRows.h"

#include <type_traits>

template <class TIn, class TOut, class TIntern>
class ClTpIpSubtract : public ClTpIp2To1<ClTpIpSubtract<TIn, TOut, TIntern>>
{
public:
  using InType = TIn;
  using OutType = TOut;

  int32_t DoProcess() override
  {
    CheckSameSize(*this->m_pInImage1, *this->m_pInImage2, __FILE__, __LINE__);
    CombineImages<TIn, TIn, TOut>(*this->m_pInImage1, *this->m_pInImage2, *this->m_pOutImage,
                                  [](const TIn* a, const TIn* b, TOut* o, int32_t n) {
      if constexpr (std::is_same<TIn, uint8_t>::value && std::is_same<TOut, uint8_t>::value &&
                    sizeof(TIntern) > 1 && std::is_signed<TIntern>::value) {
        SubtractToZeroU8(a, b, o, n);
      } else {
        for (int32_t x = 0; x < n; ++x) {
          const TIntern d = static_cast<TIntern>(static_cast<TIntern>(a[x]) - static_cast<TIntern>(b[x]));
          o[x] = d < TIntern(0) ? TOut(0) : static_cast<TOut>(d);
        }
      }
    });
    return 0;
  }

  TOut m_nLower = 0;
  TOut m_nUpper = 255;
};
