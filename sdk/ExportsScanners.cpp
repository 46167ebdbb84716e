// Scanner discovery, opening and closing.
#include "livescannerkx2.h"

#include "device/RDKXScanAPIWrapper.h"
#include "sdk/ExportShell.h"
#include "sdk/KX2Handle.h"

#include <cstring>
#include <list>
#include <string>
#include <tuple>

namespace {
// Each name fills a record of this size, without terminator when it is that long.
constexpr uint64_t nSerialRecordSize = 16;

// The interface of the attached KX2 scanner of that exact name; -44 if there is none.
int32_t InterfaceOf(const std::string& sSerial)
{
  std::list<ScannerEntry> list;
  ClRDKXScanAPIWrapper::QueryScanners(list, ClRDKXScanAPIWrapper::eTypeKX2, true);
  for (const ScannerEntry& e : list) {
    if (e.sName == sSerial)
      return e.nInterface;
  }
  LSKX2_THROW(eErrInvalidParameter);
}

} // namespace

extern "C" {

LS_KX2_EXPORT int32_t LS_KX2QueryScanners(char* pSerials, uint64_t* pnCount)
{
  return ClExportShell::Run(
      __func__, "%s%s",
      [&] {
        if (!pnCount)
          LSKX2_THROW(eErrBadPointer);
        std::list<ScannerEntry> list;
        ClRDKXScanAPIWrapper::QueryScanners(list, ClRDKXScanAPIWrapper::eTypeKX2, true);
        uint64_t nRoom = *pnCount;
        *pnCount = list.size();
        if (list.size() > nRoom)
          LSKX2_THROW(eErrSizeTooSmall);
        if (list.empty())
          return;
        if (!pSerials)
          LSKX2_THROW(eErrBadPointer);
        std::memset(pSerials, 0, list.size() * nSerialRecordSize);
        char* p = pSerials;
        for (const ScannerEntry& e : list) {
          std::strncpy(p, e.sName.c_str(), nSerialRecordSize);
          p += nSerialRecordSize;
        }
      },
      "");
}

LS_KX2_EXPORT int32_t LS_KX2OpenScanner(const char* szSerial, LS_KX2_HANDLE* phScanner)
{
  // Only the first 16 characters count: a record of LS_KX2QueryScanners may be passed
  // as it is, without terminator, so nothing reads beyond them, the log line neither.
  const std::string sSerial =
      szSerial ? std::string(szSerial, strnlen(szSerial, nSerialRecordSize)) : std::string();
  // The Enter line carries the serial glued to the function's name; the others do not.
  return ClExportShell::RunLines(
      __func__, "%s%s", std::make_tuple(sSerial.c_str()), "%s%s", std::make_tuple(""), [&] {
        if (!szSerial || !phScanner)
          LSKX2_THROW(eErrBadPointer);
        ClKX2Handle::CreateHandle(phScanner);
        try {
          const int32_t nInterface = InterfaceOf(sSerial);
          ClKX2Handle::LeaseHandle(*phScanner)->Open(nInterface, sSerial.c_str());
        } catch (const ClException&) {
          // The caller is left with a null handle and the first failure's code.
          try {
            ClKX2Handle::DestroyHandle(phScanner);
          } catch (const ClException&) {
            // Retired by a concurrent last uninitialise, which frees it.
          }
          *phScanner = nullptr;
          throw;
        }
      });
}

LS_KX2_EXPORT int32_t LS_KX2CloseScanner(LS_KX2_HANDLE* phScanner)
{
  return ClExportShell::Run(
      __func__, "%s%s",
      [&] {
        if (!phScanner)
          LSKX2_THROW(eErrBadPointer);
        ClKX2Handle::CloseExport(phScanner);
      },
      "");
}

} // extern "C"
