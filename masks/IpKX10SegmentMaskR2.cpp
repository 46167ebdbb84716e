#include "masks/IpKX10SegmentMaskR2.h"

#include "base/Exceptions.h"
#include "masks/ActivityKernels.h"

#include <algorithm>
#include <cstring>

namespace {

// 250 dots per inch in pixels per metre: at or below it the frame is used as it is.
constexpr int32_t kLowResolution = 9842;
constexpr int32_t kVarianceWidth = 11;
constexpr int32_t kEnvelopeWidth = 11;
constexpr int32_t kNearWidth = 21;
constexpr int32_t kSoftWidth = 51;
// Blobs beyond this rank are noise; only so many are cleaned per frame.
constexpr uint32_t kMostBlobs = 24;

// The limits that the precision chooses between.
struct StPrecision
{
  double dLeastArea;
  double dExtentDivisor;
  int32_t nWidestBlobLess; // widest blob: width / nWidestDivisor - nWidestBlobLess
  int32_t nWidestDivisor;
  double dThresholdDivisor;
};
constexpr StPrecision kLowPrecision = {500.0, 8.0, 1, 2, 1.5};
constexpr StPrecision kHighPrecision = {5000.0, 4.0, 1, 1, 2.0};

// Runs a square window filter member from one image into another.
template <class TFilter>
void RunWindow(TFilter& filter, ClImage* pIn, ClImage* pOut, int32_t nWidth)
{
  filter.m_pInImage = pIn;
  filter.m_pOutImage = pOut;
  filter.m_nFilterWidth = filter.m_nFilterHeight = nWidth;
  filter.Process();
}

template <class TSubtract>
void RunSubtract(TSubtract& subtract, ClImage* pIn1, ClImage* pIn2, ClImage* pOut)
{
  subtract.m_pInImage1 = pIn1;
  subtract.m_pInImage2 = pIn2;
  subtract.m_pOutImage = pOut;
  subtract.Process();
}

template <class TBinarize>
void RunBinarize(TBinarize& binarize, ClImage* pIn, ClImage* pOut, uint8_t nThreshold, uint8_t nLow,
                 uint8_t nHigh)
{
  binarize.m_pInImage = pIn;
  binarize.m_pOutImage = pOut;
  binarize.m_nThreshold = nThreshold;
  binarize.m_nLow = nLow;
  binarize.m_nHigh = nHigh;
  binarize.Process();
}

} // namespace

ClIpKX10SegmentMaskR2::ClIpKX10SegmentMaskR2(bool bHighPrecision) : m_bHighPrecision(bHighPrecision)
{
  AddDataType(eUInt8);
  SetDefaultParameters();
}

void ClIpKX10SegmentMaskR2::CheckInputType() const
{
  if (!m_pInImage)
    LSKX2_THROW_MSG("No input image provided.", eErrInvalidParameter);
  if (m_pInImage->DataType() != eUInt8)
    LSKX2_THROW_MSG("Input data must be in uint8 format.", eErrInvalidParameter);
  if (m_pInImage->Width() < 1 || m_pInImage->Height() < 1)
    LSKX2_THROW_MSG("Dimensions of input image invalid. Must be > 0.", eErrInvalidParameter);
  if (m_pInImage->PelsX() < 1 || m_pInImage->PelsY() < 1 ||
      m_pInImage->PelsX() != m_pInImage->PelsY())
    LSKX2_THROW_MSG("Input image resolution invalid. Must be > 0 and equal in both dimensions.",
                    eErrInvalidParameter);
  if (!m_pOutImage)
    LSKX2_THROW_MSG("No output image provided.", eErrInvalidParameter);
}

int32_t ClIpKX10SegmentMaskR2::Compute(ClImage* pIn, ClImage* pOut)
{
  m_pInImage = pIn;
  m_pOutImage = pOut;
  return Run();
}

