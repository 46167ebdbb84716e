#include "roll/IpAutoRoll5.h"

#include "imaging/TpIpImageExtension.h"
#include "imaging/geometry/TpIpCut.h"
#include "imaging/operators/TpIpDelta.h"
#include "imaging/operators/TpIpInvert.h"
#include "imaging/operators/TpIpOr.h"
#include "base/Exceptions.h"

#include <algorithm>
#include <mutex>

namespace {

// A settling finger that moved by more than this many mask pixels starts afresh.
constexpr uint32_t kJumpPixels = 5000;
// A roll may not run longer than this without progress, nor take more frames.
constexpr int64_t kMaxStallMs = 5000;
constexpr int32_t kMaxSeriesLen = 201;

// out = 255 - in: the roll works on the finger dark on light.
void Invert(ClImage& rIn, ClImage& rOut)
{
  ClTpIpInvert<uint8_t, uint8_t> invert;
  invert.m_pInImage = &rIn;
  invert.m_pOutImage = &rOut;
  invert.Process();
}

} // namespace

ClIpAutoRoll5::ClIpAutoRoll5() : m_pClock(&m_SteadyClock)
{
  AddDataType(eUInt8);
  // A roll ends after at most 201 frames: the velocity samples never outgrow this.
  m_aVelocity.Grow(256);
  m_lDefects.reserve(32);
  m_aSorted.reserve(256);
  m_aOrder.reserve(4096);
  // The region tables grow with the most regions seen: size them once for more than a
  // frame will plausibly hold, so that a running roll does not grow them.
  m_Work.Create(eUInt8, 128, 128, 1);
  for (int32_t y = 0; y < 128; ++y)
    for (int32_t x = 0; x < 128; ++x)
      m_Work.Data()[ptrdiff_t(y) * m_Work.LineElements() + x] =
          (x % 2 == 0 && y % 2 == 0) ? 0 : 255;
  m_Components.m_pInImage = &m_Work;
  m_Components.m_pOutImage = nullptr;
  m_Components.m_pComponents = &m_aComponents;
  m_Components.Process();
  m_Work.Clear();
  SetDefaultParameters();
  LoadThresholds(boost::property_tree::ptree());
}

ClIpAutoRoll5::~ClIpAutoRoll5() = default;

void ClIpAutoRoll5::SetDefaultParameters()
{
  ClIp1to1Base::SetDefaultParameters();
  Reset();
}

void ClIpAutoRoll5::CheckInputType() const
{
  ClIp1to1Base::CheckInputType();
  if (m_pInImage && m_pInImage->Width() == 0)
    LSKX2_THROW_MSG("Input image's width not valid.", eErrBitmapDimension);
  if (m_pInImage && m_pInImage->Height() == 0)
    LSKX2_THROW_MSG("Input image's height not valid.", eErrBitmapDimension);
  if (!m_pInImage)
    LSKX2_THROW_MSG("Input image pointer not assigned.", eErrBadPointer);
  if (!m_pOutImage)
    LSKX2_THROW_MSG("Output image pointer not assigned.", eErrBadPointer);
}

int64_t ClIpAutoRoll5::MillisecondsSince(int64_t tFrom) const
{
  return (m_pClock->NowMicroseconds() - tFrom) / 1000;
}

void ClIpAutoRoll5::Reset()
{
  m_lDefects.clear();
  m_nState = eIdle;
  m_Frame.Clear();
  m_Rolled.Clear();
  m_FrameMask.Clear();
  m_RolledMask.Clear();
  m_bFingerPresent = 0;
  m_nDirection = eUndecided;
  m_nReturnCode = 0;
  m_ShiftDetection.Reset();
  m_nCountRight = m_nCountLeft = 0;
  m_dAngleMin = 999.0;
  m_dAngleMax = 0.0;
  m_nRefCenter = -1;
  m_aVelocity.Clear();
  m_nLostFrames = 0;
  m_nSeriesLen = m_nMergedLen = m_nMergedWidth = m_nRollDuration = 0;
}

void ClIpAutoRoll5::RestartRoll()
{
  m_lDefects.clear();
  m_nState = eRolling;
  m_tRollStart = m_tLastSample = m_pClock->NowMicroseconds();
  m_nSeriesLen = m_nMergedLen = m_nMergedWidth = m_nRollDuration = 0;
  m_nReturnCode = m_nLostFrames = m_bNoOverlap = 0;
  m_nDirection = eUndecided;
  m_nCountRight = m_nCountLeft = 0;
  m_Rolled.Copy(m_Frame);
  m_RolledMask.Copy(m_FrameMask);
  m_nMergeModeOfRoll = m_nMergeMode;
  if (m_nMergeModeOfRoll == eMergeRegistered &&
      (m_Warped.Width() != m_Frame.Width() || m_Warped.Height() != m_Frame.Height())) {
    m_Registration.Prepare(m_Frame.Width(), m_Frame.Height());
    m_Warped.Create(eUInt8, m_Frame.Width(), m_Frame.Height(), 1);
  }
  {
    std::unique_lock<std::shared_mutex> lock(m_AreaLock);
    m_ShiftAreas.clear();
  }
  m_nMinLeft = m_nMaxRight = m_nFirstLeft = m_nFirstRight = -1;
  m_ShiftDetection.Reset();
  m_nRefCenter = -1;
  m_dAngleMax = 0.0;
  m_dAngleMin = 999.0;
  m_aVelocity.Clear();
}

