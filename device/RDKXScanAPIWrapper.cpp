#include "device/RDKXScanAPIWrapper.h"

#include "device/VeltranoKX1Wrapper.h"
#include "base/RDLogging.h"

#include <cstring>

namespace {

// Library error numbers that have a code of their own; the rest take the caller's.
int32_t MapLibraryError(uint32_t nError, int32_t nDefault)
{
  switch (nError) {
  case 19:
    return eErrWriteFail;
  case 50:
    return eErrUnsupportedFeature;
  case 121:
    return eErrIo;
  case 170:
    return eErrDeviceDisconnected;
  case 0x20000006:
    return eErrLibraryUncatalogued;
  case 0x20000010:
    return eErrBadPointer;
  default:
    return nDefault;
  }
}

} // namespace

ClRDKXScanAPIWrapper::ClRDKXScanAPIWrapper(KXDeviceHandle hDevice) : m_hDevice(hDevice)
{
  ClVeltranoKX1Wrapper::Start();
}

ClRDKXScanAPIWrapper::~ClRDKXScanAPIWrapper() = default;

void ClRDKXScanAPIWrapper::RaiseLibraryError(const char* szMessage, int32_t nCode)
{
  std::string text = std::string("KXScanAPI - ") + szMessage + ":";
  ClKXCall call;
  if (!call.Table() || !call->ftrScanGetLastError) {
    text += " VltErr: " + std::to_string(nCode);
    RDDebugOut(szMessage);
    LSKX2_THROW_MSG(text.c_str(), nCode);
  }
  uint32_t nError = call->ftrScanGetLastError();
  text += std::to_string(nError) + "\n";
  RDDebugOut(text.c_str());
  LSKX2_THROW_MSG(text.c_str(), MapLibraryError(nError, nCode));
}

void ClRDKXScanAPIWrapper::RaiseMissingEntry(const char* szEntry)
{
  LSKX2_THROW_MSG((std::string("KXScanAPI - entry point missing: ") + szEntry).c_str(),
                  eErrUnsupportedFeature);
}

bool ClRDKXScanAPIWrapper::Open(int32_t nInterface)
{
  m_hDevice = KXApi()->ftrScanOpenDeviceOnInterface(nInterface);
  if (!m_hDevice)
    RaiseLibraryError("Unable to open device", eErrInternal);
  return Identify();
}

bool ClRDKXScanAPIWrapper::OpenWithContext(void* pContext)
{
  if (!KXApi()->ftrScanOpenDeviceWithIoContext)
    LSKX2_THROW_MSG("Unsupported KXScanAPI Version", eErrVersion);
  m_hDevice = KXApi()->ftrScanOpenDeviceWithIoContext(pContext);
  if (!m_hDevice)
    RaiseLibraryError("Unable to open device", eErrInternal);
  return Identify();
}

bool ClRDKXScanAPIWrapper::Identify()
{
  m_DeviceInfo = KXDeviceInfo{};
  m_DeviceInfo.nStructSize = sizeof(KXDeviceInfo);
  // On failure here the device stays open; the owner's Close ends it.
  if (!KXApi()->ftrScanGetDeviceInfo(m_hDevice, &m_DeviceInfo))
    RaiseLibraryError("Unable to get device info", eErrInternal);
  m_sSerial = MakeScannerName(m_DeviceInfo.nCompatibility, m_hDevice);
  try {
    InitDevice();
  } catch (const ClException& e) {
    Close();
    throw ClException(e);
  }
  return true;
}

bool ClRDKXScanAPIWrapper::Close()
{
  if (!m_hDevice)
    return true;
  try {
    SetLed(0);
  } catch (const ClException&) {
    // A device that is gone cannot switch its LEDs off; closing must still happen.
  }
  // Once the binding has ended there is no library left to close the device with.
  ClKXCall call;
  if (call.Table())
    call->ftrScanCloseDevice(m_hDevice);
  m_hDevice = nullptr;
  return true;
}

void ClRDKXScanAPIWrapper::GetVersionRecord(KXVersionInfo* pVersion)
{
  if (!pVersion)
    LSKX2_THROW(eErrBadPointer);
  std::memset(pVersion, 0, sizeof(KXVersionInfo));
  pVersion->nStructSize = sizeof(KXVersionInfo);
  if (!KXApi()->ftrScanGetVersion)
    RaiseMissingEntry("ftrScanGetVersion");
  if (!KXApi()->ftrScanGetVersion(m_hDevice, pVersion))
    RaiseLibraryError("GetVersion", eErrInternal);
}

void ClRDKXScanAPIWrapper::CopyText(const std::string& sText, char* szBuffer, uint64_t* pnSize)
{
  uint64_t nRoom = *pnSize;
  *pnSize = sText.size();
  if (nRoom < sText.size())
    LSKX2_THROW(eErrSizeTooSmall);
  if (!szBuffer)
    LSKX2_THROW(eErrBadPointer);
  // The terminator goes one byte past the count reported: callers allow for it.
  std::memcpy(szBuffer, sText.c_str(), sText.size() + 1);
}

void ClRDKXScanAPIWrapper::GetVersionText(char* szBuffer, uint64_t* pnSize)
{
  std::lock_guard<std::mutex> lock(m_Mutex);
  if (!pnSize)
    LSKX2_THROW(eErrBadPointer);
  KXVersionInfo v;
  GetVersionRecord(&v);
  // The device reports no FPGA number; the field stays for readers that parse it.
  std::string text = " HW: " + KXJoinNumbers(v.Hardware.aNumber, 3) +
                     " FW: " + KXJoinNumbers(v.Firmware.aNumber, 3) +
                     " LIB: " + KXJoinNumbers(v.Library.aNumber, 4) + " FPGA: 0.0.0.0";
  CopyText(text, szBuffer, pnSize);
}

