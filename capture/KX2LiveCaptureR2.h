#pragma once
// ClKX2LiveCaptureR2: the capture engine of one open KX2 scanner.
//
// No worker ever polls the scanner: the device is read on the application's thread in
// Trigger (and for final images in GetImage), and up to three workers per mode turn the
// frames that arrive into preview, roll and result images. Frames pass between threads
// through triple buffers, newest wins.
//
// Locks nest in this order: m_ApiMutex, m_DeviceMutex, m_RollMutex, m_ResultMutex; the
// wait mutex, the condition ring's mutex and each triple buffer's own mutex are leaves.
// Files: lifecycle and liveness here (KX2LiveCaptureR2.cpp), modes and image calls
// (KX2CaptureModes.cpp), workers (KX2CaptureWorkers.cpp, KX2CaptureRoll.cpp), the JSON
// exchange (KX2ScannerData.cpp).
#include "capture/MVLiveCaptureBase.h"
#include "capture/TpTripleBuffer.h"
#include "model/Bitmap.h"
#include "model/FpImage.h"
#include "model/TpArray.h"
#include "roll/RollClock.h"

#include <boost/property_tree/ptree_fwd.hpp>
#include <boost/thread/condition_variable.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/thread/thread.hpp>

#include <atomic>
#include <cstdint>
#include <iosfwd>

class ClIpAutoRoll5;
class ClIpKX10MaskR2;
class ClRDKXScanAPIWrapper;
class ClVeltranoFakeFingerDetectionKX2Wrapper;

class ClKX2LiveCaptureR2 : public ClMVLiveCaptureBase
{
public:
  // The engine's time limits and worker priorities. Tests shorten the waits; the product
  // keeps the defaults.
  struct StTuning
  {
    int32_t nWorkerMs = 3000;   // a worker's wait for its input
    int32_t nPreviewMs = 10000; // GetPreviewImage's wait for a preview
    int32_t nResultMs = 30000;  // the wait for a roll composite or a triggered result
    bool bLowPriority = true;   // the filter idle, the preview workers below normal
  };

  // Starts the fake finger binding from the product's search path; without the library
  // the engine works and only the liveness mode is refused.
  ClKX2LiveCaptureR2();
  // The same with another place of the liveness library.
  ClKX2LiveCaptureR2(const char* szFakeFingerPath, const char* szFakeFingerFile);
  // Stops the workers and ends the fake finger binding; the device stays open.
  ~ClKX2LiveCaptureR2() override;

  void Start() override {}
  void ResetRoll(bool bDo) override;
  void Trigger() override;
  void GetImage(ClImage& image, uint32_t* pnStatus, double* pdScore) override;
  void GetPreviewImage(ClImage& image, uint32_t* pnStatus, double* pdScore) override;
  void GetRollImage(ClImage& image, uint32_t* pnStatus, double* pdScore) override;
  void CheckArgument(const void* pX, const void* pY) override;
  void SetCaptureMode(int32_t nMode) override;
  // Keeps the KX device behind the family's handle; another kind is refused at first use.
  void SetDevice(ClRDMVScanAPIHandleBase* pDevice) override;
  // The result of the finished roll GetRollImage reported, taken: the state goes idle, so
  // that a result is reported once.
  int32_t TakeRollResult();
  // A deep copy of the last flipped frame of the roll and triggered modes.
  virtual void GetRawImage(ClImage& image);

  // Property "nAverageLivenessScoreMode": takes effect at the next entry into mode 2.
  bool GetAverageLiveness() const { return m_bAverageLiveness.load(); }
  void SetAverageLiveness(uint32_t n);
  // Property "nRollFingerStartMode": settling at the start of a roll.
  uint32_t GetStartSettling();
  void SetStartSettling(uint32_t n);
  // Property "nRollMergeMode": 0 exact, 1 registered, taken at the start of each roll.
  int32_t GetRollMergeMode();
  void SetRollMergeMode(int32_t n);
  // The JSON document of the roll diagnostics and the fake finger library's settings.
  void GetScannerData(std::ostream& stream);
  void SetScannerData(std::istream& stream);

