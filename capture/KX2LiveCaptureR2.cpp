// The engine's life: construction with the fake finger binding, stopping and starting
// workers, the trigger, the result wait, the condition ring and the small accessors.
#include "capture/KX2LiveCaptureR2.h"

#include "capture/KX2FrameJudge.h"
#include "device/RDKXScanAPIWrapper.h"
#include "device/VeltranoFakeFingerDetectionKX2Wrapper.h"
#include "base/Exceptions.h"

#include <boost/bind/bind.hpp>

#include <chrono>
#include <mutex>
#include <thread>

#include <pthread.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

// Worker priorities as nice values of the calling thread; a refusal is ignored.
constexpr int kNiceIdle = 19, kNiceBelowNormal = 1;

void SetOwnNice(int nNice)
{
  const pid_t tid = static_cast<pid_t>(::syscall(SYS_gettid));
  (void)::setpriority(PRIO_PROCESS, static_cast<id_t>(tid), nNice);
}

} // namespace

ClKX2LiveCaptureR2::ClKX2LiveCaptureR2()
{
  Construct(ClVeltranoFakeFingerDetectionKX2Wrapper::szSearchPath,
            ClVeltranoFakeFingerDetectionKX2Wrapper::szLibraryFile);
}

ClKX2LiveCaptureR2::ClKX2LiveCaptureR2(const char* szFakeFingerPath, const char* szFakeFingerFile)
{
  Construct(szFakeFingerPath, szFakeFingerFile);
}

namespace {
std::mutex g_DefaultTuningMutex;
ClKX2LiveCaptureR2::StTuning g_DefaultTuning;
} // namespace

void ClKX2LiveCaptureR2::SetDefaultTuning(const StTuning& tuning)
{
  std::lock_guard<std::mutex> lock(g_DefaultTuningMutex);
  g_DefaultTuning = tuning;
}

void ClKX2LiveCaptureR2::Construct(const char* szFakeFingerPath, const char* szFakeFingerFile)
{
  {
    std::lock_guard<std::mutex> lock(g_DefaultTuningMutex);
    SetTuning(g_DefaultTuning);
  }
  m_RawFrames.SetBuffers(&m_aRawBitmaps[0], &m_aRawBitmaps[1], &m_aRawBitmaps[2]);
  m_FlippedFrames.SetBuffers(&m_aFlipped[0], &m_aFlipped[1], &m_aFlipped[2]);
  m_PreviewFrames.SetBuffers(&m_aPreview[0], &m_aPreview[1], &m_aPreview[2]);
  m_RollFrames.SetBuffers(&m_aRollImages[0], &m_aRollImages[1], &m_aRollImages[2]);
  CreateRoll();
  bool bAverage = false;
  FDHandle hHandle = nullptr;
  // Never raises: without the library the engine works on and refuses only mode 2.
  ClVeltranoFakeFingerDetectionKX2Wrapper::Start(m_pFakeFinger, hHandle, bAverage, szFakeFingerPath,
                                                 szFakeFingerFile);
  m_hFakeFinger = hHandle;
  m_bAverageLiveness = bAverage;
}

ClKX2LiveCaptureR2::~ClKX2LiveCaptureR2()
{
  StopWorkers();
  FDHandle hHandle = m_hFakeFinger;
  ClVeltranoFakeFingerDetectionKX2Wrapper::End(m_pFakeFinger, hHandle);
  m_hFakeFinger = nullptr;
  DeleteRoll();
}

void ClKX2LiveCaptureR2::SetDevice(ClRDMVScanAPIHandleBase* pDevice)
{
  ClMVLiveCaptureBase::SetDevice(pDevice);
  m_pKXDevice = dynamic_cast<ClRDKXScanAPIWrapper*>(pDevice);
}

ClRDKXScanAPIWrapper& ClKX2LiveCaptureR2::Device() const
{
  if (!m_pKXDevice)
    LSKX2_THROW_MSG("No KX device attached to the capture engine.", eErrNotInitialized);
  return *m_pKXDevice;
}