void ClRDKXScanAPIWrapper::GetApiVersionText(char* szBuffer, uint64_t* pnSize)
{
  std::lock_guard<std::mutex> lock(m_Mutex);
  if (!pnSize)
    LSKX2_THROW(eErrBadPointer);
  KXVersionInfo v;
  GetVersionRecord(&v);
  CopyText(KXJoinNumbers(v.Library.aNumber, 4), szBuffer, pnSize);
}

void ClRDKXScanAPIWrapper::GetSerialText(char* szBuffer, uint64_t* pnSize)
{
  std::lock_guard<std::mutex> lock(m_Mutex);
  if (!pnSize)
    LSKX2_THROW(eErrBadPointer);
  CopyText(m_sSerial, szBuffer, pnSize);
}

void ClRDKXScanAPIWrapper::SetLed(uint32_t nMask)
{
  std::lock_guard<std::mutex> lock(m_Mutex);
  if (nMask >= 4)
    LSKX2_THROW(eErrParamOutOfRange);
  // The first bit of the mask drives the second status.
  uint8_t s1 = (nMask & 2) ? 255 : 0;
  uint8_t s2 = (nMask & 1) ? 255 : 0;
  if (s1 == m_nDiodeStatus1 && s2 == m_nDiodeStatus2)
    return;
  SetDiodesStatus(s1, s2);
  m_nDiodeStatus1 = s1;
  m_nDiodeStatus2 = s2;
}

void ClRDKXScanAPIWrapper::SetDiodesStatus(uint8_t nStatus1, uint8_t nStatus2)
{
  if (KXApi()->ftrScanSetDiodesStatus(m_hDevice, nStatus1, nStatus2))
    return;
  // One repeat on a transient error is the whole policy.
  if (KXApi()->ftrScanGetLastError && KXApi()->ftrScanGetLastError() == eKXErrorRetry &&
      KXApi()->ftrScanSetDiodesStatus(m_hDevice, nStatus1, nStatus2))
    return;
  RaiseLibraryError("SetDiodesStatus", eErrDeviceDisconnected);
}

void ClRDKXScanAPIWrapper::GetImageSize(int32_t* pnWidth, int32_t* pnHeight)
{
  if (!pnWidth || !pnHeight)
    LSKX2_THROW(eErrBadPointer);
  *pnWidth = m_ImageSize.nWidth;
  *pnHeight = m_ImageSize.nHeight;
}

void ClRDKXScanAPIWrapper::GetExtMemorySize(uint16_t* pnSize)
{
  if (!pnSize)
    LSKX2_THROW(eErrBadPointer);
  int32_t n = 0;
  if (!KXApi()->ftrScanGetExtMemorySize)
    RaiseMissingEntry("ftrScanGetExtMemorySize");
  if (!KXApi()->ftrScanGetExtMemorySize(m_hDevice, &n))
    RaiseLibraryError("ScanGetExtMemorySize", eErrInternal);
  // Only a size above the 16-bit range is refused; a negative one is kept in 16 bits.
  if (n > 65535)
    LSKX2_THROW(eErrParamOutOfRange);
  *pnSize = static_cast<uint16_t>(n);
}

void ClRDKXScanAPIWrapper::RestoreExtMemory(uint16_t nOffset, uint16_t nLength, void* pBuffer)
{
  if (!pBuffer)
    LSKX2_THROW(eErrBadPointer);
  if (!KXApi()->ftrScanRestoreExtMemory)
    RaiseMissingEntry("ftrScanRestoreExtMemory");
  if (!KXApi()->ftrScanRestoreExtMemory(m_hDevice, pBuffer, nOffset, nLength))
    RaiseLibraryError("ScanRestoreExtMemory", eErrInternal);
}

void ClRDKXScanAPIWrapper::SaveExtMemory(uint16_t nOffset, uint16_t nLength, const void* pBuffer)
{
  if (!pBuffer)
    LSKX2_THROW(eErrBadPointer);
  if (!KXApi()->ftrScanSaveExtMemory)
    RaiseMissingEntry("ftrScanSaveExtMemory");
  if (!KXApi()->ftrScanSaveExtMemory(m_hDevice, const_cast<void*>(pBuffer), nOffset, nLength))
    RaiseLibraryError("ScanSaveExtMemory", eErrInternal);
}

void ClRDKXScanAPIWrapper::RestoreControlBytes(uint8_t* pBlock)
{
  // An absent entry reports as a failed allocation (-102); callers know the code so.
  if (!KXApi()->ftrScanRestore7ControlBytes)
    throw ClExBadAlloc();
  if (!pBlock)
    LSKX2_THROW(eErrBadPointer);
  if (!KXApi()->ftrScanRestore7ControlBytes(m_hDevice, pBlock))
    RaiseLibraryError("Unable to restore control bytes", eErrDeviceDisconnected);
}

void ClRDKXScanAPIWrapper::SaveControlBytes(const uint8_t* pBlock, bool bFlag)
{
  if (!KXApi()->ftrScanSave7ControlBytes)
    throw ClExBadAlloc();
  if (!pBlock)
    LSKX2_THROW(eErrBadPointer);
  if (!KXApi()->ftrScanSave7ControlBytes(m_hDevice, const_cast<uint8_t*>(pBlock), bFlag ? 1 : 0))
    RaiseLibraryError("Unable to save control bytes", eErrDeviceDisconnected);
}
