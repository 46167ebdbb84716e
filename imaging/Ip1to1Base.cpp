#include "imaging/Ip1to1Base.h"

#include "model/FpImage.h"
#include "imaging/ImageArguments.h"
#include "imaging/TpDispatch.h"

#include <algorithm>
#include <cstring>

namespace NewIpBase {

namespace {

// The 256-entry table path of "uint8" images: every sample of a row, planes included.
int32_t LookUpLoop(ClIp1to1Base& ip, ClImage* pIn, ClImage* pOut)
{
  uint8_t aTable[256];
  for (int i = 0; i < 256; ++i)
    aTable[i] = TruncToSample<uint8_t>(ip.ProcessPixel(pIn, pOut, i));
  const int32_t nRows = std::min(pIn->Height(), pOut->Height());
  const int64_t nCount = std::min<int64_t>(int64_t(pIn->Width()) * pIn->Planes(),
                                           int64_t(pOut->Width()) * pOut->Planes());
  const int32_t nInStride = pIn->LineElements(), nOutStride = pOut->LineElements();
  const uint8_t* pSrc = pIn->Data();
  uint8_t* pDst = pOut->Data();
  for (int32_t y = 0; y < nRows; ++y, pSrc += nInStride, pDst += nOutStride) {
    // Four loads ahead of four stores: a byte store may alias the source, which would
    // otherwise order every load behind the previous store.
    int64_t x = 0;
    for (; x + 4 <= nCount; x += 4) {
      const uint8_t a = pSrc[x], b = pSrc[x + 1], c = pSrc[x + 2], d = pSrc[x + 3];
      pDst[x] = aTable[a];
      pDst[x + 1] = aTable[b];
      pDst[x + 2] = aTable[c];
      pDst[x + 3] = aTable[d];
    }
    for (; x < nCount; ++x)
      pDst[x] = aTable[pSrc[x]];
  }
  return 0;
}

// The general path: Width() samples per row, one virtual call each. On images with
// several planes it covers the front of each row only; its users are single-plane.
template <class TIn, class TOut>
int32_t PixelLoop(ClIp1to1Base& ip, ClImage* pIn, ClImage* pOut)
{
  const int32_t nRows = std::min(pIn->Height(), pOut->Height());
  const int32_t nCount = std::min(pIn->Width(), pOut->Width());
  const int32_t nInStride = pIn->LineElements(), nOutStride = pOut->LineElements();
  const TIn* pSrc = pIn->Pixels<TIn>();
  TOut* pDst = pOut->Pixels<TOut>();
  for (int32_t y = 0; y < nRows; ++y, pSrc += nInStride, pDst += nOutStride) {
    for (int32_t x = 0; x < nCount; ++x)
      pDst[x] = TruncToSample<TOut>(ip.ProcessPixel(pIn, pOut, static_cast<double>(pSrc[x])));
  }
  return 0;
}

} // namespace

ClIp1to1Base::ClIp1to1Base() = default;

void ClIp1to1Base::DescribeArguments(ClProcessorArguments& a)
{
  using A = ClProcessorArguments;
  a.Image(&m_pInImage, "InImage", "pInImage", "In: Original Image", 1, 1, 1);
  a.Image(&m_pOutImage, "OutImage", "pOutImage", "Out: Output Image", 1, 1, 2,
          A::eOut | A::eNoDefault);
}

void ClIp1to1Base::CheckInputType() const
{
  if (!m_pInImage)
    LSKX2_THROW_MSG("Input image not assigned", eErrBadPointer);
  CheckDataType(*m_pInImage);
}

int32_t ClIp1to1Base::Process()
{
  RequireImagesWithData(m_pInImage, m_pOutImage);
  ClImage temp;
  if (m_bInPlace) {
    if (m_pInImage != m_pOutImage)
      PrepareOutImage(m_pOutImage);
    return ProcessImage(m_pInImage, m_pOutImage);
  }
  // The output may be the input: then the result goes to the temporary and its buffer
  // is swapped in, the old pixels leaving with the temporary.
  ClImage* pTarget = (m_pInImage == m_pOutImage) ? &temp : m_pOutImage;
  PrepareOutImage(pTarget);
  int32_t nStatus = ProcessImage(m_pInImage, pTarget);
  m_pOutImage->Swap(*pTarget);
  return nStatus;
}

int32_t ClIp1to1Base::ProcessImage(ClImage* pIn, ClImage* pOut)
{
  if (!pIn || !pOut)
    LSKX2_THROW_MSG("Input image not assigned", eErrBadPointer);
  // Output typed by its own type: an override of PrepareOutImage may choose another.
  return DispatchTypes(pIn->DataType(), pOut->DataType(), [&](auto in, auto out) {
    using TIn = typename decltype(in)::Type;
    using TOut = typename decltype(out)::Type;
    if constexpr (std::is_same<TIn, uint8_t>::value && std::is_same<TOut, uint8_t>::value) {
      if (m_bUseLookUp)
        return LookUpLoop(*this, pIn, pOut);
    }
    return PixelLoop<TIn, TOut>(*this, pIn, pOut);
  });
}

void ClIp1to1Base::PrepareOutImage(ClImage* pOut) { pOut->CreateLike(*m_pInImage); }

double ClIp1to1Base::ProcessPixel(ClImage*, ClImage*, double) { return 0.0; }

} // namespace NewIpBase
