// Finding the finger in a frame, the direction of the roll and the blending of a frame
// into the rolled image along the moving seam.
#include "roll/IpAutoRoll5.h"

#include "imaging/operators/TpIpInvert.h"
#include "imaging/operators/TpIpSubtract.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

// Detection works on frames reduced by this rate in both axes.
constexpr int32_t kDetectRate = 4;
// A sample is finger when it is this much darker than the mean of its row.
constexpr double kRowContrast = 10.0;
// What a finger looks like at the reduced size.
constexpr double kMinFingerArea = 1000.0;
constexpr double kMaxEccentricity = 0.95;
constexpr double kMinFingerWidth = 20.0;
constexpr double kMinHeightRatio = 1.2;
// New finger area below this (full-size pixels) says nothing about the direction.
constexpr double kSignificantArea = 500.0;
// Votes after which the direction of a roll is decided.
constexpr int32_t kVotes = 5;
// Blends that change less than this keep the rolled sample, so that noise does not wear
// down what has been rolled.
constexpr int32_t kLeastBlendChange = 17;
// The share of the finger width next to the centre line copied as is; 0 switches it off.
constexpr double dRollFrontRatio = 0.0;

// Moments of reused component entries would carry over from the last run.
void ClearComponents(ClIpConnectedComponent2::ComponentsArray_t& a)
{
  for (uint64_t i = 0; i < a.Capacity(); ++i)
    a.Data()[i] = ClIpConnectedComponent2::ClComponent();
}

// Mean over a clipped window of k samples of one row, rounded, as an integer sample.
inline int32_t RowMean(const uint8_t* pRow, int32_t nWidth, int32_t x, int32_t k)
{
  const int32_t x0 = std::max(0, x - k / 2), x1 = std::min(nWidth - 1, x + k / 2);
  int32_t s = 0;
  for (int32_t i = x0; i <= x1; ++i)
    s += pRow[i];
  const double m = double(s) / double(x1 - x0 + 1) + 0.5;
  return m > 255.0 ? 255 : static_cast<int32_t>(m);
}

} // namespace

bool ClIpAutoRoll5::DetectFinger()
{
  m_Subsample.Subsample(&m_Frame, kDetectRate, &m_Small, true);
  ClImage* pSmooth = &m_Small;
  if (m_Small.Width() >= 5 && m_Small.Height() >= 5) {
    m_Mean.m_pInImage = &m_Small;
    m_Mean.m_pOutImage = &m_Smooth;
    m_Mean.m_nFilterWidth = m_Mean.m_nFilterHeight = 5;
    m_Mean.Process();
    pSmooth = &m_Smooth;
  }
  ClImage& s = *pSmooth;
  const int32_t w = s.Width(), h = s.Height(), nStride = s.LineElements();
  // Each row has its own threshold: only what is clearly darker than its row is object.
  for (int32_t y = 0; y < h; ++y) {
    uint8_t* p = s.Data() + ptrdiff_t(y) * nStride;
    int64_t nSum = 0;
    for (int32_t x = 0; x < w; ++x)
      nSum += p[x];
    const double m = double(nSum) / double(nStride);
    for (int32_t x = 0; x < w; ++x)
      p[x] = m - p[x] > kRowContrast ? 0 : 255;
  }

  ClearComponents(m_aComponents);
  m_Components.m_pInImage = &s;
  m_Components.m_pOutImage = &m_Labels;
  m_Components.m_pComponents = &m_aComponents;
  m_Components.Process();

  const uint32_t n = m_aComponents.Size();
  m_aOrder.resize(n);
  for (uint32_t i = 0; i < n; ++i)
    m_aOrder[i] = int32_t(i);
  std::sort(m_aOrder.begin(), m_aOrder.end(), [this](int32_t a, int32_t b) {
    const double da = m_aComponents[a].m_dSize, db = m_aComponents[b].m_dSize;
    return da != db ? da > db : a < b;
  });
  int32_t nLabel = 0;
  for (int32_t i : m_aOrder) {
    const ClIpConnectedComponent2::ClComponent& c = m_aComponents[i];
    const double dWidth = c.m_oMax.m_dX - c.m_oMin.m_dX, dHeight = c.m_oMax.m_dY - c.m_oMin.m_dY;
    if (c.m_dSize > kMinFingerArea && c.m_dEccentricity < kMaxEccentricity &&
        dWidth >= kMinFingerWidth && dHeight >= kMinHeightRatio * dWidth) {
      nLabel = c.m_nId;
      break;
    }
  }

  if (nLabel == 0) {
    s.Fill(static_cast<unsigned char>(0));
  } else {
    // The mask is made convex along rows: each row is finger from its first to its last
    // sample of the component.
    const int32_t nLabelStride = m_Labels.LineElements();
    for (int32_t y = 0; y < h; ++y) {
      const int32_t* l = m_Labels.Pixels<int32_t>() + ptrdiff_t(y) * nLabelStride;
      uint8_t* p = s.Data() + ptrdiff_t(y) * nStride;
      int32_t x0 = -1, x1 = -1;
      for (int32_t x = 0; x < w; ++x) {
        if (l[x] == nLabel) {
          if (x0 < 0)
            x0 = x;
          x1 = x;
        }
      }
      std::fill_n(p, std::max(w, 0), uint8_t(0));
      if (x0 >= 0)
        std::fill(p + x0, p + x1 + 1, uint8_t(255));
    }
  }

  m_Resize.m_pInImage = &s;
  m_Resize.m_pOutImage = &m_FrameMask;
  m_Resize.m_nScaleFactor = kDetectRate;
  m_Resize.m_nDestWidth = m_Frame.Width();
  m_Resize.m_nDestHeight = m_Frame.Height();
  m_Resize.Run();
  m_FrameMask.SetPels(19685, 19685);
  return nLabel != 0;
}

