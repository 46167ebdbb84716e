// The device itself: condition, name, LEDs, version text and the JSON document.
#include "livescannerkx2.h"

#include "sdk/ExportShell.h"
#include "sdk/KX2Handle.h"

#include <cstdint>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

namespace {

// Room first offered to the device's version text.
constexpr uint32_t kVersionScratch = 255;

// The device's version text; a text longer than the first room is read once more with
// the room the device asked for.
std::string DeviceVersion(ClKX2Handle& handle)
{
  // One byte beyond the room offered: the device writes its terminator there.
  std::vector<char> text(kVersionScratch + 1, 0);
  uint32_t n = kVersionScratch;
  try {
    handle.GetDeviceVersion(text.data(), &n);
  } catch (const ClException& e) {
    if (e.GetCode() != eErrSizeTooSmall)
      throw;
    text.assign(static_cast<size_t>(n) + 1, 0);
    handle.GetDeviceVersion(text.data(), &n);
  }
  return std::string(text.data());
}

void GetVersionString(ClKX2Handle& handle, char* pBuffer, uint64_t* pnSize)
{
  if (!pnSize)
    LSKX2_THROW(eErrBadPointer);
  std::ostringstream out;
  out << DeviceVersion(handle) << " SAPI:" LS_KX2_VERSION_STRING;
  const std::string sText = out.str();
  // The size handed back never counts the terminator, yet the copy writes it.
  const uint64_t nLength = sText.size();
  const uint64_t nRoom = *pnSize;
  *pnSize = nLength;
  if (nLength > nRoom)
    LSKX2_THROW(eErrSizeTooSmall);
  if (!pBuffer)
    LSKX2_THROW(eErrBadPointer);
  std::memcpy(pBuffer, sText.c_str(), nLength + 1);
}

// A pointer printed as a number, as the lines of the extended access show it.
int PointerAsNumber(const void* p) { return static_cast<int>(reinterpret_cast<intptr_t>(p)); }

} // namespace

extern "C" {

LS_KX2_EXPORT int32_t LS_KX2GetScannerCondition(LS_KX2_HANDLE hScanner, uint32_t* pnCondition,
                                                uint32_t* pnReserved)
{
  return ClExportShell::RunNamed(__func__, [&] {
    ClKX2Handle::FromExport(hScanner)->GetScannerCondition(pnCondition, pnReserved);
  });
}

LS_KX2_EXPORT int32_t LS_KX2GetSerialNumber(LS_KX2_HANDLE hScanner, char* pSerial)
{
  return ClExportShell::RunNamed(
      __func__, [&] { ClKX2Handle::FromExport(hScanner)->GetSerialNumber(pSerial); });
}

LS_KX2_EXPORT int32_t LS_KX2SetLED(LS_KX2_HANDLE hScanner, uint8_t nLed, uint8_t nState)
{
  return ClExportShell::RunNamed(__func__,
                                 [&] { ClKX2Handle::FromExport(hScanner)->SetLED(nLed, nState); });
}

LS_KX2_EXPORT int32_t LS_KX2ExtendedScannerAccess(LS_KX2_HANDLE hScanner, int32_t nId,
                                                  uint8_t* pData, uint64_t* pnSize)
{
  return ClExportShell::Run(
      __func__, "%s(%p, %d, %p, %d)",
      [&] { ClKX2Handle::FromExport(hScanner)->ExtendedAccess(nId, pData, pnSize); },
      static_cast<const void*>(hScanner), nId, static_cast<const void*>(pData),
      PointerAsNumber(pnSize));
}

LS_KX2_EXPORT int32_t LS_KX2GetVersionString(LS_KX2_HANDLE hScanner, char* pBuffer,
                                             uint64_t* pnSize)
{
  return ClExportShell::RunNamed(
      __func__, [&] { GetVersionString(*ClKX2Handle::FromExport(hScanner), pBuffer, pnSize); });
}

} // extern "C"
