// Capture modes: the device set-up of each, and what the three image calls answer.
#include "capture/KX2FramePrep.h"
#include "capture/KX2FrameJudge.h"
#include "capture/KX2LiveCaptureR2.h"
#include "device/RDKX2ScanAPIWrapper.h"
#include "device/VeltranoFakeFingerDetectionKX2Wrapper.h"
#include "masks/IpKX10MaskR2.h"
#include "base/Exceptions.h"

namespace {

constexpr int32_t kBlockSize = 7;

// Creates an 8-bit one-plane image unless it already has that shape: a reader on another
// thread may hold an image of the right shape, which then stays untouched.
void EnsureImage(ClImage& image, int32_t nWidth, int32_t nHeight)
{
  if (image.Data() && image.Width() == nWidth && image.Height() == nHeight &&
      image.DataType() == eUInt8 && image.Planes() == 1)
    return;
  image.Create(eUInt8, nWidth, nHeight, 1);
}

void MakeBlock(uint8_t* pBlock, uint8_t nThird)
{
  pBlock[0] = 0x35;
  pBlock[1] = 0;
  pBlock[2] = nThird;
}

} // namespace

void ClKX2LiveCaptureR2::NormalSetUp(uint8_t* pBlock)
{
  Device().SetImageMode(ClRDKX2ScanAPIWrapper::eModeNormal);
  MakeBlock(pBlock, 8);
  Device().SaveControlBytes(pBlock, false);
}

void ClKX2LiveCaptureR2::RawSetUp(uint8_t* pBlock)
{
  Device().SetImageMode(ClRDKX2ScanAPIWrapper::eModeRaw);
  MakeBlock(pBlock, 0x67);
  Device().SaveControlBytes(pBlock, false);
}

void ClKX2LiveCaptureR2::TryRawSetUp(uint8_t* pBlock) noexcept
{
  try {
    RawSetUp(pBlock);
  } catch (...) {
    // The failure that brought us here is the one reported.
  }
}

void ClKX2LiveCaptureR2::CreateRawFrames()
{
  int32_t w = 0, h = 0;
  Device().GetImageSize(&w, &h);
  for (int i = 0; i < 3; ++i) {
    m_aRawBitmaps[i].Create(w, h, 8);
    m_aRawViews[i].Attach(m_aRawBitmaps[i]);
  }
}

ClImage& ClKX2LiveCaptureR2::RawView(const ClBitmap* pBitmap)
{
  ClImage& view = m_aRawViews[pBitmap - m_aRawBitmaps];
  view.SetPels(kResolution, kResolution);
  return view;
}

void ClKX2LiveCaptureR2::SetCaptureMode(int32_t nMode)
{
  ClearCondition();
  boost::lock_guard<boost::mutex> api(m_ApiMutex);
  if (nMode == m_nMode)
    return;
  // An unknown mode is refused before the workers stop: the old mode stays, and works.
  if (nMode < eCaptureSingleShot || nMode > eCapturePreview)
    LSKX2_THROW_MSG("Unknown capture mode.", eErrUnsupportedFeature);
  // Whichever way the change ends, a wait for a roll of the old mode ends with it.
  struct ClModeEpoch
  {
    ClKX2LiveCaptureR2& engine;
    ~ClModeEpoch()
    {
      ++engine.m_nModeEpoch;
      engine.NotifyResult();
    }
  } epoch{*this};
  StopWorkers();
  // A change that fails half-way leaves the single-shot mode, which has no workers, rather
  // than the old mode without its own.
  try {
    SetUpMode(nMode);
    // The workers read the mode, so it is stored before they start.
    m_nMode = nMode;
    StartModeWorkers(nMode);
  } catch (...) {
    StopWorkers();
    m_nMode = eCaptureSingleShot;
    throw;
  }
}

void ClKX2LiveCaptureR2::SetUpMode(int32_t nMode)
{
  m_nCapturedLife = 0;
  m_nDetectResult = 0;
  ClDeviceClaim device(*this);
  uint8_t block[kBlockSize] = {};
  Device().RestoreControlBytes(block);
  switch (nMode) {
  case eCaptureSingleShot:
    NormalSetUp(block);
    break;
  case eCaptureLiveness:
    if (!m_hFakeFinger) {
      NormalSetUp(block);
      LSKX2_THROW_MSG("LiveDetection not available in this release.", eErrUnsupportedFeature);
    }
    // The library's answer is not looked at: scoring works either way.
    m_pFakeFinger->FD_KX2SetPropertyA(m_hFakeFinger,
                                      ClVeltranoFakeFingerDetectionKX2Wrapper::szAverageProperty,
                                      m_bAverageLiveness ? "True" : "False");
    [[fallthrough]];
  case eCapturePlain:
  case eCapturePreview:
    RawSetUp(block);
    CreateRawFrames();
    for (ClImage& image : m_aFlipped)
      EnsureImage(image, kOutWidth, kOutHeight);
    if (nMode != eCapturePreview) {
      m_nState = eStateNone;
      m_nFrameCount = 0;
    }
    break;
  case eCaptureRoll:
  case eCaptureTriggered:
    NormalSetUp(block);
    CreateRawFrames();
    if (nMode == eCaptureRoll) {
      for (int i = 0; i < 3; ++i) {
        EnsureImage(m_aPreview[i], kOutWidth, kOutHeight);
        EnsureImage(m_aRollImages[i], kOutWidth, kOutHeight);
      }
      // A state left over from a plain capture would read as a finished roll.
      m_nState = eStateNone;
    }
    {
      int32_t w = 0, h = 0;
      Device().GetImageSize(&w, &h);
      m_SpareBitmap.Create(w, h, 8);
    }
    ResetRollLocked();
    break;
  default:
    break;
  }
}

