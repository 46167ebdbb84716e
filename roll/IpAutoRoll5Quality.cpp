// Judging a finished roll, and the diagnostics and thresholds exchanged as a tree.
#include "roll/IpAutoRoll5.h"

#include "base/Exceptions.h"

#include <algorithm>
#include <boost/property_tree/exceptions.hpp>
#include <cmath>
#include <cstdio>
#include <string>

namespace {

// The rolled mask must cover more than about a tenth of the picture.
constexpr double kLeastMaskMean = 5.0;
// Streak test: window of the local range, the level below which no light valley lies
// within reach, and the share of the local range a blend difference may reach.
constexpr int32_t kStreakWindow = 11;
constexpr int32_t kSmearedHigh = 160;
constexpr double kStrongDifference = 0.5;
constexpr double kLeastStreakPixels = 1000.0;

// Doubles with 16 significant digits, so that 0.1 reads "0.1".
std::string DoubleText(double d)
{
  char sz[32];
  std::snprintf(sz, sizeof(sz), "%.16g", d);
  return sz;
}

template <class TFilter>
void Filter(TFilter& filter, ClImage& rIn, ClImage& rOut, int32_t nSize)
{
  filter.m_pInImage = &rIn;
  filter.m_pOutImage = &rOut;
  filter.m_nFilterWidth = filter.m_nFilterHeight = nSize;
  filter.Process();
}

} // namespace

int32_t ClIpAutoRoll5::GetVelocityMeasure() const
{
  const uint32_t n = m_aVelocity.Size();
  if (n < 2)
    return 0;
  // The fastest quarter against the average: an even fast roll passes, a jerk does not.
  std::vector<unsigned>& a = m_aSorted;
  a.assign(m_aVelocity.Data(), m_aVelocity.Data() + n);
  std::sort(a.begin(), a.end(), [](unsigned x, unsigned y) { return x > y; });
  double dAll = 0.0, dTop = 0.0;
  const uint32_t nTop = std::max(n / 4, 1u);
  for (uint32_t i = 0; i < n; ++i) {
    dAll += a[i];
    if (i < nTop)
      dTop += a[i];
  }
  return static_cast<int32_t>(std::fabs(dTop / nTop - dAll / n));
}

void ClIpAutoRoll5::CheckRollQuality()
{
  if (m_nMergedLen < m_nMergedLenThreshold || m_nMergedWidth < m_nMergedWidthThreshold)
    m_lDefects.push_back(eErrRolledSizeTooSmall);
  if (m_RolledMask.Data()) {
    m_Histogram.Create(m_RolledMask);
    if (m_Histogram.TrimmedMean(0.1, 0.9) < kLeastMaskMean)
      m_lDefects.push_back(eErrRolledSizeTooSmall);
  }
  if (m_nSeriesLen < m_nSeriesLenThreshold)
    m_lDefects.push_back(eErrRolledTooFast);
  if (GetVelocityMeasure() > m_nRollVelocityThreshold)
    m_lDefects.push_back(eErrRolledTooFast);
  if (StreakTest())
    m_lDefects.push_back(eErrRolledShifted);
  CheckRollRegion();
}

bool ClIpAutoRoll5::StreakTest()
{
  const ClImage& diff = m_ShiftDetection.DiffImage();
  if (!diff.Data() || diff.Width() != m_Rolled.Width() || diff.Height() != m_Rolled.Height())
    return false;
  // Hi and Lo are the light and dark levels within reach, in inverted polarity.
  Filter(m_FilterMin, m_Rolled, m_Tmp, kStreakWindow);
  Filter(m_Mean, m_Tmp, m_Lo, kStreakWindow);
  Filter(m_FilterMax, m_Rolled, m_Tmp, kStreakWindow);
  Filter(m_Mean, m_Tmp, m_Hi, kStreakWindow);
  int64_t nCount = 0;
  for (int32_t y = 0; y < m_Rolled.Height(); ++y) {
    const uint8_t* lo = m_Lo.Data() + ptrdiff_t(y) * m_Lo.LineElements();
    const uint8_t* hi = m_Hi.Data() + ptrdiff_t(y) * m_Hi.LineElements();
    const uint8_t* d = diff.Data() + ptrdiff_t(y) * diff.LineElements();
    for (int32_t x = 0; x < m_Rolled.Width(); ++x) {
      // A smeared patch, or a blend difference strong against the local range; Hi equal
      // to Lo with no difference is neither.
      if (hi[x] < kSmearedHigh || double(d[x]) / double(hi[x] - lo[x]) > kStrongDifference)
        ++nCount;
    }
  }
  const double dLimit = std::max(kLeastStreakPixels, (m_nMaxRight - m_nMinLeft) / 100.0 * 1000.0);
  return double(nCount) > dLimit;
}