  // Ends every wait of an application thread for an image, now and from now on: the
  // handle is closing. Safe to repeat; a wait that missed the wake-up ends at the next.
  void EndWaits();

  // May be called while workers run; each limit counts from the next wait on.
  void SetTuning(const StTuning& tuning);
  // The tuning engines start with from now on; for suites that reach the engine only
  // through the exports.
  static void SetDefaultTuning(const StTuning& tuning);
  int32_t GetFingerArea() const { return m_nFingerArea.load(); }
  bool HasFakeFingerLibrary() const { return m_hFakeFinger != nullptr; }

  // Properties of the handle, bound to these fields by address.
  uint32_t m_nUseFastMask = 0;
  uint32_t m_nRolledPostProcess = 0;
  int32_t m_nMaskSensitivity = 3;

private:
  static constexpr int32_t kRingSize = 8, kOutWidth = 800, kOutHeight = 750, kResolution = 19685;

  void Construct(const char* szFakeFingerPath, const char* szFakeFingerFile);
  ClRDKXScanAPIWrapper& Device() const;

  // Lifecycle (KX2LiveCaptureR2.cpp).
  void StopWorkers();
  void StartModeWorkers(int32_t nMode);
  void StartWorker(boost::thread& th, const char* szName, int nNice,
                   void (ClKX2LiveCaptureR2::*pfnWorker)());
  void RunWorker(const char* szName, int nNice, void (ClKX2LiveCaptureR2::*pfnWorker)());
  static bool Running();
  // Waits for a roll composite or a triggered result: -60 on timeout or when the engine
  // ends, -50 when the mode changed since nModeEpoch was read.
  void WaitResult(int32_t nMilliseconds, uint32_t nModeEpoch);
  void NotifyResult();
  void ClearCondition();
  void UpdateCondition(int32_t nSample);
  void ResetRollLocked();

  // Modes (KX2CaptureModes.cpp).
  void NormalSetUp(uint8_t* pBlock);
  void RawSetUp(uint8_t* pBlock);
  // RawSetUp on a way out after a failure: a second failure is not reported.
  void TryRawSetUp(uint8_t* pBlock) noexcept;
  // The device set-up and the frames of a mode, under the device lock; the workers are
  // stopped.
  void SetUpMode(int32_t nMode);
  void CreateRawFrames();
  // A normal frame taken apart from the stream, kept so that repeated captures reuse it.
  struct StNormalFrame
  {
    ClBitmap bitmap;
    ClImage view;    // over the bitmap's pixels
    ClImage flipped; // rows in the SDK's order
  };
  // Normal set-up, one normal frame flipped into frame.flipped and masked into masked.
  // Under m_DeviceMutex.
  void CaptureNormal(uint8_t* pBlock, StNormalFrame& frame, ClImage& masked, ClIpKX10MaskR2& mask);
  // The properties as the workers read them each frame, while the application may write.
  int32_t Sensitivity() const { return __atomic_load_n(&m_nMaskSensitivity, __ATOMIC_RELAXED); }
  bool UseFastMask() const { return __atomic_load_n(&m_nUseFastMask, __ATOMIC_RELAXED) != 0; }

  // Workers (KX2CaptureWorkers.cpp); each loops until interrupted.
  void FilterWorker();
  void DetectWorker();
  void PreviewWorker();
  void TriggeredWorker();
  // The normal capture of a still finger in liveness mode and its score.
  void CheckLiveness(StNormalFrame& normal, ClIpKX10MaskR2& mask);
  // Waits for a worker's next input; false when none came.
  template <class T>
  bool WaitInput(ClTpTripleBuffer<T>& buffer)
  {
    buffer.WaitMs(m_nWorkerMs);
    return buffer.HasNewData();
  }
  // The view laid over one of the three raw bitmaps.
  ClImage& RawView(const ClBitmap* pBitmap);