void ClIpAutoRoll5::SetRollShiftAreaMode(int32_t nMode)
{
  m_nRollShiftAreaMode = nMode < 2 ? 1 : (nMode > 3 ? 3 : nMode);
}

bool ClIpAutoRoll5::HasDefect(int32_t nCode) const
{
  return std::find(m_lDefects.begin(), m_lDefects.end(), nCode) != m_lDefects.end();
}

int32_t ClIpAutoRoll5::GetResultCode()
{
  if (m_nReturnCode != 0)
    return m_nReturnCode;
  // -807 to -810 only come with -806 and stay details of the diagnostics.
  for (int32_t nCode : {eErrRolledBackroll, eErrRolledTooFast, eErrRolledSizeTooSmall,
                        eErrRolledShifted, eErrRolledOutOfRegion}) {
    if (HasDefect(nCode)) {
      m_nReturnCode = nCode;
      break;
    }
  }
  return m_nReturnCode;
}

boost::property_tree::ptree ClIpAutoRoll5::GetRollShiftAreas() const
{
  std::shared_lock<std::shared_mutex> lock(m_AreaLock);
  return m_ShiftAreas;
}

int32_t ClIpAutoRoll5::Process()
{
  const int32_t nPelsX = m_pInImage->PelsX(), nPelsY = m_pInImage->PelsY();
  // Phase timing for benchmarks only; the roll's own time comes from its clock.
  double dLap = m_pPhaseTimes && m_pPhaseTimes->pfnSeconds ? m_pPhaseTimes->pfnSeconds() : 0.0;
  auto lap = [&](double StPhaseTimes::*pPhase) {
    if (m_pPhaseTimes && m_pPhaseTimes->pfnSeconds) {
      const double d = m_pPhaseTimes->pfnSeconds();
      m_pPhaseTimes->*pPhase += d - dLap;
      dLap = d;
    }
  };
  TakeFrame();
  m_bFingerPresent = DetectFinger() ? 1 : 0;
  if (m_nState == eRolling &&
      (m_nSeriesLen >= kMaxSeriesLen || MillisecondsSince(m_tLastSample) > kMaxStallMs))
    m_bFingerPresent = 0;

  const int32_t nPrevious = m_nState;
  AdvanceState();
  lap(&StPhaseTimes::dDetect);

  m_Contour.Clear();
  if (m_nSeriesLen != 0) {
    m_Contour.Build(m_FrameMask);
    if (m_Contour.HasCenter()) {
      if (m_nFirstLeft < 0)
        m_nFirstLeft = m_Contour.m_nLeftmost;
      if (m_nFirstRight < 0)
        m_nFirstRight = m_Contour.m_nRightmost;
      m_nMinLeft =
          m_nMinLeft < 0 ? m_Contour.m_nLeftmost : std::min(m_nMinLeft, m_Contour.m_nLeftmost);
      m_nMaxRight = std::max(m_nMaxRight, m_Contour.m_nRightmost);
    }
  }
  lap(&StPhaseTimes::dContour);

  if (m_nState == eFinished) {
    if (m_nReturnCode == 0)
      CheckRollQuality();
    if (nPrevious == eRolling) {
      const bool bShifted = HasDefect(eErrRolledShifted);
      boost::property_tree::ptree areas;
      const bool bShift = m_ShiftDetection.Detect(areas, bShifted, m_nRollShiftAreaActivation >= 1);
      if (bShift && !bShifted)
        m_lDefects.push_back(eErrRolledShifted);
      std::unique_lock<std::shared_mutex> lock(m_AreaLock);
      m_ShiftAreas.clear();
      m_ShiftAreas.swap(areas);
    }
    lap(&StPhaseTimes::dChecks);
  } else if (!HasDefect(eErrRolledBackroll)) {
    if (Merge()) {
      ClTpIpOr<uint8_t> orMasks;
      orMasks.m_pInImage1 = &m_RolledMask;
      orMasks.m_pInImage2 = &m_FrameMask;
      orMasks.m_pOutImage = &m_RolledMask;
      orMasks.Process();
      const unsigned nSample = VelocitySample();
      if (nSample != 0)
        m_aVelocity.Add(nSample);
    }
    lap(&StPhaseTimes::dMerge);
  }

  WriteOutput();
  m_pOutImage->SetPels(nPelsX, nPelsY);
  if (m_pOutMask) {
    m_pOutMask->Copy(m_RolledMask);
    m_pOutMask->SetPels(nPelsX, nPelsY);
  }
  return GetResultCode();
}

