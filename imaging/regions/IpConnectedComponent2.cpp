#include "imaging/regions/IpConnectedComponent2.h"

#include <algorithm>
#include <cmath>

void ClIpConnectedComponent2::ComponentsArray_t::SetUsed(uint64_t nCount)
{
  // Growing copies only the used entries: first take every existing one into use.
  auto useFront = [this](uint64_t n) {
    Clear();
    for (uint64_t i = 0; i < n; ++i)
      Add((*this)[i]);
  };
  if (nCount > Capacity()) {
    useFront(Capacity());
    Grow(nCount - Capacity());
  }
  useFront(nCount);
}

void ClIpConnectedComponent2::DescribeArguments(ClProcessorArguments& a)
{
  a.Image(&m_pInImage, nullptr, "pInImage", nullptr, 1, 1, 1);
  a.Image(&m_pInImageGrey, nullptr, "m_pInImageGrey", nullptr, 1, 1, 5);
  a.Image(&m_pOutImage, nullptr, "m_pOutImage", nullptr, 1, 1, 6);
}

bool ClIpConnectedComponent2::IsReady() const
{
  if (!m_pInImage || !m_pComponents)
    return false;
  return !m_pInImageGrey || (m_pInImageGrey->Width() == m_pInImage->Width() &&
                             m_pInImageGrey->Height() == m_pInImage->Height());
}

void ClIpConnectedComponent2::ClRunLabeling::OnRun(int32_t nLabel, int32_t y, int32_t x0,
                                                   int32_t x1)
{
  const double dRun = x1 - x0 + 1;
  if (static_cast<size_t>(nLabel) > m_aRuns.size()) {
    // The first run of a region starts at its first pixel in row order.
    m_aRuns.push_back(StFirstPass{0, 0, 0, x0, y, x1, y, x0, y});
  }
  StFirstPass& f = m_aRuns[static_cast<size_t>(nLabel) - 1];
  f.nMinX = std::min(f.nMinX, x0);
  f.nMaxX = std::max(f.nMaxX, x1);
  f.nMinY = std::min(f.nMinY, y);
  f.nMaxY = std::max(f.nMaxY, y);
  f.dSumX += (static_cast<double>(x0) + x1) * dRun / 2;
  f.dSumY += y * dRun;
  f.dSize += dRun;
}

void ClIpConnectedComponent2::TakeFirstPass(int32_t nLabels)
{
  ComponentsArray_t& a = *m_pComponents;
  for (int32_t i = 0; i < nLabels && static_cast<size_t>(i) < m_Labeling.m_aRuns.size(); ++i) {
    const StFirstPass& f = m_Labeling.m_aRuns[i];
    ClComponent& c = a[i];
    c.m_dSize = f.dSize;
    c.m_oCenter = ClVector(f.dSumX / f.dSize, f.dSumY / f.dSize);
    c.m_oMin = ClVector(f.nMinX, f.nMinY);
    c.m_oMax = ClVector(f.nMaxX, f.nMaxY);
    // A reused entry keeps a first pixel that is already set.
    if (c.m_oFirst.m_dX < 0 || c.m_oFirst.m_dY < 0)
      c.m_oFirst = ClVector(f.nFirstX, f.nFirstY);
  }
}

// Second moments about the centre, added pixel by pixel in row order, onto whatever the
// entries hold.
void ClIpConnectedComponent2::SecondPass(const int32_t* pLabels, int64_t nStride, int32_t nW,
                                         int32_t nH, int32_t nLabels)
{
  ComponentsArray_t& a = *m_pComponents;
  // Entry 0 is the background, whose sums are not taken.
  m_aSecond.resize(static_cast<size_t>(nLabels) + 1);
  m_aSecond[0] = StSecondPass{0, 0, 0, 0, 0};
  for (int32_t i = 0; i < nLabels; ++i) {
    const ClComponent& c = a[i];
    m_aSecond[i + 1] = StSecondPass{c.m_oCenter.m_dX, c.m_oCenter.m_dY, c.m_dMomentXY,
                                    c.m_dMomentYY, c.m_dMomentXX};
  }
  StSecondPass* pSecond = m_aSecond.data();
  // A run of one label adds in registers, in the same order as pixel by pixel.
  for (int32_t y = 0; y < nH; ++y) {
    const int32_t* l = pLabels + y * nStride;
    for (int32_t x = 0; x < nW;) {
      const int32_t nLabel = l[x];
      const int32_t x0 = x;
      while (x < nW && l[x] == nLabel)
        ++x;
      if (nLabel == 0)
        continue;
      StSecondPass& m = pSecond[nLabel];
      const double dCenterX = m.dCenterX, dy = y - m.dCenterY;
      double dXY = m.dXY, dYY = m.dYY, dXX = m.dXX;
      for (int32_t k = x0; k < x; ++k) {
        const double dx = k - dCenterX;
        dXY += dx * dy;
        dYY += dy * dy;
        dXX += dx * dx;
      }
      m.dXY = dXY;
      m.dYY = dYY;
      m.dXX = dXX;
    }
  }
  for (int32_t i = 0; i < nLabels; ++i) {
    a[i].m_dMomentXY = m_aSecond[i + 1].dXY;
    a[i].m_dMomentYY = m_aSecond[i + 1].dYY;
    a[i].m_dMomentXX = m_aSecond[i + 1].dXX;
  }
}

