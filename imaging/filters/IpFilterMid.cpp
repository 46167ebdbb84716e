#include "imaging/filters/IpFilterMid.h"

#include "imaging/TpDispatch.h"
#include "imaging/filters/MeanKernels.h"
#include "base/Exceptions.h"

#include <cmath>
#include <new>
#include <type_traits>

namespace {

// The window as it is used along a line of nCount samples: a window not below the line
// becomes nCount - 1 and, for "uint8" (bParity), one less again when that is even.
int32_t FitWidth(int32_t nWidth, int32_t nCount, bool bParity)
{
  if (nWidth >= nCount) {
    nWidth = nCount - 1;
    if (bParity && nWidth % 2 == 0)
      nWidth = nCount - 2;
  }
  return nWidth;
}

// Sample of a direction image as a signed number.
double DirectionAt(const ClImage& image, int32_t x, int32_t y)
{
  const uint8_t* p = image.Data() + static_cast<ptrdiff_t>(y) * image.LineBytes();
  switch (image.DataType()) {
  case eUInt8:
  case eInt8:
    return reinterpret_cast<const int8_t*>(p)[x];
  case eUInt16:
  case eInt16:
    return reinterpret_cast<const int16_t*>(p)[x];
  case eUInt32:
  case eInt32:
    return reinterpret_cast<const int32_t*>(p)[x];
  case eFloat32:
    return reinterpret_cast<const float*>(p)[x];
  case eDouble64:
    return reinterpret_cast<const double*>(p)[x];
  default:
    return 0;
  }
}

} // namespace

ClIpFilterMid::ClIpFilterMid() = default;
ClIpFilterMid::~ClIpFilterMid() = default;

template <class T>
T* ClIpFilterMid::Work(size_t nCount)
{
  const size_t nBytes = nCount * sizeof(T) + sizeof(T);
  if (m_aWork.size() < nBytes) {
    try {
      m_aWork.resize(nBytes);
    } catch (const std::bad_alloc&) {
      throw ClExBadAlloc();
    }
  }
  return reinterpret_cast<T*>(m_aWork.data());
}

int32_t ClIpFilterMid::ProcessSinglePlane()
{
  if (!m_pInImage)
    LSKX2_THROW(eErrBitmapPtr);
  if (m_pInImage->DataType() == eUInt8)
    return ClIpFilterBase::ProcessSinglePlane();
  if (SampleTypeIndex(m_pInImage->DataType()) < 0)
    LSKX2_THROW(eErrParamOutOfRange);
  return TypedMode(m_nMode);
}

int32_t ClIpFilterMid::TypedMode(int32_t nMode)
{
  ClImage& in = *m_pInImage;
  ClImage& out = *m_pOutImage;
  return DispatchType(in.DataType(), [&](auto tag) -> int32_t {
    using S = typename decltype(tag)::Type;
    switch (nMode) {
    case MODE_X:
      return MeanX<S>(in, out, false);
    case MODE_Y:
      return MeanY<S>(in, out, false);
    case MODE_XY: {
      int32_t nStatus = MeanX<S>(in, m_Temp, false);
      return nStatus != 0 ? nStatus : MeanY<S>(m_Temp, out, false);
    }
    case MODE_DIRECTED:
    case MODE_DIRECTED_ORTHO:
      return eErrFormatNotsupported;
    default:
      LSKX2_THROW(eErrParamOutOfRange);
    }
  });
}

template <class S>
int32_t ClIpFilterMid::MeanX(const ClImage& in, ClImage& out, bool bParity)
{
  out.CreateLike(in);
  const int32_t nWidth = FitWidth(m_nFilterWidth, in.Width(), bParity);
  if (nWidth == 1) {
    out.Copy(in);
    return 0;
  }
  if (nWidth < 1)
    return eErrInternal;
  const S* pIn = in.Pixels<S>();
  S* pOut = out.Pixels<S>();
  const ptrdiff_t nInStride = in.LineElements(), nOutStride = out.LineElements();
  for (int32_t y = 0; y < in.Height(); ++y) {
    if constexpr (std::is_same<S, uint8_t>::value)
      MeanLineRoundedU8(pIn + y * nInStride, pOut + y * nOutStride, in.Width(), nWidth);
    else
      MeanLineRounded<S>(pIn + y * nInStride, 1, pOut + y * nOutStride, 1, in.Width(), nWidth);
  }
  return 0;
}

template <class S>
int32_t ClIpFilterMid::MeanY(const ClImage& in, ClImage& out, bool bParity)
{
  out.CreateLike(in);
  const int32_t nWidth = FitWidth(m_nFilterWidth, in.Height(), bParity);
  if (nWidth == 1) {
    out.Copy(in);
    return 0;
  }
  if (nWidth < 1)
    return eErrInternal;
  using Acc = typename TpMeanSample<S>::Acc;
  Acc* pAcc = Work<Acc>(static_cast<size_t>(in.Width()));
  MeanColumnsRounded<S>(in.Pixels<S>(), in.LineElements(), out.Pixels<S>(), out.LineElements(),
                        in.Width(), in.Height(), nWidth, pAcc);
  return 0;
}

int32_t ClIpFilterMid::FilterXUnsigned() { return MeanX<uint8_t>(*m_pInImage, *m_pOutImage, true); }

int32_t ClIpFilterMid::FilterYUnsigned() { return MeanY<uint8_t>(*m_pInImage, *m_pOutImage, true); }

int32_t ClIpFilterMid::FilterXSigned() { return TypedMode(MODE_X); }

