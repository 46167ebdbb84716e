#pragma once
// ClTpIpOr: bit-wise or of two images. Instance in use: uint8.
#include "imaging/TpIp2To1.h"
#include "imaging/operators/OperatorRows.h"

#include <type_traits>

template <class T>
class ClTpIpOr : public ClTpIp2To1<ClTpIpOr<T>>
{
public:
  using InType = T;
  using OutType = T;

  int32_t DoProcess() override
  {
    CheckSameSize(*this->m_pInImage1, *this->m_pInImage2);
    CombineImages<T, T, T>(*this->m_pInImage1, *this->m_pInImage2, *this->m_pOutImage,
                           [](const T* a, const T* b, T* o, int32_t n) {
      if constexpr (std::is_same<T, uint8_t>::value) {
        OrU8(a, b, o, n);
      } else {
        for (int32_t x = 0; x < n; ++x)
          o[x] = static_cast<T>(a[x] | b[x]);
      }
    });
    return 0;
  }
};
