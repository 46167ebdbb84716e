#pragma once
// ClTpIpInvert: m_nMax plus (m_nMin minus a), the inner difference kept to the input's
// width, then stored in the output type. With the defaults a "uint8" output is 255 - a;
// a wider output shows the wrap of the inner difference (0 gives 255, 1 gives 510).
// Instances in use: uint8 to uint8, uint8 to uint16.
#include "imaging/TpIp1To1.h"
#include "imaging/operators/OperatorRows.h"

template <class TIn, class TOut>
class ClTpIpInvert : public ClTpIp1To1<ClTpIpInvert<TIn, TOut>>
{
public:
  using InType = TIn;
  using OutType = TOut;

  int32_t DoProcess() override
  {
    const TOut nMax = m_nMax;
    const TIn nMin = m_nMin;
    TransformImage<TIn, TOut>(
        *this->m_pInImage, *this->m_pOutImage, [=](const TIn* a, TOut* o, int32_t n) {
          for (int32_t x = 0; x < n; ++x)
            o[x] =
                static_cast<TOut>(WrapAdd<TOut>(nMax, static_cast<TOut>(WrapSub<TIn>(nMin, a[x]))));
        });
    return 0;
  }

  TOut m_nMax = 255;
  TIn m_nMin = 0;
};
