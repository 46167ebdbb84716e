#pragma once
// ClMVLiveCaptureBase: what a scanner handle knows of its capture engine, and the state
// common to the engines of one scanner family. Operations raise ClException; the handle
// turns them into codes.
//
// The finger state, score, condition and results are written by worker threads and read
// by application threads without a lock; they are atomics so that a read is never torn.
#include <boost/noncopyable.hpp>
#include <boost/thread/mutex.hpp>

#include <atomic>
#include <cstdint>

class ClImage;
class ClRDMVScanAPIHandleBase;

class ClMVLiveCaptureBase : private boost::noncopyable
{
public:
  // Engine capture modes; the public modes 0 to 5 map onto them in the handle.
  enum ECaptureMode : int32_t {
    eCaptureSingleShot = 1,
    eCaptureLiveness = 2,
    eCapturePlain = 3,
    eCaptureRoll = 4,
    eCaptureTriggered = 5,
    eCapturePreview = 6
  };
  // Finger states: in the plain modes none, moving, still and accepted; in roll mode
  // idle, rolling, finished with a result.
  enum EFingerState : int32_t { eStateNone = 0, eStateMoving = 1, eStateStable = 2 };

  ClMVLiveCaptureBase() = default;
  virtual ~ClMVLiveCaptureBase();

  // Not owned: the device belongs to the handle and outlives the engine.
  virtual void SetDevice(ClRDMVScanAPIHandleBase* pDevice);
  virtual void Start() = 0;
  // Restarts the roll when bDo is set.
  virtual void ResetRoll(bool bDo) = 0;
  // Takes one frame on the caller's thread.
  virtual void Trigger() = 0;
  // The capture result, the latest preview and the roll so far. The status is the finger
  // state (2 accepted); the score that of the fake finger check.
  virtual void GetImage(ClImage& image, uint32_t* pnStatus, double* pdScore) = 0;
  virtual void GetPreviewImage(ClImage& image, uint32_t* pnStatus, double* pdScore) = 0;
  virtual void GetRollImage(ClImage& image, uint32_t* pnStatus, double* pdScore) = 0;
  virtual void CheckArgument(const void* pX, const void* pY) = 0;
  // Id 0: the device library's version; 1 "FW:", 2 "FPGA:", 3 "HW:", 4 "LIB:" words of the
  // device's version text. *pnSize receives the needed size with the terminator; -702
  // when the caller's room is smaller or pText is null.
  virtual void GetVersionInfo(uint32_t nId, char* pText, uint64_t* pnSize);
  // The reserved pass-through of the device, which no KX device serves (-103).
  virtual void ForwardToDevice(uint32_t nA, void* pB, void* pC);
  virtual void SetCaptureMode(int32_t nMode) = 0;
  virtual int32_t GetCaptureMode() const { return m_nMode.load(); }
  virtual void Reserved() {}

  int32_t GetRollResult() const { return m_nRollResult.load(); }
  int32_t GetState() const { return m_nState.load(); }
  // Scanner condition, 0 clean to 100 very dirty.
  int32_t GetCondition() const { return m_nCondition.load(); }
  int32_t GetDetectResult() const { return m_nDetectResult.load(); }

protected:
  std::atomic<double> m_dScore{0.0};
  std::atomic<int32_t> m_nDetectResult{0};
  std::atomic<int32_t> m_nCondition{0};
  // Kept for engines of other families; no operation here takes it.
  boost::mutex m_Mutex;
  ClRDMVScanAPIHandleBase* m_pDevice = nullptr;
  std::atomic<int32_t> m_nMode{eCaptureSingleShot};
  std::atomic<int32_t> m_nState{-1};
  std::atomic<int32_t> m_nRollResult{0};
};
