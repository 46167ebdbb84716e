#include "roll/RollShiftAreaDetection.h"

#include "imaging/filters/TpIpFilterMid.h"
#include "imaging/histogram/Histogram.h"
#include "imaging/operators/TpIpBinarize.h"
#include "imaging/operators/TpIpScale.h"
#include "base/Exceptions.h"

#include <algorithm>
#include <boost/property_tree/exceptions.hpp>
#include <cstring>

namespace {

// Window sizes and limits of the outline: differences are spread, the strong ones kept,
// small specks dropped and the rest merged into smooth areas.
constexpr int32_t kSpread = 21;
constexpr int32_t kCloseUp = 15;
constexpr int32_t kSmooth = 51;
constexpr uint8_t kStrong = 150;
constexpr uint8_t kStrongWhenShifted = 100;
constexpr uint8_t kCloseLimit = 100;
constexpr double kSpeckArea = 3000.0;

} // namespace

void ClRollShiftAreaDetection::Initialise(const ClImage& rImage, int32_t nMode, int32_t nBorderSide,
                                          int32_t nBorderTop)
{
  for (ClImage* p : {&m_DiffImage, &m_MarkLow, &m_MarkHigh}) {
    p->Create(eUInt8, rImage.Width(), rImage.Height(), 1);
    p->Fill(static_cast<unsigned char>(0));
  }
  m_nMode = nMode;
  m_nBorderSide = nBorderSide;
  m_nBorderTop = nBorderTop;
  m_nSum = m_nCount = m_nMean = 0;
  m_bInitialised = true;
}

void ClRollShiftAreaDetection::Reset()
{
  m_DiffImage.Clear();
  m_MarkLow.Clear();
  m_MarkHigh.Clear();
  m_nMode = -1;
  m_nSum = m_nCount = m_nMean = 0;
  m_bInitialised = false;
}

int32_t ClRollShiftAreaDetection::CountShiftPixels() const
{
  if (!m_MarkLow.Data())
    return 0;
  ClHistogram histogram;
  histogram.Create(m_MarkLow);
  return static_cast<int32_t>(histogram.Bin(255));
}

void ClRollShiftAreaDetection::Binarise(ClImage& rIn, ClImage& rOut, uint8_t nLimit, uint8_t nLow,
                                        uint8_t nHigh)
{
  ClTpIpBinarize<uint8_t, uint8_t> binarise;
  binarise.m_pInImage = &rIn;
  binarise.m_pOutImage = &rOut;
  binarise.m_nThreshold = nLimit;
  binarise.m_nLow = nLow;
  binarise.m_nHigh = nHigh;
  binarise.Process();
}

void ClRollShiftAreaDetection::Mean(ClImage& rIn, ClImage& rOut, int32_t nSize)
{
  ClTpIpFilterMid<uint8_t, uint32_t> mean;
  mean.m_pInImage = &rIn;
  mean.m_pOutImage = &rOut;
  // A window never larger than the image (kept odd).
  mean.m_nFilterWidth = std::min(nSize, (rIn.Width() - 1) | 1);
  mean.m_nFilterHeight = std::min(nSize, (rIn.Height() - 1) | 1);
  mean.Process();
}

int32_t ClRollShiftAreaDetection::Components(ClImage& rIn)
{
  for (uint64_t i = 0; i < m_aComponents.Capacity(); ++i)
    m_aComponents.Data()[i] = ClIpConnectedComponent2::ClComponent();
  m_Components.m_pInImage = &rIn;
  m_Components.m_pOutImage = nullptr;
  m_Components.m_pComponents = &m_aComponents;
  m_Components.Process();
  return static_cast<int32_t>(m_aComponents.Size());
}