int32_t ClIpKX10SegmentMaskR2::ProcessImage(ClImage* pIn, ClImage* pOut)
{
  const bool bLow = pIn->PelsX() <= kLowResolution;
  ClImage* pDown = pIn;
  if (!bLow) {
    m_Downsample(pIn, &m_Down);
    pDown = &m_Down;
  }

  const double dUpper = std::max(2.0 * m_dVarianceLimit, 1000.0);
  const double dLower = bLow ? std::max(m_dVarianceLimit, 200.0) : m_dVarianceLimit;

  // Opening of the variance, smoothed: texture finer than the window does not count.
  m_Variance.m_pInImage = pDown;
  m_Variance.m_pOutImage = &m_Variances;
  m_Variance.m_nInFilterWidth = kVarianceWidth;
  m_Variance.m_eOutImageType = eFloat32;
  int32_t nStatus = m_Variance.Run();
  if (nStatus != 0)
    return nStatus;
  RunWindow(m_MinFloat, &m_Variances, &m_FloatWork1, kVarianceWidth);
  RunWindow(m_MaxFloat, &m_FloatWork1, &m_FloatWork2, kVarianceWidth);
  m_MidFloat.m_bRunningSum2D = true;
  RunWindow(m_MidFloat, &m_FloatWork2, &m_Activity, kVarianceWidth);

  m_Background.Copy(*pDown);
  ClassifyActivity(dUpper, dLower);

  if (m_pReference) {
    m_Downsample(m_pReference, &m_Reference);
    RunSubtract(m_Subtract, &m_Background, &m_Reference, &m_Background);
  }

  CleanBackground();

  // Envelopes of the finger alone, pulled to 0 wherever background is close by.
  RunSubtract(m_Subtract, pDown, &m_Background, &m_Finger);
  RunWindow(m_Min, &m_Finger, &m_Lower, kEnvelopeWidth);
  RunWindow(m_Max, &m_Finger, &m_Upper, kEnvelopeWidth);

  m_Mid.m_bRunningSum2D = true;
  RunWindow(m_Mid, &m_Background, &m_Work1, kNearWidth);
  RunBinarize(m_Binarize, &m_Work1, &m_Near, 1, 0, 255);

  ClImage* const aEnvelopes[2] = {&m_Lower, &m_Upper};
  for (ClImage* pEnvelope : aEnvelopes) {
    RunSubtract(m_Subtract, pEnvelope, &m_Near, &m_Work1);
    RunWindow(m_Mid, &m_Work1, pEnvelope, kEnvelopeWidth);
  }

  // The finger is where the upper envelope reaches a quarter of its typical brightness.
  m_Histogram.Create(m_Upper);
  const double dTypical = std::max(m_Histogram.MeanInRange(10, 255), 20.0);
  const auto nLimit = static_cast<uint8_t>(static_cast<int32_t>(dTypical * 0.25));
  RunBinarize(m_Binarize, &m_Upper, &m_Work1, nLimit, 0, 255);
  RunWindow(m_Mid, &m_Work1, &m_Soft, kSoftWidth);

  if (bLow) {
    m_LowerEnvelope.Copy(m_Lower);
    m_UpperEnvelope.Copy(m_Upper);
    pOut->Copy(m_Soft);
  } else if (!m_bEnlarge) {
    // The output keeps the input's size, so that it is not sized anew at every frame.
    m_LowerEnvelope.Copy(m_Lower);
    m_UpperEnvelope.Copy(m_Upper);
    pOut->CreateLike(*pIn);
    Enlarge(m_Soft, *pOut);
  } else {
    m_LowerEnvelope.CreateLike(*pIn);
    m_UpperEnvelope.CreateLike(*pIn);
    pOut->CreateLike(*pIn);
    Enlarge(m_Lower, m_LowerEnvelope);
    Enlarge(m_Upper, m_UpperEnvelope);
    Enlarge(m_Soft, *pOut);
  }
  return 0;
}

void ClIpKX10SegmentMaskR2::ClassifyActivity(double dUpper, double dLower)
{
  m_ActivityUpper.CreateLike(m_Background);
  m_ActivityLower.CreateLike(m_Background);
  const int32_t nWidth = m_Background.Width(), nHeight = m_Background.Height();
  const int32_t nStride = m_Background.LineElements();
  const int32_t nFloatStride = m_Activity.LineElements();
  for (int32_t y = 0; y < nHeight; ++y)
    ClassifyActivityRow(m_Activity.Pixels<float>() + ptrdiff_t(y) * nFloatStride,
                        m_ActivityUpper.Data() + ptrdiff_t(y) * nStride,
                        m_ActivityLower.Data() + ptrdiff_t(y) * nStride,
                        m_Background.Data() + ptrdiff_t(y) * nStride, nWidth, dUpper, dLower,
                        m_nGreyLimit);
}

