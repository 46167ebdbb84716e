#pragma once
// Row and column passes of the running minimum and maximum filters, for
// ClTpIpFilterExtreme. "uint8" and "float32" take the vectorized kernels; a float image
// holding NaN or a negative zero, and the other types, take the rescan walk, whose choice
// among equal or unordered values is the defined one.
#include "model/FpImage.h"
#include "imaging/filters/MinMaxKernels.h"
#include "imaging/filters/FilterWork.h"

#include <type_traits>

template <class P, class T>
struct TpExtremePasses
{
  static constexpr bool bMax = std::is_same<P, TpMaxPolicy>::value;
  static constexpr bool bU8 = std::is_same<T, uint8_t>::value;
  static constexpr bool bF32 = std::is_same<T, float>::value;

  // Whether the vectorized kernels give the defined answer for this input. Min and max
  // only select values, so a row pass over a clean input leaves a clean temporary and
  // one look at the input serves both passes.
  static bool Vectorizable(const ClImage& in)
  {
    if constexpr (bU8)
      return true;
    else if constexpr (bF32)
      return in.Pixels<float>() &&
             !HasNanOrNegativeZero(in.Pixels<float>(), in.LineElements(), in.Width(), in.Height());
    else
      return false;
  }

  static void Pass(const ClImage& in, ClImage& out, int32_t nHalf, bool bRows, bool bVector,
                   ClFilterWork& work)
  {
    const T* pIn = in.Pixels<T>();
    T* pOut = out.Pixels<T>();
    const int32_t w = in.Width(), h = in.Height();
    const ptrdiff_t si = in.LineElements(), so = out.LineElements();
    if (!pIn || !pOut)
      return;
    if constexpr (bU8 || bF32) {
      if (bVector) {
        T* p =
            work.Get<T>(bRows ? ExtremeRowsWorkSize(w, nHalf) : ExtremeColumnsWorkSize(w, nHalf));
        Kernel(bRows)(pIn, si, pOut, so, w, h, nHalf, p);
        return;
      }
    }
    if (bRows)
      for (int32_t y = 0; y < h; ++y)
        ExtremeLine<P, T>(pIn + y * si, 1, pOut + y * so, 1, w, nHalf);
    else
      for (int32_t x = 0; x < w; ++x)
        ExtremeLine<P, T>(pIn + x, si, pOut + x, so, h, nHalf);
  }

private:
  static auto Kernel(bool bRows)
  {
    if constexpr (bU8)
      return bRows ? (bMax ? MaxRowsU8 : MinRowsU8) : (bMax ? MaxColumnsU8 : MinColumnsU8);
    else
      return bRows ? (bMax ? MaxRowsF32 : MinRowsF32) : (bMax ? MaxColumnsF32 : MinColumnsF32);
  }
};
