// Properties of a scanner handle by name. These exports have no null test of the handle
// of their own: resolving it gives -42, after the test that the SDK is in use.
#include "livescannerkx2.h"

#include "sdk/ExportShell.h"
#include "sdk/KX2Handle.h"

#include <cstdint>
#include <tuple>

namespace {

const void* P(const void* p) { return p; }

} // namespace

extern "C" {

LS_KX2_EXPORT int32_t LS_KX2GetPropertyA(LS_KX2_HANDLE hScanner, const char* szName, char* pValue,
                                         uint64_t* pnSize)
{
  return ClExportShell::Run(
      __func__, "%s(%p, %p, %p, %p)",
      [&] { ClKX2Handle::LeaseHandle(hScanner)->GetProperty(szName, pValue, pnSize); }, P(hScanner),
      P(szName), P(pValue), P(pnSize));
}

LS_KX2_EXPORT int32_t LS_KX2SetPropertyA(LS_KX2_HANDLE hScanner, const char* szName,
                                         const char* szValue)
{
  return ClExportShell::Run(
      __func__, "%s(%p, %p, %p)",
      [&] { ClKX2Handle::LeaseHandle(hScanner)->SetProperty(szName, szValue); }, P(hScanner),
      P(szName), P(szValue));
}

LS_KX2_EXPORT int32_t LS_KX2GetPropertyLongA(LS_KX2_HANDLE hScanner, const char* szName,
                                             int32_t* pnValue)
{
  return ClExportShell::Run(
      __func__, "%s(%p, %p, %p)",
      [&] { ClKX2Handle::LeaseHandle(hScanner)->GetPropertyLong(szName, pnValue); }, P(hScanner),
      P(szName), P(pnValue));
}

LS_KX2_EXPORT int32_t LS_KX2SetPropertyLongA(LS_KX2_HANDLE hScanner, const char* szName,
                                             int32_t nValue)
{
  return ClExportShell::Run(
      __func__, "%s(%p, %p, %d)",
      [&] { ClKX2Handle::LeaseHandle(hScanner)->SetPropertyLong(szName, nValue); }, P(hScanner),
      P(szName), nValue);
}

LS_KX2_EXPORT int32_t LS_KX2GetPropertyDoubleA(LS_KX2_HANDLE hScanner, const char* szName,
                                               double* pdValue)
{
  // The Enter line prints the output pointer as a number, the others as a pointer; the
  // logs of existing installations read so.
  const int nValueAsNumber = static_cast<int>(reinterpret_cast<intptr_t>(pdValue));
  return ClExportShell::RunLines(
      __func__, "%s(%p, %p, %d)", std::make_tuple(P(hScanner), P(szName), nValueAsNumber),
      "%s(%p, %p, %p)", std::make_tuple(P(hScanner), P(szName), P(pdValue)),
      [&] { ClKX2Handle::LeaseHandle(hScanner)->GetPropertyDouble(szName, pdValue); });
}

LS_KX2_EXPORT int32_t LS_KX2SetPropertyDoubleA(LS_KX2_HANDLE hScanner, const char* szName,
                                               double dValue)
{
  return ClExportShell::Run(
      __func__, "%s(%p, %p, %f)",
      [&] { ClKX2Handle::LeaseHandle(hScanner)->SetPropertyDouble(szName, dValue); }, P(hScanner),
      P(szName), dValue);
}

} // extern "C"