void ClIpKX10SegmentMaskR2::CleanBackground()
{
  const StPrecision& limits = m_bHighPrecision ? kHighPrecision : kLowPrecision;
  const int32_t nWidth = m_Background.Width(), nHeight = m_Background.Height();

  // Objects of the components are the areas of full activity.
  RunBinarize(m_Binarize, &m_ActivityLower, &m_Blobs, 255, 255, 0);
  m_Components.m_pInImage = &m_Blobs;
  m_Components.m_pOutImage = &m_Labels;
  m_Components.m_pComponents = &m_aComponents;
  // Only the blobs' sizes and boxes count.
  m_Components.m_bShape = false;
  m_Components.Run();

  const uint32_t nCount = m_aComponents.Size();
  m_aOrder.resize(nCount);
  for (uint32_t i = 0; i < nCount; ++i)
    m_aOrder[i] = i;
  // Largest first, equal sizes in label order: a stable order without the stable sort's
  // buffer.
  std::sort(m_aOrder.begin(), m_aOrder.end(), [this](uint32_t a, uint32_t b) {
    const double dA = m_aComponents[a].m_dSize, dB = m_aComponents[b].m_dSize;
    return dA > dB || (dA == dB && a < b);
  });
  const uint32_t nUsed = nCount <= kMostBlobs ? nCount : kMostBlobs;

  const int32_t nWidest = nWidth / limits.nWidestDivisor - limits.nWidestBlobLess;
  const int32_t nStride = m_Background.LineElements();
  for (uint32_t k = 0; k < nUsed; ++k) {
    const ClIpConnectedComponent2::ClComponent& blob = m_aComponents[m_aOrder[k]];
    const int32_t nMinX = static_cast<int32_t>(blob.m_oMin.m_dX);
    const int32_t nMaxX = static_cast<int32_t>(blob.m_oMax.m_dX);
    const double dMinY = blob.m_oMin.m_dY, dMaxY = blob.m_oMax.m_dY;
    const double dExtent = std::max(dMaxY - dMinY, 50.0) / limits.dExtentDivisor;
    const int32_t y0 = std::max(0, static_cast<int32_t>(dMinY - dExtent));
    const int32_t y1 = std::min(nHeight - 1, static_cast<int32_t>(dMaxY + dExtent));
    const int32_t nBlobWidth = nMaxX - nMinX;
    if (!(blob.m_dSize > limits.dLeastArea) || nBlobWidth > nWidest)
      continue;

    // The halo is what reaches a fraction of the blob's typical activity. The counts are
    // taken over the rectangle in place: the same as those of a cut copy, without a
    // buffer per blob. A degenerate rectangle still goes to the cut, which refuses it.
    const int32_t nCutHeight = y1 - y0;
    if (nBlobWidth <= 0 || nCutHeight <= 0) {
      m_Cut.m_pInImage = &m_ActivityUpper;
      m_Cut.m_pOutImage = &m_Cutout;
      m_Cut.m_nX0 = nMinX;
      m_Cut.m_nY0 = y0;
      m_Cut.m_nDestWidth = nBlobWidth;
      m_Cut.m_nDestHeight = nCutHeight;
      m_Cut.Run();
    }
    m_Histogram.Create(m_ActivityUpper, nMinX, y0, nMinX + nBlobWidth, y0 + nCutHeight);
    const double dCount = double(nBlobWidth) * double(nCutHeight) * 0.5;
    const double dThreshold =
        m_Histogram.MeanOfBrightest(static_cast<uint32_t>(dCount)) / limits.dThresholdDivisor;

    for (int32_t y = y0; y <= y1; ++y) {
      const uint8_t* pG = m_ActivityLower.Data() + ptrdiff_t(y) * nStride;
      uint8_t* pE = m_Background.Data() + ptrdiff_t(y) * nStride;
      for (int32_t x = nMinX; x <= nMaxX; ++x)
        if (pG[x] >= dThreshold)
          pE[x] = 0;
    }
  }
}

void ClIpKX10SegmentMaskR2::Enlarge(const ClImage& half, ClImage& full)
{
  const int32_t nWidth = std::min(half.Width(), full.Width() / 2);
  const int32_t nHeight = std::min(half.Height(), full.Height() / 2);
  const int32_t nHalfStride = half.LineElements(), nFullStride = full.LineElements();
  for (int32_t y = 0; y < nHeight; ++y) {
    const uint8_t* pSrc = half.Data() + ptrdiff_t(y) * nHalfStride;
    uint8_t* pDst = full.Data() + ptrdiff_t(2 * y) * nFullStride;
    for (int32_t x = 0; x < nWidth; ++x) {
      pDst[2 * x] = pSrc[x];
      pDst[2 * x + 1] = pSrc[x];
    }
    std::memcpy(pDst + nFullStride, pDst, size_t(2 * nWidth));
  }
}