void ClKX2LiveCaptureR2::CaptureNormal(uint8_t* pBlock, StNormalFrame& frame, ClImage& masked,
                                       ClIpKX10MaskR2& mask)
{
  NormalSetUp(pBlock);
  int32_t w = 0, h = 0;
  Device().GetImageSize(&w, &h);
  if (!frame.bitmap.Header() || frame.bitmap.HeaderInfo().biWidth != w ||
      frame.bitmap.HeaderInfo().biHeight != h) {
    frame.bitmap.Create(w, h, 8);
    frame.view.Attach(frame.bitmap);
  }
  if (!Device().GetImage(&frame.bitmap, 2, 255))
    LSKX2_THROW_MSG("scanner disconnected", eErrDeviceDisconnected);
  frame.view.SetPels(kResolution, kResolution);
  KX2FlipRows(frame.view, frame.flipped);
  mask.m_nSensitivity = Sensitivity();
  mask.Compute(&frame.flipped, &masked, 500, 1.0);
}

void ClKX2LiveCaptureR2::GetImage(ClImage& image, uint32_t* pnStatus, double* pdScore)
{
  if (!pnStatus || !pdScore)
    LSKX2_THROW(eErrBadPointer);
  boost::unique_lock<boost::mutex> api(m_ApiMutex);
  const int32_t nMode = m_nMode;
  switch (nMode) {
  case eCaptureSingleShot:
  case eCaptureLiveness:
  case eCapturePlain:
  case eCapturePreview: {
    ClIpKX10MaskR2 mask(false);
    StNormalFrame frame;
    {
      ClDeviceClaim device(*this);
      // The liveness capture of a still finger is handed out once.
      if (nMode == eCaptureLiveness && m_nCapturedLife >= 1) {
        image.Copy(m_Captured);
        m_nCapturedLife = 0;
        *pnStatus = eStateStable;
        *pdScore = m_dScore;
        return;
      }
      uint8_t block[kBlockSize] = {};
      try {
        Device().RestoreControlBytes(block);
        CaptureNormal(block, frame, image, mask);
      } catch (...) {
        // The triggers of these modes need the raw set-up back, whatever failed.
        if (nMode != eCaptureSingleShot)
          TryRawSetUp(block);
        throw;
      }
      if (nMode == eCaptureSingleShot) {
        *pnStatus = 0;
        *pdScore = 0.0;
        return;
      }
      RawSetUp(block);
    }
    *pnStatus = ClKX2FrameJudge::HoldsFinger(ClKX2FrameJudge::FingerArea(image)) ? eStateStable
                                                                                 : eStateNone;
    *pdScore = m_dScore;
    return;
  }
  case eCaptureTriggered: {
    // The wait holds no lock that other calls of the handle need; a mode change that
    // comes meanwhile ends it through the epoch.
    const uint32_t nModeEpoch = m_nModeEpoch;
    api.unlock();
    WaitResult(m_nResultMs, nModeEpoch);
    boost::lock_guard<boost::mutex> result(m_ResultMutex);
    image.Copy(m_Result);
    *pnStatus = 0;
    *pdScore = 0.0;
    return;
  }
  default:
    LSKX2_THROW_MSG("Current capture mode is not implemented yet. (should never happen)",
                    eErrUnsupportedFeature);
  }
}

void ClKX2LiveCaptureR2::GetPreviewImage(ClImage& image, uint32_t* pnStatus, double* pdScore)
{
  if (!pnStatus || !pdScore)
    LSKX2_THROW(eErrBadPointer);
  const int32_t nMode = m_nMode;
  if (nMode != eCaptureLiveness && nMode != eCapturePlain && nMode != eCapturePreview)
    LSKX2_THROW_MSG("Invalid capture mode.", eErrInvalidState);
  if (!m_bEnding)
    m_PreviewFrames.WaitMs(m_nPreviewMs);
  if (m_bEnding || !m_PreviewFrames.HasNewData())
    LSKX2_THROW_MSG("device seems to be disconnected", eErrDeviceDisconnected);
  {
    ClTpTripleRead<ClImage> preview(m_PreviewFrames);
    image.Copy(*preview);
  }
  *pnStatus = static_cast<uint32_t>(m_nState.load());
  *pdScore = m_dScore;
}

void ClKX2LiveCaptureR2::GetRollImage(ClImage& image, uint32_t* pnStatus, double* pdScore)
{
  if (!pnStatus || !pdScore)
    LSKX2_THROW(eErrBadPointer);
  const uint32_t nModeEpoch = m_nModeEpoch;
  if (m_nMode != eCaptureRoll)
    LSKX2_THROW_MSG("Invalid capture mode.", eErrInvalidState);
  WaitResult(m_nResultMs, nModeEpoch);
  boost::lock_guard<boost::mutex> result(m_ResultMutex);
  image.Copy(m_Result);
  *pnStatus = static_cast<uint32_t>(m_nState.load());
  *pdScore = 0.0;
}
