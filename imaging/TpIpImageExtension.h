#pragma once
// ClTpIpImageExtension: the input placed into a larger image whose border, m_nLeft,
// m_nTop, m_nRight and m_nBottom samples wide, holds m_nFillValue. Instance in use: uint8.
#include "model/FpImage.h"
#include "base/Exceptions.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

template <class T = uint8_t>
class ClTpIpImageExtension
{
public:
  // All failures -44.
  int32_t Process()
  {
    if (!m_pInImage || !m_pOutImage)
      LSKX2_THROW_MSG("Both, input and output image must be supplied.", eErrInvalidParameter);
    if (m_pInImage == m_pOutImage)
      LSKX2_THROW_MSG("Inplace processing not possible.", eErrInvalidParameter);
    if (m_pInImage->Planes() != 1)
      LSKX2_THROW_MSG("Only single plane images supported.", eErrInvalidParameter);
    if (m_nLeft < 0 || m_nTop < 0 || m_nRight < 0 || m_nBottom < 0)
      LSKX2_THROW_MSG("Extends must be positive in each direction.", eErrInvalidParameter);
    const ClImage& in = *m_pInImage;
    ClImage& out = *m_pOutImage;
    const int64_t nW = int64_t(in.Width()) + m_nLeft + m_nRight;
    const int64_t nH = int64_t(in.Height()) + m_nTop + m_nBottom;
    if (nW > INT32_MAX || nH > INT32_MAX)
      LSKX2_THROW_MSG("Image area must be positive", eErrInternal);
    out.Create(TpDataType<T>::value, int32_t(nW), int32_t(nH), 1);
    out.Fill(static_cast<T>(m_nFillValue));
    out.SetPels(in.PelsX(), in.PelsY());
    const uint8_t* pSrc = in.Data();
    uint8_t* pDst = out.Data();
    if (!pSrc || !pDst)
      return 0;
    // A row of the input, never more than the row holds.
    const size_t nBytes = std::min<size_t>(size_t(in.Width()) * sizeof(T), size_t(in.LineBytes()));
    for (int32_t y = 0; y < in.Height(); ++y)
      std::memcpy(pDst + (int64_t(y) + m_nTop) * out.LineBytes() + int64_t(m_nLeft) * sizeof(T),
                  pSrc + int64_t(y) * in.LineBytes(), nBytes);
    return 0;
  }

  ClImage* m_pInImage = nullptr;
  ClImage* m_pOutImage = nullptr;
  int32_t m_nLeft = 0;
  int32_t m_nTop = 0;
  int32_t m_nRight = 0;
  int32_t m_nBottom = 0;
  uint8_t m_nFillValue = 0;
};