void ClKX2LiveCaptureR2::StopWorkers()
{
  boost::thread* apThreads[] = {&m_thFilter,    &m_thPreview, &m_thDetect,
                                &m_thTriggered, &m_thRoll,    &m_thRollMask};
  for (boost::thread* p : apThreads)
    p->interrupt();
  m_FlippedFrames.Wake();
  m_RawFrames.Wake();
  m_RollFrames.Wake();
  m_PreviewFrames.Wake();
  for (boost::thread* p : apThreads)
    if (p->joinable())
      p->join();
  // No worker is left in a wait and no stale "new frame" flag survives.
  m_FlippedFrames.Wake();
  m_RawFrames.Wake();
  m_FlippedFrames.Wake();
}

void ClKX2LiveCaptureR2::StartWorker(boost::thread& th, const char* szName, int nNice,
                                     void (ClKX2LiveCaptureR2::*pfnWorker)())
{
  th = boost::thread([this, szName, nNice, pfnWorker] { RunWorker(szName, nNice, pfnWorker); });
}

void ClKX2LiveCaptureR2::RunWorker(const char* szName, int nNice,
                                   void (ClKX2LiveCaptureR2::*pfnWorker)())
{
  // Named so that a debugger or ps shows which worker is which.
  pthread_setname_np(pthread_self(), szName);
  if (nNice != 0 && m_bLowPriority)
    SetOwnNice(nNice);
  // A failing worker ends quietly; the next wait for its output reports the loss.
  try {
    (this->*pfnWorker)();
  } catch (const boost::thread_interrupted&) {
  } catch (const std::exception&) {
  }
}

bool ClKX2LiveCaptureR2::Running() { return !boost::this_thread::interruption_requested(); }

void ClKX2LiveCaptureR2::StartModeWorkers(int32_t nMode)
{
  switch (nMode) {
  case eCaptureLiveness:
  case eCapturePlain:
    StartWorker(m_thFilter, "kx2-filter", kNiceIdle, &ClKX2LiveCaptureR2::FilterWorker);
    StartWorker(m_thDetect, "kx2-detect", kNiceBelowNormal, &ClKX2LiveCaptureR2::DetectWorker);
    break;
  case eCapturePreview:
    StartWorker(m_thFilter, "kx2-filter", kNiceIdle, &ClKX2LiveCaptureR2::FilterWorker);
    StartWorker(m_thPreview, "kx2-preview", kNiceBelowNormal, &ClKX2LiveCaptureR2::PreviewWorker);
    break;
  case eCaptureRoll:
    StartWorker(m_thRoll, "kx2-roll", 0, &ClKX2LiveCaptureR2::RollWorker);
    StartWorker(m_thRollMask, "kx2-rollmask", 0, &ClKX2LiveCaptureR2::RollMaskWorker);
    break;
  case eCaptureTriggered:
    StartWorker(m_thTriggered, "kx2-triggered", 0, &ClKX2LiveCaptureR2::TriggeredWorker);
    break;
  default:
    break;
  }
}

ClKX2LiveCaptureR2::ClDeviceClaim::ClDeviceClaim(ClKX2LiveCaptureR2& engine)
  : m_Lock(engine.m_DeviceMutex, boost::defer_lock)
{
  ++engine.m_nDeviceClaims;
  m_Lock.lock();
  --engine.m_nDeviceClaims;
}