bool ClRollShiftAreaDetection::Detect(boost::property_tree::ptree& rTree, bool bAlreadyShifted,
                                      bool bActivated)
{
  rTree.clear();
  if (!m_bInitialised || m_DiffImage.Width() < 2 || m_DiffImage.Height() < 2)
    return bAlreadyShifted;
  const int32_t b = BaseLimit();
  Mean(m_DiffImage, m_M, kSpread);
  Mean(m_MarkHigh, m_K, kSpread);
  Binarise(m_K, m_Work, uint8_t(b), 255, 0);
  if (Components(m_Work) == 0 && !bAlreadyShifted)
    return false;

  // Differences relative to the strongest one.
  ClHistogram histogram;
  histogram.Create(m_M);
  const double p = histogram.MeanOfBrightest(1);
  if (p > 0) {
    ClTpIpScale<uint8_t, uint8_t, double> scale;
    scale.m_pInImage = &m_M;
    scale.m_pOutImage = &m_S;
    scale.m_dFactor = 255.0 / p;
    scale.m_dUpper = 255.0;
    scale.Process();
  } else {
    m_S.Create(eUInt8, m_M.Width(), m_M.Height(), 1);
    m_S.Fill(static_cast<unsigned char>(0));
  }
  Binarise(m_S, m_Work, kStrong, 255, 0);
  double a = 0.0;
  for (int32_t i = 0, n = Components(m_Work); i < n; ++i)
    a = std::max(a, m_aComponents[i].m_dSize);
  const bool bShift = a > m_nMinShiftArea || bAlreadyShifted;
  if (!bActivated)
    return bShift;

  Binarise(m_S, m_Work, uint8_t(bShift ? kStrongWhenShifted : kStrong + Extra()), 255, 0);
  Mean(m_Work, m_K, kCloseUp);
  Binarise(m_K, m_P, kCloseLimit);
  for (int32_t i = 0, n = Components(m_P); i < n; ++i) {
    const ClIpConnectedComponent2::ClComponent& c = m_aComponents[i];
    if (c.m_dSize >= kSpeckArea)
      continue;
    for (int32_t y = int32_t(c.m_oMin.m_dY); y <= int32_t(c.m_oMax.m_dY); ++y)
      std::memset(m_P.Data() + ptrdiff_t(y) * m_P.LineElements() + int32_t(c.m_oMin.m_dX), 255,
                  size_t(int32_t(c.m_oMax.m_dX) - int32_t(c.m_oMin.m_dX) + 1));
  }
  Mean(m_P, m_K, kSmooth);
  Binarise(m_K, m_P, kStrong);
  WriteTree(rTree, bShift, m_P.Height());
  return bShift;
}

void ClRollShiftAreaDetection::WriteTree(boost::property_tree::ptree& rTree, bool bShift,
                                         int32_t nHeight)
{
  const int32_t n = Components(m_P);
  m_aContours.Clear();
  m_FindContour.m_pInImage = &m_P;
  m_FindContour.m_pOutImage = nullptr;
  m_FindContour.m_pContours = &m_aContours;
  m_FindContour.m_nObjectValue = 0;
  m_FindContour.m_nBackgroundValue = 255;
  m_FindContour.Process();

  std::vector<const ClIpFindContour::ClContour*> aKept;
  if (int32_t(m_aContours.Size()) == n) {
    for (uint32_t i = 0; i < m_aContours.Size(); ++i)
      aKept.push_back(&m_aContours[i]);
  } else {
    for (int32_t k = 0; k < n; ++k) {
      const ClIpConnectedComponent2::ClComponent& c = m_aComponents[k];
      auto inside = [&c](const ClVector& pt) {
        const int32_t x = int32_t(pt.m_dX), y = int32_t(pt.m_dY);
        return x >= c.m_oMin.m_dX && x <= c.m_oMax.m_dX && y >= c.m_oMin.m_dY && y <= c.m_oMax.m_dY;
      };
      // Holes and specks inside one area: the outline with most points stands for it.
      const ClIpFindContour::ClContour* pBest = nullptr;
      int32_t nFound = 0;
      for (uint32_t i = 0; i < m_aContours.Size(); ++i) {
        const ClIpFindContour::ClContour& contour = m_aContours[i];
        if (contour.m_aPoints.empty() || !inside(contour.m_aPoints.front()) ||
            !inside(contour.m_aPoints.back()))
          continue;
        ++nFound;
        if (!pBest || contour.m_aPoints.size() > pBest->m_aPoints.size())
          pBest = &contour;
      }
      if (nFound == 0)
        continue;
      for (uint32_t i = 0; i < m_aContours.Size(); ++i) {
        if (m_aContours[i].m_nId == pBest->m_nId)
          aKept.push_back(&m_aContours[i]);
      }
    }
  }

  try {
    const int32_t nLevel = bShift ? 2 : 1;
    for (const ClIpFindContour::ClContour* pContour : aKept) {
      boost::property_tree::ptree points;
      for (const ClIpFindContour::ClContourPoint& pt : pContour->m_aPoints) {
        boost::property_tree::ptree point;
        point.put("X", static_cast<int32_t>(m_nBorderSide + pt.m_dX));
        point.put("Y", static_cast<int32_t>(nHeight - pt.m_dY + m_nBorderTop));
        points.push_back(std::make_pair(std::string(), point));
      }
      boost::property_tree::ptree area;
      area.add_child("POINTS", points);
      area.put("LEVEL", nLevel);
      rTree.push_back(std::make_pair(std::string(), area));
    }
  } catch (const boost::property_tree::ptree_error&) {
    LSKX2_THROW_MSG("Error while generating shift area!", eErrInternal);
  }
}
