#pragma once
// One open device of the KX family over the device library table: opening, identity,
// version text, LEDs, device memory, control bytes, and the translation of the library's
// failures into the SDK's exceptions. Enumeration and the scanner name live here too.
#include "device/KXScanAPI.h"
#include "device/RDKXScanAPIQuery.h"
#include "device/RDMVScanAPIHandleBase.h"

#include <atomic>
#include <list>
#include <mutex>
#include <string>

class ClRDKXScanAPIWrapper : public ClRDMVScanAPIHandleBase
{
public:
  enum EModelType { eTypeKX2 = 18, eTypeKX1 = 19, eTypeKX10 = 38 };
  static constexpr int32_t kCalibrationMemorySize = 1291;

  // Starts the binding first, so a wrapper exists only with the library loaded.
  explicit ClRDKXScanAPIWrapper(KXDeviceHandle hDevice);
  // Does not close the device: Close is the owner's duty.
  ~ClRDKXScanAPIWrapper() override;

  bool Close() override;
  void GetVersionText(char* szBuffer, uint64_t* pnSize) override;
  void SetLed(uint32_t nMask) override;
  void GetImageSize(int32_t* pnWidth, int32_t* pnHeight) override;
  void GetSerialText(char* szBuffer, uint64_t* pnSize) override;
  void GetExtMemorySize(uint16_t* pnSize) override;
  void RestoreExtMemory(uint16_t nOffset, uint16_t nLength, void* pBuffer) override;
  void SaveExtMemory(uint16_t nOffset, uint16_t nLength, const void* pBuffer) override;
  void GetApiVersionText(char* szBuffer, uint64_t* pnSize) override;
  bool OpenWithContext(void* pContext) override;
  bool Open(int32_t nInterface) override;
  virtual void GetVersionRecord(KXVersionInfo* pVersion);

  void SetDiodesStatus(uint8_t nStatus1, uint8_t nStatus2);
  // The device's block of seven control bytes. An absent entry raises -102 (the
  // allocation failure, reused on purpose); a failing call -60 through the translation.
  void RestoreControlBytes(uint8_t* pBlock);
  void SaveControlBytes(const uint8_t* pBlock, bool bFlag);

  KXDeviceHandle Device() const { return m_hDevice; }
  // When the last frame was delivered, in microseconds of the library's clock; -1 when
  // the library keeps no frame times (a vendor library), and the caller times by its own.
  int64_t FrameTime() const { return m_nFrameTime.load(std::memory_order_relaxed); }
  const KXDeviceInfo& DeviceInfo() const { return m_DeviceInfo; }

  // Raises ClException for a failed library call: the text carries szMessage and the
  // library's error number, the code is mapped from that number, nCode by default.
  [[noreturn]] static void RaiseLibraryError(const char* szMessage, int32_t nCode);
  // For optional entries that every device generation of this system has: a library
  // without one gets a clean -103 instead of a call through null.
  [[noreturn]] static void RaiseMissingEntry(const char* szEntry);

  // Lists the attached scanners in interface order; nWantedType 0 takes every model.
  // Only a missing binding and a failing interface scan raise: a bad device is skipped.
  static void QueryScanners(std::list<ScannerEntry>& list, uint32_t nWantedType,
                            bool bCheckCalibration);
  // Model prefix and serial of an open device: -35 "Invalid serial", -101 otherwise.
  static std::string MakeScannerName(uint8_t nCompatibility, KXDeviceHandle hDevice);
  static bool HasCalibrationData(KXDeviceHandle hDevice);
  // Seven or eight decimal digits and nothing else.
  static bool IsSerialForm(const std::string& sSerial);

protected:
  // After the device is open: its info, its name, its set-up; a failed set-up closes it.
  bool Identify();
  // The text getters' copy-out protocol.
  static void CopyText(const std::string& sText, char* szBuffer, uint64_t* pnSize);

  KXDeviceHandle m_hDevice;
  KXDeviceInfo m_DeviceInfo = {};
  KXImageSize m_ImageSize = {};
  std::string m_sSerial;
  uint8_t m_nDiodeStatus1 = 0;
  uint8_t m_nDiodeStatus2 = 0;
  std::atomic<int64_t> m_nFrameTime{-1};
  // Held for a whole exposure and for version, serial and LED operations.
  std::mutex m_Mutex;
};