int32_t ClIpAutoRoll5::FrameDirection(const ClImage& rNew)
{
  // Masks are enlarged quarter-size masks, so new pixels come in whole blocks of
  // kDetectRate squared: their regions are measured on one sample per block, inverted so
  // that new pixels are objects, and scaled back (area times 16, centre of the block).
  // A partial block at the end of the rows or columns counts as a whole one.
  const int32_t w = (rNew.Width() + kDetectRate - 1) / kDetectRate;
  const int32_t h = (rNew.Height() + kDetectRate - 1) / kDetectRate;
  m_Work.Create(eUInt8, w, h, 1);
  for (int32_t y = 0; y < h; ++y) {
    const uint8_t* s = rNew.Data() + ptrdiff_t(y) * kDetectRate * rNew.LineElements();
    uint8_t* d = m_Work.Data() + ptrdiff_t(y) * m_Work.LineElements();
    for (int32_t x = 0; x < w; ++x)
      d[x] = uint8_t(255 - s[x * kDetectRate]);
  }
  ClearComponents(m_aComponents);
  m_Components.m_pInImage = &m_Work;
  m_Components.m_pOutImage = &m_LabelsNew;
  m_Components.m_pComponents = &m_aComponents;
  m_Components.Process();
  constexpr double dBlockArea = double(kDetectRate * kDetectRate);
  constexpr double dBlockCentre = (kDetectRate - 1) / 2.0;

  // Only new area in the middle rows of the finger counts: tip and joint change shape.
  const int32_t t = static_cast<int32_t>((m_Contour.m_nBottomRow - m_Contour.m_nTopRow) * 0.2);
  const double dLow = m_Contour.m_nTopRow + t, dHigh = m_Contour.m_nBottomRow - t;
  double dArea = 0.0, dCenterX = 0.0;
  for (uint32_t i = 0; i < m_aComponents.Size(); ++i) {
    const ClIpConnectedComponent2::ClComponent& c = m_aComponents[i];
    const double dY = c.m_oCenter.m_dY * kDetectRate + dBlockCentre;
    if (dY > dLow && dY < dHigh && c.m_dSize * dBlockArea > dArea) {
      dArea = c.m_dSize * dBlockArea;
      dCenterX = c.m_oCenter.m_dX * kDetectRate + dBlockCentre;
    }
  }
  const int32_t nMean = m_Contour.m_nMeanCenter;
  if (m_nRefCenter == -1) {
    m_nRefCenter = nMean;
    return eUndecided;
  }
  if (dArea < kSignificantArea)
    return eUndecided;
  if (nMean > m_nRefCenter && dCenterX > m_nRefCenter) {
    m_nRefCenter = nMean;
    return eTowardsRight;
  }
  if (nMean < m_nRefCenter && m_nRefCenter > dCenterX) {
    m_nRefCenter = nMean;
    return eTowardsLeft;
  }
  return eUndecided;
}

