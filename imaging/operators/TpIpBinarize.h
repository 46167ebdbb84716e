#pragma once
// ClTpIpBinarize: a below m_nThreshold gives m_nLow, else m_nHigh. With the default
// threshold 0 every sample gives m_nHigh. Instance in use: uint8 to uint8.
#include "imaging/TpIp1To1.h"
#include "imaging/operators/OperatorRows.h"

#include <type_traits>

template <class TIn, class TOut>
class ClTpIpBinarize : public ClTpIp1To1<ClTpIpBinarize<TIn, TOut>>
{
public:
  using InType = TIn;
  using OutType = TOut;

  int32_t DoProcess() override
  {
    const TIn thr = m_nThreshold;
    const TOut lo = m_nLow, hi = m_nHigh;
    TransformImage<TIn, TOut>(
        *this->m_pInImage, *this->m_pOutImage, [=](const TIn* a, TOut* o, int32_t n) {
          if constexpr (std::is_same<TIn, uint8_t>::value && std::is_same<TOut, uint8_t>::value) {
            BinarizeU8(a, o, n, thr, lo, hi);
          } else {
            for (int32_t x = 0; x < n; ++x)
              o[x] = a[x] < thr ? lo : hi;
          }
        });
    return 0;
  }

  TOut m_nHigh = 255;
  TOut m_nLow = 0;
  TIn m_nThreshold = 0;
};