void ClIpAutoRoll5::TakeFrame()
{
  const ClImage& in = *m_pInImage;
  const int32_t nWidth = in.Width() - 2 * m_nBorderSide;
  const int32_t nHeight = in.Height() - m_nBorderTop;
  // Only a frame smaller than the engine's can be eaten up by the borders.
  if (nWidth < 1 || nHeight < 1)
    LSKX2_THROW_MSG("Input image smaller than the borders.", eErrBitmapDimension);
  if (m_Rolled.Width() != nWidth || m_Rolled.Height() != nHeight || !m_Rolled.Data()) {
    // Frames of another size cannot continue a roll: it starts again from idle.
    if (m_Rolled.Data())
      Reset();
    m_Rolled.Create(eUInt8, nWidth, nHeight, 1);
    m_Frame.Create(eUInt8, nWidth, nHeight, 1);
    m_Rolled.Fill(static_cast<unsigned char>(255));
  }
  if (m_nBorderSide == 0 && m_nBorderTop == 0) {
    Invert(*m_pInImage, m_Frame);
    return;
  }
  Invert(*m_pInImage, m_Cut);
  ClTpIpCut<uint8_t, uint8_t> cut;
  cut.m_pInImage = &m_Cut;
  cut.m_pOutImage = &m_Frame;
  cut.m_nX0 = m_nBorderSide;
  cut.m_nY0 = 0;
  cut.m_nDestWidth = nWidth;
  cut.m_nDestHeight = nHeight;
  cut.Process();
}

void ClIpAutoRoll5::StartSeries()
{
  RestartRoll();
  m_dLastAngle = -1.0;
  m_nLastCenter = -1;
  m_nState = eSettling;
  m_RolledMask.Copy(m_FrameMask);
  m_Rolled.Copy(m_Frame);
}

bool ClIpAutoRoll5::FingerJumped()
{
  if (m_RolledMask.Width() != m_FrameMask.Width() || m_RolledMask.Height() != m_FrameMask.Height())
    return true;
  ClTpIpDelta<uint8_t, int32_t> delta;
  delta.m_pInImage1 = &m_FrameMask;
  delta.m_pInImage2 = &m_RolledMask;
  delta.m_pOutImage = &m_Work;
  delta.Process();
  m_Histogram.Create(m_Work);
  return m_Histogram.Bin(255) > kJumpPixels;
}

void ClIpAutoRoll5::AdvanceState()
{
  if (m_nState == eIdle || m_nState == eFinished) {
    if (m_bFingerPresent)
      StartSeries();
    return;
  }
  if (m_bFingerPresent && !m_bNoOverlap) {
    m_nLostFrames = 0;
    if (m_bStartSettling && m_nSeriesLen <= m_nSettleFrames) {
      if (FingerJumped()) {
        StartSeries();
        return;
      }
      m_nState = eSettling;
      ++m_nSeriesLen;
      m_Rolled.Copy(m_Frame);
      m_RolledMask.Copy(m_FrameMask);
      return;
    }
    if (m_nState == eSettling) {
      m_Rolled.Copy(m_Frame);
      m_RolledMask.Copy(m_FrameMask);
    }
    ++m_nSeriesLen;
    m_nState = eRolling;
    return;
  }
  if (++m_nLostFrames >= m_nLostFrameLimit) {
    m_nState = eFinished;
    m_nRollDuration = static_cast<int32_t>(MillisecondsSince(m_tRollStart));
  }
}

unsigned ClIpAutoRoll5::VelocitySample()
{
  if (!m_Contour.HasCenter())
    return 0;
  const int64_t tNow = m_pClock->NowMicroseconds();
  if (m_nLastCenter < 0) {
    m_nLastCenter = m_Contour.m_nMeanCenter;
    m_tLastSample = tNow;
    return 0;
  }
  const int32_t d = std::abs(m_Contour.m_nMeanCenter - m_nLastCenter);
  const int64_t t = (tNow - m_tLastSample) / 1000;
  m_nLastCenter = m_Contour.m_nMeanCenter;
  m_tLastSample = tNow;
  // A sample within the same millisecond divides by zero as floats do; the cast of the
  // infinite quotient is then held at the largest sample.
  const double v = double(d) / double(t) * 1000.0;
  if (!(v < 4294967295.0))
    return v != v ? 0u : 4294967295u;
  return static_cast<unsigned>(v);
}

void ClIpAutoRoll5::WriteOutput()
{
  if (m_nBorderSide == 0 && m_nBorderTop == 0) {
    Invert(m_Rolled, *m_pOutImage);
    return;
  }
  ClTpIpImageExtension<uint8_t> extend;
  extend.m_pInImage = &m_Rolled;
  extend.m_pOutImage = &m_Extended;
  extend.m_nLeft = extend.m_nRight = m_nBorderSide;
  extend.m_nBottom = m_nBorderTop;
  extend.m_nFillValue = 255;
  extend.Process();
  Invert(m_Extended, *m_pOutImage);
}
