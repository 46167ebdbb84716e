#pragma once
// ClTpIpScale: a times m_dFactor as a 64-bit float; below m_dLower it gives m_dLower,
// above m_dUpper m_dUpper, each truncated toward zero to the output type, else the
// product truncated likewise. Instance in use: uint8 to uint8 with a double factor.
#include "imaging/TpIp1To1.h"
#include "imaging/operators/OperatorRows.h"

#include <type_traits>

template <class TIn, class TOut, class TFactor>
class ClTpIpScale : public ClTpIp1To1<ClTpIpScale<TIn, TOut, TFactor>>
{
public:
  using InType = TIn;
  using OutType = TOut;

  int32_t DoProcess() override
  {
    const double f = static_cast<double>(m_dFactor);
    const double dLower = static_cast<double>(m_dLower), dUpper = static_cast<double>(m_dUpper);
    auto scale = [=](TIn v) -> TOut {
      const double p = static_cast<double>(v) * f;
      if (p < dLower)
        return TruncToSample<TOut>(dLower);
      if (p > dUpper)
        return TruncToSample<TOut>(dUpper);
      return TruncToSample<TOut>(p);
    };
    if constexpr (sizeof(TIn) == 1 && std::is_same<TOut, uint8_t>::value) {
      // 256 possible inputs: the same rule through a table.
      uint8_t aTable[256];
      for (int i = 0; i < 256; ++i)
        aTable[i] = scale(static_cast<TIn>(i));
      ClByteTable map;
      map.Analyze(aTable);
      TransformImage<TIn, TOut>(*this->m_pInImage, *this->m_pOutImage,
                                [&](const TIn* a, TOut* o, int32_t n) {
                                  map.Map(reinterpret_cast<const uint8_t*>(a), o, n);
                                });
    } else {
      TransformImage<TIn, TOut>(*this->m_pInImage, *this->m_pOutImage,
                                [&](const TIn* a, TOut* o, int32_t n) {
                                  for (int32_t x = 0; x < n; ++x)
                                    o[x] = scale(a[x]);
                                });
    }
    return 0;
  }

  TFactor m_dFactor = 1;
  double m_dLower = 0;
  double m_dUpper = 255;
};