bool ClIpAutoRoll5::Merge()
{
  if (m_nSeriesLen <= 0)
    return false;
  ClTpIpSubtract<uint8_t, uint8_t, int32_t> subtract;
  subtract.m_pInImage1 = &m_FrameMask;
  subtract.m_pInImage2 = &m_RolledMask;
  subtract.m_pOutImage = &m_New;
  subtract.Process();
  subtract.m_pInImage2 = &m_New;
  subtract.m_pOutImage = &m_Overlap;
  subtract.Process();

  // Only whether the finger still touches the rolled area matters here.
  bool bOverlap = false;
  const int32_t nStride = m_Overlap.LineElements();
  for (int32_t y = 0; y < m_Overlap.Height() && !bOverlap; ++y) {
    const uint8_t* p = m_Overlap.Data() + ptrdiff_t(y) * nStride;
    bOverlap = std::find(p, p + m_Overlap.Width(), uint8_t(255)) != p + m_Overlap.Width();
  }
  if (!bOverlap) {
    m_bNoOverlap = 1;
    return false;
  }
  m_bNoOverlap = 0;

  int32_t d = eUndecided;
  if (m_Contour.HasCenter()) {
    d = FrameDirection(m_New);
    if (m_nCountRight < kVotes && m_nCountLeft < kVotes) {
      if (d == eTowardsRight)
        ++m_nCountRight;
      else if (d == eTowardsLeft)
        ++m_nCountLeft;
    } else if (m_nDirection != eUndecided) {
      if (d != eUndecided && d != m_nDirection) {
        m_lDefects.push_back(eErrRolledBackroll);
        return false;
      }
    } else {
      m_nDirection = d;
      if (m_nCountRight > m_nCountLeft) {
        m_nDirection = eTowardsRight;
      } else if (m_nCountLeft > m_nCountRight) {
        m_nDirection = eTowardsLeft;
      } else if (d == eTowardsRight) {
        ++m_nCountRight;
      } else if (d == eTowardsLeft) {
        ++m_nCountLeft;
      }
    }
  }

  if (!m_ShiftDetection.IsInitialised())
    m_ShiftDetection.Initialise(m_Rolled, m_nRollShiftAreaMode, m_nBorderSide, m_nBorderTop);
  ++m_nMergedLen;
  if (d == eTowardsRight)
    m_nMergedWidth = std::abs(m_nFirstRight - m_nMaxRight);
  else if (d == eTowardsLeft)
    m_nMergedWidth = std::abs(m_nFirstLeft - m_nMinLeft);

  if (d == eUndecided)
    return false;
  int32_t nMixBand = m_nBlendBand;
  const ClImage& frame =
      m_nMergeModeOfRoll == eMergeRegistered ? RegisteredFrame(d, nMixBand) : m_Frame;
  if (d == eTowardsRight)
    BlendRows<eTowardsRight>(m_New, frame, nMixBand);
  else
    BlendRows<eTowardsLeft>(m_New, frame, nMixBand);
  return true;
}

const ClImage& ClIpAutoRoll5::RegisteredFrame(int32_t d, int32_t& nMixBand)
{
  const int* pCenter = m_Contour.m_aCenter.Data();
  const int32_t nTrusted =
      m_Registration.Estimate(m_Rolled, m_Frame, m_RolledMask, m_FrameMask, pCenter,
                              m_Contour.m_nTopRow, m_Contour.m_nBottomRow, d);
  if (nTrusted < ClRollRegistration::kLeastTrusted)
    return m_Frame;
  m_Registration.Warp(m_Frame, pCenter, m_nBlendBand, m_Warped);
  // A frame that still differs strongly once registered slipped: it is mixed over the
  // whole band, as the exact merge would, so that its smear stays for the checks.
  if (m_Registration.Mismatch(m_Rolled, m_Warped, m_FrameMask, pCenter, m_nBlendBand) <=
      ClRollRegistration::kSlipShare)
    nMixBand = std::min(m_nBlendBand, ClRollRegistration::kMixBand);
  return m_Warped;
}

