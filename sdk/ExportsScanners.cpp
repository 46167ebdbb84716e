// Scanner discovery.
#include "livescannerkx2.h"

#include "device/RDKXScanAPIWrapper.h"
#include "sdk/ExportShell.h"

#include <cstring>
#include <list>

namespace {
// Each name fills a record of this size, without terminator when it is that long.
constexpr uint64_t nSerialRecordSize = 16;
} // namespace

extern "C" {

LS_KX2_EXPORT int32_t LS_KX2QueryScanners(char* pSerials, uint64_t* pnCount)
{
  return ClExportShell::Run(
      __func__, "%s%s",
      [&] {
        if (!pnCount)
          LSKX2_THROW(-701);
        std::list<ScannerEntry> list;
        ClRDKXScanAPIWrapper::QueryScanners(list, ClRDKXScanAPIWrapper::eTypeKX2, true);
        uint64_t nRoom = *pnCount;
        *pnCount = list.size();
        if (list.size() > nRoom)
          LSKX2_THROW(-702);
        if (list.empty())
          return;
        if (!pSerials)
          LSKX2_THROW(-701);
        std::memset(pSerials, 0, list.size() * nSerialRecordSize);
        char* p = pSerials;
        for (const ScannerEntry& e : list) {
          std::strncpy(p, e.sName.c_str(), nSerialRecordSize);
          p += nSerialRecordSize;
        }
      },
      "");
}

} // extern "C"