void ClKX2LiveCaptureR2::Trigger()
{
  // An application that triggers in a loop would win the device lock again and again:
  // whoever else waits for it goes first.
  for (int i = 0; m_nDeviceClaims > 0; ++i) {
    if (i < 64)
      std::this_thread::yield();
    else
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  // The device lock keeps a mode change from resizing the frames under the capture.
  boost::lock_guard<boost::mutex> device(m_DeviceMutex);
  const int32_t nMode = m_nMode;
  uint8_t nDose;
  switch (nMode) {
  case eCaptureRoll:
  case eCaptureTriggered:
    nDose = 2;
    break;
  case eCaptureLiveness:
  case eCapturePlain:
  case eCapturePreview:
    nDose = 9;
    break;
  default:
    LSKX2_THROW_MSG("Current capture mode is not implemented yet. (should never happen)",
                    eErrUnsupportedFeature);
  }
  ClTpTripleWrite<ClBitmap> frame(m_RawFrames);
  const bool bOk = Device().GetImage(&*frame, nDose, 255);
  m_anRawFrameTimes[&*frame - m_aRawBitmaps] = Device().FrameTime();
  frame.Publish();
  if (!bOk)
    LSKX2_THROW_MSG("scanner disconnected", eErrDeviceDisconnected);
}

void ClKX2LiveCaptureR2::WaitResult(int32_t nMilliseconds, uint32_t nModeEpoch)
{
  if (!m_bRollFrameReady) {
    boost::unique_lock<boost::mutex> lock(m_WaitMutex);
    // The end and a mode change are flagged before their notification under this lock, so
    // neither slips in between the test and the wait. Any wake-up ends the wait: a missed
    // notification waits for the next frame.
    const bool bWoken =
        !m_bEnding && nModeEpoch == m_nModeEpoch &&
        m_ResultReady.timed_wait(lock, boost::posix_time::milliseconds(nMilliseconds));
    if (m_bEnding)
      LSKX2_THROW_MSG("timeout getting bitmap", eErrDeviceDisconnected);
    if (nModeEpoch != m_nModeEpoch)
      LSKX2_THROW_MSG("Invalid capture mode.", eErrInvalidState);
    if (!bWoken)
      LSKX2_THROW_MSG("timeout getting bitmap", eErrDeviceDisconnected);
  }
  m_bRollFrameReady = false;
}

void ClKX2LiveCaptureR2::EndWaits()
{
  m_bEnding = true;
  NotifyResult();
  m_PreviewFrames.Wake();
}

void ClKX2LiveCaptureR2::NotifyResult()
{
  boost::lock_guard<boost::mutex> lock(m_WaitMutex);
  m_ResultReady.notify_all();
}

void ClKX2LiveCaptureR2::ClearCondition()
{
  boost::lock_guard<boost::mutex> lock(m_ConditionMutex);
  m_aConditionSamples.Resize(kRingSize);
  for (uint32_t i = 0; i < kRingSize; ++i)
    m_aConditionSamples[i] = 0;
  m_nConditionPos = 0;
  m_nCondition = 0;
}

void ClKX2LiveCaptureR2::UpdateCondition(int32_t nSample)
{
  boost::lock_guard<boost::mutex> lock(m_ConditionMutex);
  // Before the first mode set the ring has no entries yet.
  if (m_aConditionSamples.Size() != kRingSize)
    return;
  m_aConditionSamples[static_cast<uint32_t>(m_nConditionPos % kRingSize)] = nSample;
  ++m_nConditionPos;
  int32_t aSamples[kRingSize];
  for (uint32_t i = 0; i < kRingSize; ++i)
    aSamples[i] = m_aConditionSamples[i];
  m_nCondition = ClKX2FrameJudge::ConditionValue(aSamples, kRingSize);
}

void ClKX2LiveCaptureR2::ResetRoll(bool bDo)
{
  if (!bDo)
    return;
  ClDeviceClaim device(*this);
  ResetRollLocked();
}

void ClKX2LiveCaptureR2::ResetRollLocked()
{
  int32_t w = 0, h = 0;
  Device().GetImageSize(&w, &h);
  {
    boost::lock_guard<boost::mutex> result(m_ResultMutex);
    m_Result.Create(eUInt8, w, h, 1);
  }
  boost::lock_guard<boost::mutex> roll(m_RollMutex);
  m_bRollFrameReady = false;
  ResetRollProcessor();
}

void ClKX2LiveCaptureR2::SetTuning(const StTuning& tuning)
{
  m_nWorkerMs = tuning.nWorkerMs;
  m_nPreviewMs = tuning.nPreviewMs;
  m_nResultMs = tuning.nResultMs;
  m_bLowPriority = tuning.bLowPriority;
}

void ClKX2LiveCaptureR2::CheckArgument(const void* /*pX*/, const void* pY)
{
  if (!pY)
    LSKX2_THROW(eErrInvalidParameter);
}

void ClKX2LiveCaptureR2::GetRawImage(ClImage& image)
{
  boost::lock_guard<boost::mutex> roll(m_RollMutex);
  boost::lock_guard<boost::mutex> result(m_ResultMutex);
  image.Copy(m_Frame);
}

void ClKX2LiveCaptureR2::SetAverageLiveness(uint32_t n)
{
  if (m_nMode == eCaptureLiveness)
    LSKX2_THROW_MSG("Mode must not be switched while liveness detection is active.",
                    eErrInvalidState);
  if (n > 1)
    LSKX2_THROW_MSG("The mode can only be activated (1) or deactivated (0)", eErrInvalidParameter);
  m_bAverageLiveness = n != 0;
}
