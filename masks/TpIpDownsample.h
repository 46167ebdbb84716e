#pragma once
// ClTpIpDownsample: keeps every nSampleWidth-th column of every nSampleHeight-th row,
// starting at 0, and divides the resolutions likewise. No averaging: the segmenter wants
// the raw samples at half size, and the cost is a strided copy.
#include "model/FpImage.h"
#include "base/Exceptions.h"

#include <cstdint>
#include <cstring>

template <class T, int32_t nSampleWidth = 2, int32_t nSampleHeight = 2>
class ClTpIpDownsample
{
  static_assert(nSampleWidth > 0 && nSampleHeight > 0, "sample sizes must be positive");

public:
  // Throws -44 for a missing image, a size that is no multiple of the sample size, or an
  // image whose sample size is not that of T. The output may be the input.
  void operator()(const ClImage* pIn, ClImage* pOut) const
  {
    if (!pIn)
      LSKX2_THROW_MSG("No input image supplied.", eErrInvalidParameter);
    if (!pOut)
      LSKX2_THROW_MSG("No output image supplied.", eErrInvalidParameter);
    if (pIn->Width() % nSampleWidth != 0)
      LSKX2_THROW_MSG("Input image width is no multiple of sample width.", eErrInvalidParameter);
    if (pIn->Height() % nSampleHeight != 0)
      LSKX2_THROW_MSG("Input image height is no multiple of sample height.", eErrInvalidParameter);
    if (pIn->SampleSize() != sizeof(T))
      LSKX2_THROW_MSG("Datatype size of functor differs from image data type size.",
                      eErrInvalidParameter);
    if (pIn == pOut) {
      ClImage temp;
      Sample(*pIn, temp);
      pOut->Swap(temp);
    } else {
      Sample(*pIn, *pOut);
    }
  }

private:
  static void Sample(const ClImage& in, ClImage& out)
  {
    const int32_t nWidth = in.Width() / nSampleWidth;
    const int32_t nHeight = in.Height() / nSampleHeight;
    const uint32_t nPlanes = in.Planes();
    out.Create(in.DataType(), nWidth, nHeight, nPlanes, in.PelsX() / nSampleWidth,
               in.PelsY() / nSampleHeight);
    out.SetContent(in.Content());
    if (nWidth == 0 || nHeight == 0)
      return;
    const ptrdiff_t nInStride = ptrdiff_t(in.LineElements()) * nSampleHeight;
    const ptrdiff_t nOutStride = out.LineElements();
    const T* pSrc = in.Pixels<T>();
    T* pDst = out.Pixels<T>();
    for (int32_t y = 0; y < nHeight; ++y, pSrc += nInStride, pDst += nOutStride) {
      if (nPlanes == 1) {
        for (int32_t x = 0; x < nWidth; ++x)
          pDst[x] = pSrc[ptrdiff_t(x) * nSampleWidth];
      } else {
        for (int32_t x = 0; x < nWidth; ++x)
          std::memcpy(pDst + ptrdiff_t(x) * nPlanes, pSrc + ptrdiff_t(x) * nSampleWidth * nPlanes,
                      sizeof(T) * nPlanes);
      }
    }
  }
};