int32_t ClIpConnectedComponent2::Process()
{
  if (!m_pInImage)
    LSKX2_THROW_MSG("Objectimage is missing", eErrParamIsMissing);
  if (!m_pComponents)
    LSKX2_THROW_MSG("Output object array is missing", eErrParamIsMissing);
  if (m_pInImageGrey && (m_pInImageGrey->Width() != m_pInImage->Width() ||
                         m_pInImageGrey->Height() != m_pInImage->Height()))
    LSKX2_THROW_MSG("the given grayimage has not the same size as the object image",
                    eErrInvalidParameter);

  m_Labeling.SetLogging(m_pLog != nullptr);
  m_Labeling.m_pInImage = m_pInImage;
  m_Labeling.m_pOutImage = m_pOutImage ? m_pOutImage : &m_Labels;
  m_Labeling.m_aRuns.clear();
  m_Labeling.Run();
  const ClImage& labels = *m_Labeling.m_pOutImage;
  const int32_t nLabels = m_Labeling.m_nLabels;

  ComponentsArray_t& a = *m_pComponents;
  a.SetUsed(static_cast<uint64_t>(nLabels));
  for (int32_t i = 0; i < nLabels; ++i) {
    a[i].m_oCenter = ClVector(0, 0);
    a[i].m_dSize = 0;
    a[i].m_nId = i + 1;
  }
  const int32_t nW = labels.Width(), nH = labels.Height();
  const int64_t nStride = labels.LineElements();
  const int32_t* pLabels = labels.Pixels<int32_t>();
  if (nLabels == 0 || !pLabels)
    return 0;

  TakeFirstPass(nLabels);
  if (m_bShape)
    SecondPass(pLabels, nStride, nW, nH, nLabels);

  for (int32_t i = 0; i < nLabels && m_bShape; ++i) {
    ClComponent& c = a[i];
    if (c.m_dSize > 1) {
      const double dSum = c.m_dMomentYY + c.m_dMomentXX;
      const double dDiff = c.m_dMomentXX - c.m_dMomentYY;
      c.m_dEccentricity = (4 * c.m_dMomentXY * c.m_dMomentXY + dDiff * dDiff) / (dSum * dSum);
    } else {
      c.m_dEccentricity = 0;
    }
    // Of the two axis candidates, the one with the smaller second moment across it.
    const double a1 = std::atan(2 * c.m_dMomentXY / (c.m_dMomentXX - c.m_dMomentYY)) * 0.5;
    // No moments at all (a single pixel): a1 is not a number and stays.
    if (std::isnan(a1)) {
      c.m_dOrientation = a1;
      continue;
    }
    const double a2 = a1 + 1.5707963267948966;
    auto moment = [&c](double dAngle) {
      const double s = std::sin(dAngle), co = std::cos(dAngle);
      return co * co * c.m_dMomentYY - s * co * c.m_dMomentXY + s * s * c.m_dMomentXX;
    };
    c.m_dOrientation = moment(a1) > moment(a2) ? a2 : a1;
  }

  if (m_pInImageGrey && m_pInImageGrey->Data()) {
    const uint8_t* pGrey = m_pInImageGrey->Data();
    const int64_t nGreyStride = m_pInImageGrey->LineBytes();
    for (int32_t y = 0; y < nH; ++y) {
      const int32_t* l = pLabels + y * nStride;
      const uint8_t* g = pGrey + y * nGreyStride;
      for (int32_t x = 0; x < nW; ++x) {
        const int32_t n = l[x];
        if (n > 0 && n <= nLabels)
          a[n - 1].m_dMeanGrey += g[x];
      }
    }
    for (int32_t i = 0; i < nLabels; ++i)
      a[i].m_dMeanGrey /= a[i].m_dSize;
  }
  return 0;
}
