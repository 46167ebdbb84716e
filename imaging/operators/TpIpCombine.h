#pragma once
// ClTpIpCombine: two images of one sample type into a third of that type, row by row
// through Rows, a function object rows(pA, pB, pOut, nWidth). Input 2 must have input 1's
// size. The bit-wise and difference templates are its instances.
#include "imaging/TpIp2To1.h"
#include "imaging/operators/OperatorRows.h"

#include <cstdint>
#include <type_traits>

template <class T, class Rows>
class ClTpIpCombine : public ClTpIp2To1<ClTpIpCombine<T, Rows>>
{
public:
  using InType = T;
  using OutType = T;

  int32_t DoProcess() override
  {
    CheckSameSize(*this->m_pInImage1, *this->m_pInImage2);
    CombineImages<T, T, T>(*this->m_pInImage1, *this->m_pInImage2, *this->m_pOutImage, Rows());
    return 0;
  }
};

// Rows of a bit-wise operation; "uint8" rows take the vector kernel.
template <class T, class Op, void (*RowsU8)(const uint8_t*, const uint8_t*, uint8_t*, int64_t)>
struct ClTpBitwiseRows
{
  void operator()(const T* a, const T* b, T* o, int32_t n) const
  {
    if constexpr (std::is_same<T, uint8_t>::value) {
      RowsU8(a, b, o, n);
    } else {
      for (int32_t x = 0; x < n; ++x)
        o[x] = static_cast<T>(Op()(a[x], b[x]));
    }
  }
};
