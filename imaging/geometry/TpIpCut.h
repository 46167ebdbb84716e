#pragma once
// ClTpIpCut: a rectangle of a one-plane image, for inner loops of other processors. The
// origin is not tested for being negative; callers pass it from their own geometry.
#include "imaging/TpIp1To1.h"

#include <cstring>

template <class TIn, class TOut>
class ClTpIpCut : public ClTpIp1To1<ClTpIpCut<TIn, TOut>>
{
public:
  using InType = TIn;
  using OutType = TOut;

  // The frame's first four tests (same texts, -44), then the rectangle's, all before
  // the output is touched.
  int32_t Process() override;
  int32_t DoProcess() override;

  int32_t m_nX0 = 0;
  int32_t m_nY0 = 0;
  int32_t m_nDestWidth = 0;
  int32_t m_nDestHeight = 0;

private:
  // A share of the input, so that the output may be the input object.
  ClImage m_Keep;
};

template <class TIn, class TOut>
int32_t ClTpIpCut<TIn, TOut>::Process()
{
  const ClImage* pIn = this->m_pInImage;
  if (!pIn)
    LSKX2_THROW_MSG("Input image must not be NULL.", eErrInvalidParameter);
  if (!this->m_pOutImage)
    LSKX2_THROW_MSG("Output image must not be NULL.", eErrInvalidParameter);
  if (pIn->SampleSize() != sizeof(TIn))
    LSKX2_THROW_MSG("Datatype size of input images and processor configuration differs.",
                    eErrInvalidParameter);
  if (pIn->Planes() != 1)
    LSKX2_THROW_MSG("Only single plane images supported.", eErrInvalidParameter);
  if (m_nX0 >= pIn->Width())
    LSKX2_THROW_MSG("ClTpIpCut::Process. m_nX0>=m_poInImage->Width()", eErrParamOutOfRange);
  if (m_nY0 >= pIn->Height())
    LSKX2_THROW_MSG("ClTpIpCut::Process. m_nY0>=m_poInImage->Height()", eErrParamOutOfRange);
  if (m_nDestWidth <= 0)
    LSKX2_THROW_MSG("ClTpIpCut::Process. m_nDestWidth <= 0", eErrParamOutOfRange);
  if (m_nDestHeight <= 0)
    LSKX2_THROW_MSG("ClTpIpCut::Process. m_nDestHeight <= 0", eErrParamOutOfRange);
  if (static_cast<int64_t>(m_nX0) + m_nDestWidth > pIn->Width())
    LSKX2_THROW_MSG("ClTpIpCut::Process. m_nX0+m_nDestWidth > m_poInImage->Width()",
                    eErrInvalidParameter);
  if (static_cast<int64_t>(m_nY0) + m_nDestHeight > pIn->Height())
    LSKX2_THROW_MSG("ClTpIpCut::Process. m_nY0+m_nDestHeight > m_poInImage->Height()",
                    eErrInvalidParameter);
  return DoProcess();
}

template <class TIn, class TOut>
int32_t ClTpIpCut<TIn, TOut>::DoProcess()
{
  m_Keep.Share(*this->m_pInImage);
  const ClImage& in = m_Keep;
  ClImage& out = *this->m_pOutImage;
  try {
    out.Create(in.DataType(), m_nDestWidth, m_nDestHeight, in.Planes(), in.PelsX(), in.PelsY());
    out.SetMinValue(in.MinValue());
    out.SetMaxValue(in.MaxValue());
    out.SetContent(in.Content());
    out.SetImageTag(in.ImageTag());
    // A negative origin is not refused; it would read before the image.
    if (m_nX0 >= 0 && m_nY0 >= 0 && in.Data() && out.Data()) {
      const int64_t nSample = in.SampleSize();
      const int64_t nInStride = in.LineBytes(), nOutStride = out.LineBytes();
      const uint8_t* s = in.Data() + m_nY0 * nInStride + m_nX0 * nSample;
      uint8_t* d = out.Data();
      for (int32_t y = 0; y < m_nDestHeight; ++y, s += nInStride, d += nOutStride)
        std::memcpy(d, s, static_cast<size_t>(m_nDestWidth * nSample));
    }
  } catch (...) {
    m_Keep.Clear();
    throw;
  }
  m_Keep.Clear();
  return 0;
}