int32_t ClIpFilterMid::FilterYSigned() { return TypedMode(MODE_Y); }

int32_t ClIpFilterMid::FilterXYSigned() { return TypedMode(MODE_XY); }

int32_t ClIpFilterMid::FilterXYUnsigned()
{
  const ClImage& in = *m_pInImage;
  ClImage& out = *m_pOutImage;
  const int32_t w = m_nFilterWidth;
  if (in.Width() < w || in.Height() < w) {
    out.Copy(in);
    return 0;
  }
  out.CreateLike(in);
  if (m_pFractionImage)
    return MeanXYFraction();
  if (w == 3) {
    Mean3x3FixedU8(in.Data(), in.LineBytes(), out.Data(), out.LineBytes(), in.Width(), in.Height(),
                   Work<uint16_t>(static_cast<size_t>(in.Width()) + 2));
    return 0;
  }
  BoxMeanU8(in.Data(), in.LineBytes(), out.Data(), out.LineBytes(), in.Width(), in.Height(), w / 2,
            w / 2, Work<uint32_t>(2 * static_cast<size_t>(in.Width())));
  return 0;
}

int32_t ClIpFilterMid::MeanXYFraction()
{
  const ClImage& in = *m_pInImage;
  ClImage& out = *m_pOutImage;
  ClImage& frac = *m_pFractionImage;
  frac.CreateLike(in);
  const int32_t w = m_nFilterWidth;
  struct Sink
  {
    uint8_t* pOut;
    ptrdiff_t nOutStride;
    uint8_t* pFrac;
    ptrdiff_t nFracStride;
    int32_t nWidth;
    int32_t nHalf;
    bool b3x3;
    void Put(uint8_t* o, uint8_t* f, double dMean)
    {
      *o = TruncToSample<uint8_t>(dMean);
      *f = TruncToSample<uint8_t>((dMean - std::floor(dMean)) * 256.0);
    }
    void Row(int32_t y, const uint32_t* pSums, int32_t nRows)
    {
      uint8_t* o = pOut + y * nOutStride;
      uint8_t* f = pFrac + y * nFracStride;
      for (int32_t x = 0; x < nWidth; ++x) {
        const int32_t n = ClippedCount(x, nHalf, nWidth) * nRows;
        double dMean;
        if (b3x3) {
          // The 3 by 3 factors: 256 / 4, 256 / 6 and 256 / 9, applied in 1/256.
          const double dFactor = n == 4 ? 64.0 : (n == 6 ? 42.666666666666664 : 28.444444444444443);
          dMean = static_cast<double>(pSums[x]) * dFactor * 0.00390625;
        } else {
          dMean = static_cast<double>(pSums[x]) / static_cast<double>(n);
        }
        Put(o + x, f + x, dMean);
      }
    }
  } sink{out.Data(), out.LineBytes(), frac.Data(), frac.LineBytes(), in.Width(), w / 2, w == 3};
  uint32_t* pWork = Work<uint32_t>(2 * static_cast<size_t>(in.Width()));
  BoxSums2D<uint8_t, uint32_t>(in.Data(), in.LineBytes(), in.Width(), in.Height(), w / 2, w / 2,
                               pWork, pWork + in.Width(), sink);
  return 0;
}

int32_t ClIpFilterMid::FilterDirectedUnsigned(bool bOrtho)
{
  if (!m_pInDxImage)
    LSKX2_THROW_MSG("m_pInDxImage is not set", eErrBadPointer);
  if (!m_pInDyImage)
    LSKX2_THROW_MSG("m_pInDyImage is not set", eErrBadPointer);
  const ClImage& in = *m_pInImage;
  ClImage& out = *m_pOutImage;
  const ClImage& dx = *m_pInDxImage;
  const ClImage& dy = *m_pInDyImage;
  if (dx.Width() < in.Width() || dx.Height() < in.Height() || dy.Width() < in.Width() ||
      dy.Height() < in.Height() || !dx.Data() || !dy.Data())
    LSKX2_THROW_MSG("Direction images smaller than the input", eErrInvalidParameter);
  out.CreateLike(in);
  const int32_t nHalf = m_nFilterWidth / 2;
  const int32_t nW = in.Width(), nH = in.Height();
  const ptrdiff_t nIn = in.LineBytes(), nOut = out.LineBytes();
  // nHalf steps of one pixel to each side along the unit direction, rounded to the
  // nearest pixel; steps that leave the image are left out of the window.
  for (int32_t y = 0; y < nH; ++y) {
    for (int32_t x = 0; x < nW; ++x) {
      double ux = DirectionAt(dx, x, y), uy = DirectionAt(dy, x, y);
      const double dLength = std::sqrt(ux * ux + uy * uy);
      uint32_t nSum = 0, nCount = 0;
      if (dLength > 0) {
        ux /= dLength;
        uy /= dLength;
        if (bOrtho) {
          const double t = ux;
          ux = -uy;
          uy = t;
        }
        for (int32_t k = -nHalf; k <= nHalf; ++k) {
          const int32_t sx = static_cast<int32_t>(std::lround(x + k * ux));
          const int32_t sy = static_cast<int32_t>(std::lround(y + k * uy));
          if (sx >= 0 && sx < nW && sy >= 0 && sy < nH) {
            nSum += in.Data()[sy * nIn + sx];
            ++nCount;
          }
        }
      } else {
        nSum = in.Data()[y * nIn + x];
        nCount = 1;
      }
      out.Data()[y * nOut + x] = static_cast<uint8_t>((nSum + nCount / 2) / nCount);
    }
  }
  return 0;
}