  // The roll processor's side (KX2CaptureRoll.cpp).
  void CreateRoll();
  void DeleteRoll();
  // Under m_RollMutex.
  void ResetRollProcessor();
  void RollWorker();
  void RollMaskWorker();
  // The "ROLLFINGER" part of the scanner data; under m_RollMutex when reading.
  void RollDiagnostics(boost::property_tree::ptree& tree);
  void LoadRollThresholds(const boost::property_tree::ptree& tree);

  ClImage m_Frame;
  ClImage m_Result;
  ClImage m_Unused;
  ClImage m_Captured;
  std::atomic<int32_t> m_nCapturedLife{0};
  TpArrayStatic<int32_t> m_aConditionSamples;
  int32_t m_nConditionPos = 0;
  std::atomic<bool> m_bRollFrameReady{false};
  std::atomic<int32_t> m_nFingerArea{0};
  // Owned; made with the engine and kept for its whole life.
  ClIpAutoRoll5* m_pRoll = nullptr;
  // The device of SetDevice when it is a KX device; null otherwise.
  ClRDKXScanAPIWrapper* m_pKXDevice = nullptr;
  ClBitmap m_aRawBitmaps[3];
  // The device's time of each raw frame (-1: none), written and read with its bitmap.
  int64_t m_anRawFrameTimes[3] = {-1, -1, -1};
  ClTpTripleBuffer<ClBitmap> m_RawFrames;
  // The roll's clock: the time of the frame it processes.
  ClRollFrameClock m_RollClock;
  ClBitmap m_SpareBitmap;
  ClImage m_aFlipped[3];
  ClTpTripleBuffer<ClImage> m_FlippedFrames;
  ClImage m_aPreview[3];
  ClTpTripleBuffer<ClImage> m_PreviewFrames;
  ClImage m_aRollImages[3];
  ClTpTripleBuffer<ClImage> m_RollFrames;
  ClImage m_aRecent[3];
  boost::thread m_thPreview;
  boost::thread m_thDetect;
  boost::thread m_thTriggered;
  boost::thread m_thRoll;
  boost::thread m_thRollMask;
  boost::thread m_thFilter;
  std::atomic<uint64_t> m_nFrameCount{0};
  boost::condition_variable m_ResultReady;
  boost::mutex m_WaitMutex;
  boost::mutex m_ResultMutex;
  boost::mutex m_DeviceMutex;
  boost::mutex m_ApiMutex;
  boost::mutex m_RollMutex;
  ClVeltranoFakeFingerDetectionKX2Wrapper* m_pFakeFinger = nullptr;
  void* m_hFakeFinger = nullptr;
  std::atomic<bool> m_bAverageLiveness{false};

  // Takes m_DeviceMutex ahead of a trigger that waits for it too.
  class ClDeviceClaim
  {
  public:
    explicit ClDeviceClaim(ClKX2LiveCaptureR2& engine);

  private:
    boost::unique_lock<boost::mutex> m_Lock;
  };
  // Threads other than the trigger waiting for m_DeviceMutex.
  std::atomic<int32_t> m_nDeviceClaims{0};
  // Views over the raw bitmaps, laid once per mode so that no frame allocates.
  ClImage m_aRawViews[3];
  // Guards the condition ring, which a mode change clears while workers may write it.
  boost::mutex m_ConditionMutex;
  // The tuning, read by workers while the application may change it.
  std::atomic<int32_t> m_nWorkerMs{StTuning().nWorkerMs};
  std::atomic<int32_t> m_nPreviewMs{StTuning().nPreviewMs};
  std::atomic<int32_t> m_nResultMs{StTuning().nResultMs};
  std::atomic<bool> m_bLowPriority{StTuning().bLowPriority};
  // Counts mode changes, so that a wait for a roll ends when the mode goes.
  std::atomic<uint32_t> m_nModeEpoch{0};
  // Set once the handle closes: no application thread waits any more.
  std::atomic<bool> m_bEnding{false};
};
