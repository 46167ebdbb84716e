#pragma once
// One open KX2 scanner: the device wrapper, the capture engine and the machine-wide claim
// of the scanner. Maps the public capture modes to the engine's, copies images out to
// the caller and defines the handle's properties; the capture logic is the engine's.
#include "device/RDKX2ScanAPIWrapper.h"
#include "sdk/LiveScannerKX2.h"
#include "sdk/SDKHandleBase.h"

#include <cstdint>
#include <mutex>

class ClImage;
class ClInterprocessLock;
class ClKX2LiveCaptureR2;

class ClKX2Handle : public TSDKHandleBase<ClKX2Handle, ClLiveScannerKX2>
{
public:
  static constexpr int32_t kImageWidth = 800, kImageHeight = 750, kImageDpi = 500,
                           kSerialRecordSize = 16;

  ClKX2Handle();
  ~ClKX2Handle() override;

  // The handle behind an export's argument, leased for the call: a null handle is -42
  // before anything else.
  static TpHandleLease<ClKX2Handle> FromExport(LS_KX2_HANDLE h);
  // LS_KX2CloseScanner: the handle is refused from now on, calls inside it are woken and
  // waited for, then the scanner is closed and the handle freed; *pRef becomes null.
  static void CloseExport(LS_KX2_HANDLE* pRef);
  // The last LS_KX2Uninitialize: the calls inside every open handle are woken and waited
  // for, then its scanner is closed, its threads end and its claim goes. The handle
  // itself stays: refused while the SDK is gone, closable (and no more) after.
  static void CloseAll() noexcept;

  // nDevice is the interface number the enumeration gave for szSerial.
  void Open(uint32_t nDevice, const char* szSerial);
  void Close();

  void SetCaptureMode(uint32_t nMode);
  void GetCaptureMode(uint32_t* pnMode);
  void Trigger();

  void GetImage(uint8_t* pImage, double* pdScore, uint8_t* pbFinger, int32_t* pnStatus);
  void GetPreviewImage(uint8_t* pImage, double* pdScore, uint8_t* pbFinger, int32_t* pnStatus);
  void GetRollImage(uint8_t* pImage, double* pdScore, uint8_t* pbFinger, int32_t* pnStatus);
  // Every kind of image has the same size and resolution, whatever the mode.
  void GetImageSize(uint64_t* pnWidth, uint64_t* pnHeight) const;
  void GetImageDPI(uint64_t* pnX, uint64_t* pnY) const;

  void GetScannerCondition(uint32_t* pnCondition, uint32_t* pnReserved);
  void GetSerialNumber(char* pSerial);
  void SetLED(uint8_t nLed, uint8_t nState);
  // The device's version text; on a failure *pnSize still gets the size the device
  // reported, so a caller can retry with that much room.
  void GetDeviceVersion(char* pText, uint32_t* pnSize);
  void ExtendedAccess(int32_t nId, uint8_t* pData, uint64_t* pnSize);

  void RegisterParameters(ClParameterContainer* pTable) override;

private:
  enum EImageKind { eImageFinal, eImagePreview, eImageRoll };

  // After the block was retired: wakes and waits out the calls inside, then closes.
  void Quiesce(SafeHandle* pBlock);
  // Ends the engine's waits for images, so that calls still inside return.
  void WakeWaiters();

  // The engine, or -2 "Component not initialized yet." before Open.
  ClKX2LiveCaptureR2& Engine() const;
  void CopyImage(EImageKind eKind, uint8_t* pImage, double* pdScore, uint8_t* pbFinger,
                 int32_t* pnStatus);

  // Accessors of the properties that are not plain engine fields.
  static uint32_t GetAverageLiveness(ClKX2Handle* p);
  static void SetAverageLiveness(ClKX2Handle* p, const uint32_t* pValue);
  static uint32_t GetResetImage(ClKX2Handle* p);
  static void SetResetImage(ClKX2Handle* p, const uint32_t* pValue);
  // The engine-field properties of a handle without an engine: -2, as the accessors.
  template <class T>
  static T GetUnopened(ClKX2Handle* p)
  {
    p->Engine();
    return T();
  }
  template <class T>
  static void SetUnopened(ClKX2Handle* p, const T*)
  {
    p->Engine();
  }
  static uint32_t GetStartSettling(ClKX2Handle* p);
  static void SetStartSettling(ClKX2Handle* p, const uint32_t* pValue);
  static int32_t GetMergeMode(ClKX2Handle* p);
  static void SetMergeMode(ClKX2Handle* p, const int32_t* pValue);

  ClRDKX2ScanAPIWrapper m_Scanner;
  ClKX2LiveCaptureR2* m_pCapture = nullptr;
  // Guards m_pCapture between Open and Close against a close's wake-up from another thread.
  std::mutex m_EngineMutex;
  ClInterprocessLock* m_pLock = nullptr;
  // Where accessor-bound properties keep their defaults; never read for a value.
  uint32_t m_nAverageDefault = 0;
  uint32_t m_nResetDefault = 0;
  uint32_t m_nSettlingDefault = 1;
  int32_t m_nMergeModeDefault = 0;
  uint32_t m_nUnopenedDefault = 0;
  int32_t m_nUnopenedSensitivity = 3;
};
