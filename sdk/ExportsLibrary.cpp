// Exports that need no scanner.
#include "livescannerkx2.h"

#include "sdk/ExportShell.h"

#include <cstdio>

extern "C" {

LS_KX2_EXPORT int32_t LS_KX2Initialize(void* pReserved)
{
  return ClExportShell::RunCode(
      __func__, "%s(%p)", [] { return ClLiveScannerKX2::StartUp(); }, pReserved);
}

LS_KX2_EXPORT int32_t LS_KX2Uninitialize(void)
{
  return ClExportShell::RunCode(__func__, "%s(void)", [] { return ClLiveScannerKX2::ShutDown(); });
}

LS_KX2_EXPORT int32_t LS_KX2CompatibilityCheck(const char* szVersion)
{
  return ClExportShell::Run(
      __func__, "%s%s",
      [&] {
        if (!szVersion)
          LSKX2_THROW(eErrBadPointer);
        int major = 0, minor = 0;
        if (std::sscanf(szVersion, "%d.%d", &major, &minor) < 2)
          LSKX2_THROW(eErrInvalidParameter);
        if (major < 1 || (major == 1 && minor < 4))
          LSKX2_THROW(eErrUnsupportedFeature);
      },
      "");
}

LS_KX2_EXPORT const char* LS_KX2GetErrorDescriptionA(int32_t nCode)
{
  return GetErrorDescriptionA(nCode);
}

LS_KX2_EXPORT const wchar_t* LS_KX2GetErrorDescriptionW(int32_t nCode)
{
  return GetErrorDescriptionW(nCode);
}

} // extern "C"