template <int32_t D>
void ClIpAutoRoll5::BlendRows(const ClImage& rNew, const ClImage& rFrame, int32_t nMixBand)
{
  const int32_t w = m_Rolled.Width(), h = m_Rolled.Height();
  const int32_t k = static_cast<int32_t>(m_nBlendSmooth | 1);
  const int32_t nRolledStride = m_Rolled.LineElements(), nFrameStride = rFrame.LineElements();
  const int32_t nMaskStride = m_FrameMask.LineElements(), nNewStride = rNew.LineElements();
  const int* pTop = m_Contour.m_aTop.Data();
  const int* pBottom = m_Contour.m_aBottom.Data();
  ClRollShiftAreaDetection& shift = m_ShiftDetection;
  for (int32_t y = 0; y < h; ++y) {
    uint8_t* r = m_Rolled.Data() + ptrdiff_t(y) * nRolledStride;
    const uint8_t* f = rFrame.Data() + ptrdiff_t(y) * nFrameStride;
    const uint8_t* mask = m_FrameMask.Data() + ptrdiff_t(y) * nMaskStride;
    const uint8_t* nw = rNew.Data() + ptrdiff_t(y) * nNewStride;
    const int32_t L = m_Contour.m_aLeft[y], R = m_Contour.m_aRight[y], M = m_Contour.m_aCenter[y];
    const double dMargin = (R - L) * dRollFrontRatio;
    const double dSpan = D == eTowardsRight ? (M - dMargin) - L : R - (M + dMargin);
    const double dBand = std::min(dSpan, double(m_nBlendBand));
    const double s = D == eTowardsRight ? M - dBand : M + dBand;
    const double dMix = std::min(dSpan, double(nMixBand));
    const double sMix = D == eTowardsRight ? M - dMix : M + dMix;
    for (int32_t x = 0; x < w;) {
      // Columns whose finger range misses this row come in runs; there the darker of
      // old and new is kept on the side the roll goes to.
      if (pTop[x] > y || y > pBottom[x]) {
        int32_t xEnd = x + 1;
        while (xEnd < w && (pTop[xEnd] > y || y > pBottom[xEnd]))
          ++xEnd;
        const int32_t x0 = D == eTowardsRight ? std::max(x, L + 1) : x;
        const int32_t x1 = D == eTowardsRight ? xEnd : std::min(xEnd, R);
        for (int32_t i = x0; i < x1; ++i)
          r[i] = std::min(r[i], f[i]);
        x = xEnd;
        continue;
      }
      const int32_t fv = f[x], rv = r[x];
      if (nw[x] > 254) {
        shift.AddNewAreaSample(fv);
        r[x] = uint8_t(fv);
      } else if (D == eTowardsRight ? x > R : x <= L) {
        r[x] = uint8_t(std::min(fv, rv));
      } else if (std::abs(x - M) < dMargin) {
        shift.MarkDifference(std::abs(rv - fv), y, x);
        r[x] = uint8_t(fv);
      } else if (mask[x] == 255 && (D == eTowardsRight ? x >= M : x <= M)) {
        shift.MarkDifference(std::abs(rv - fv), y, x);
        r[x] = uint8_t(fv);
      } else if (mask[x] == 255 && dBand > 0 && (D == eTowardsRight ? x > s : x < s)) {
        // Trailing half: cross-fade over the band behind the centre line. Outside the
        // band the weight is 0 and nothing changes.
        // A registered frame is mixed over a narrower band (dMix): fewer frames overlay
        // each sample, while differences are still weighed over the whole band.
        const double dAlpha = std::abs(x - s) / dBand;
        const int32_t e = static_cast<int32_t>(std::abs(fv - rv) * dAlpha);
        shift.MarkDifference(e, y, x);
        shift.MarkBlendDifference(e, y, x);
        const double dMixAlpha = dMix == dBand ? dAlpha
                                 : dMix > 0 && (D == eTowardsRight ? x > sMix : x < sMix)
                                     ? std::abs(x - sMix) / dMix
                                     : 0.0;
        const int32_t eMix =
            dMix == dBand ? e : static_cast<int32_t>(std::abs(fv - rv) * dMixAlpha);
        if (dMixAlpha > 0.01 && eMix >= kLeastBlendChange)
          r[x] = uint8_t(static_cast<int32_t>(RowMean(r, w, x, k) * (1.0 - dMixAlpha) +
                                              RowMean(f, w, x, k) * dMixAlpha));
      }
      ++x;
    }
  }
}
