#include "sdk/LiveScannerKX2.h"

#include "device/VeltranoKX1Wrapper.h"
#include "base/SDKHelper.h"
#include "livescannerkx2_version.h"

#include <cstring>

namespace {
// The text after the number is free form and never parsed.
const char szVersion[] =
    "SDK: VeltranoLiveScannerKX2 Version: " LS_KX2_VERSION_STRING " Platform: Linux x86_64";
} // namespace

const char* ClLiveScannerKX2::Signature() { return szVersion; }

void ClLiveScannerKX2::OnFirstUse()
{
  // A missing device library or entry point fails the initialisation with its code.
  ClVeltranoKX1Wrapper::Start();
}

void ClLiveScannerKX2::OnLastUse()
{
  // At process exit the libraries an engine ends with may have ended first: handles left
  // open then stay as they are.
  if (s_pfnCloseHandles && !Exiting())
    s_pfnCloseHandles();
}

void ClLiveScannerKX2::GetVersion(char* szOut, uint64_t* pnSize)
{
  static const char szTag[] = " Version: ";
  const char* start = std::strstr(szVersion, szTag);
  if (!start)
    LSKX2_THROW_MSG("szVersion signature not found.", eErrInternal);
  start += sizeof(szTag) - 1;
  const char* end = std::strchr(start, ' ');
  if (!end)
    LSKX2_THROW_MSG("szVersion signature not found.", eErrInternal);
  uint64_t n = static_cast<uint64_t>(end - start);
  SDKHelper::CopyOut(szOut, pnSize, start, n + 1);
  // The copy took one byte past the number; the terminator replaces it.
  if (szOut)
    szOut[n] = 0;
}