void ClIpAutoRoll5::CheckRollRegion()
{
  if (!m_RolledMask.Data())
    return;
  const int32_t w = m_RolledMask.Width(), h = m_RolledMask.Height();
  const uint32_t v = static_cast<uint32_t>(h * 0.3), hz = static_cast<uint32_t>(w * 0.3);
  auto count = [this](int32_t x0, int32_t y0, int32_t x1, int32_t y1) {
    m_Histogram.Create(m_RolledMask, x0, y0, x1, y1);
    return m_Histogram.Bin(255);
  };
  bool bOut = false;
  auto check = [&](bool bFound, int32_t nCode) {
    if (bFound) {
      m_lDefects.push_back(nCode);
      bOut = true;
    }
  };
  check(count(w - m_nBorderSide - 1, 0, w, h) > v, eErrRolledOutOfRegionRight);
  check(count(0, 0, m_nBorderSide + 1, h) > v, eErrRolledOutOfRegionLeft);
  // The end of the rows is the upper boundary of the capture area, as the device sees it.
  check(count(0, h - m_nBorderTop - 1, w, h) > hz, eErrRolledOutOfRegionTop);
  check(count(0, static_cast<int32_t>(h * 0.4), w, h) == 0, eErrRolledOutOfRegionBottom);
  if (bOut)
    m_lDefects.push_back(eErrRolledOutOfRegion);
}

void ClIpAutoRoll5::GetDiagnostics(boost::property_tree::ptree& rTree)
{
  try {
    rTree.put("RETURNCODE", GetResultCode());
    const std::pair<const char*, int32_t> aFlags[] = {
        {"BACKROLL", eErrRolledBackroll},
        {"OUT_OF_REGION", eErrRolledOutOfRegion},
        {"OUT_OF_REGION_T", eErrRolledOutOfRegionTop},
        {"OUT_OF_REGION_B", eErrRolledOutOfRegionBottom},
        {"OUT_OF_REGION_L", eErrRolledOutOfRegionLeft},
        {"OUT_OF_REGION_R", eErrRolledOutOfRegionRight},
        {"ROTATED", eErrRolledRotated},
        {"SHIFTED", eErrRolledShifted},
        {"TOO_SMALL", eErrRolledSizeTooSmall},
        {"TOO_FAST", eErrRolledTooFast}};
    for (const auto& flag : aFlags)
      rTree.put(flag.first, HasDefect(flag.second) ? 1 : 0);
    rTree.put("MERGED_LEN", m_nMergedLen);
    rTree.put("MERGED_WIDTH", m_nMergedWidth);
    rTree.put("SERIES_LEN", m_nSeriesLen);
    rTree.put("ROLL_DURATION", m_nRollDuration);
    rTree.put("BORDER_SIDE", m_nBorderSide);
    rTree.put("BORDER_TOP", m_nBorderTop);
    rTree.put("MERGED_LEN_THRESHOLD", m_nMergedLenThreshold);
    rTree.put("MERGED_WIDTH_THRESHOLD", m_nMergedWidthThreshold);
    rTree.put("SERIES_LEN_THRESHOLD", m_nSeriesLenThreshold);
    rTree.put("SHIFT_DISTANCE_THRESHOLD", m_nShiftDistanceThreshold);
    rTree.put("ROTATION_THRESHOLD", DoubleText(m_dRotationThreshold));
    rTree.put("ROLL_VELOCITY", GetVelocityMeasure());
    rTree.put("ROLL_VELOCITY_THRESHOLD", m_nRollVelocityThreshold);
    rTree.put_child("ROLL_SHIFT_AREAS", GetRollShiftAreas());
    rTree.put("ROLL_SHIFT_AREA_ACTIVATION", m_nRollShiftAreaActivation);
    rTree.put("ROLL_SHIFT_AREA_MODE", m_nRollShiftAreaMode);
    rTree.put("ROLL_SHIFT_DISTANCE", m_ShiftDetection.CountShiftPixels());
    rTree.put("ROTATION", DoubleText(m_dAngleMax - m_dAngleMin));
  } catch (const boost::property_tree::ptree_error&) {
    LSKX2_THROW_MSG("Error while getting roll finger diagnostic data!", eErrInternal);
  }
}

void ClIpAutoRoll5::LoadThresholds(const boost::property_tree::ptree& rTree)
{
  try {
    auto take = [&rTree](const char* szKey, auto& rValue) {
      using T = std::remove_reference_t<decltype(rValue)>;
      if (boost::optional<const boost::property_tree::ptree&> node =
              rTree.get_child_optional(szKey))
        rValue = node->get_value<T>();
    };
    take("MERGED_LEN_THRESHOLD", m_nMergedLenThreshold);
    take("MERGED_WIDTH_THRESHOLD", m_nMergedWidthThreshold);
    take("SERIES_LEN_THRESHOLD", m_nSeriesLenThreshold);
    take("SHIFT_DISTANCE_THRESHOLD", m_nShiftDistanceThreshold);
    take("ROTATION_THRESHOLD", m_dRotationThreshold);
    take("ROLL_VELOCITY_THRESHOLD", m_nRollVelocityThreshold);
    take("ROLL_SHIFT_AREA_ACTIVATION", m_nRollShiftAreaActivation);
    int32_t nMode = m_nRollShiftAreaMode;
    take("ROLL_SHIFT_AREA_MODE", nMode);
    SetRollShiftAreaMode(nMode);
    int32_t nSide = m_nBorderSide, nTop = m_nBorderTop;
    take("BORDER_SIDE", nSide);
    take("BORDER_TOP", nTop);
    // Wider borders would leave no room to roll in, or none at all.
    if (nSide < 0 || nSide > kMaxBorderSide || nTop < 0 || nTop > kMaxBorderTop)
      throw boost::property_tree::ptree_bad_data("border out of range", nSide);
    m_nBorderSide = nSide;
    m_nBorderTop = nTop;
  } catch (const boost::property_tree::ptree_error&) {
    LSKX2_THROW_MSG("Error while loading roll finger thresholds!", eErrInternal);
  }
  Reset();
}
