// The scanner exports as the program calls them. Until the public header declares them,
// they are declared here as weak symbols, so that the program builds and tells at run
// time whether the library it found has them.
#ifndef LSKX2_TOOLS_SDK_H
#define LSKX2_TOOLS_SDK_H

#include "livescannerkx2.h"

#define LSKX2_CLI_WEAK_EXPORTS 1

extern "C" {
typedef void* LS_KX2_HANDLE;
#define LSKX2_CLI_DECLARE(ret, name, args) __attribute__((weak)) ret name args;
LSKX2_CLI_DECLARE(int32_t, LS_KX2OpenScanner, (const char* szSerial, LS_KX2_HANDLE* phScanner))
LSKX2_CLI_DECLARE(int32_t, LS_KX2CloseScanner, (LS_KX2_HANDLE * phScanner))
LSKX2_CLI_DECLARE(int32_t, LS_KX2SetCaptureMode, (LS_KX2_HANDLE hScanner, uint32_t nMode))
LSKX2_CLI_DECLARE(int32_t, LS_KX2TriggerScanner, (LS_KX2_HANDLE hScanner))
LSKX2_CLI_DECLARE(int32_t, LS_KX2GetImage,
                  (LS_KX2_HANDLE hScanner, uint8_t* pImage, double* pdScore, uint8_t* pbFinger,
                   int32_t* pnStatus))
LSKX2_CLI_DECLARE(int32_t, LS_KX2GetPreviewImage,
                  (LS_KX2_HANDLE hScanner, uint8_t* pImage, double* pdScore, uint8_t* pbFinger,
                   int32_t* pnStatus))
LSKX2_CLI_DECLARE(int32_t, LS_KX2GetRollImage,
                  (LS_KX2_HANDLE hScanner, uint8_t* pImage, double* pdScore, uint8_t* pbFinger,
                   int32_t* pnStatus))
LSKX2_CLI_DECLARE(int32_t, LS_KX2GetImageSize,
                  (LS_KX2_HANDLE hScanner, uint64_t* pnWidth, uint64_t* pnHeight))
LSKX2_CLI_DECLARE(int32_t, LS_KX2GetImageDPI, (LS_KX2_HANDLE hScanner, uint64_t* pnX, uint64_t* pnY))
LSKX2_CLI_DECLARE(int32_t, LS_KX2GetScannerCondition,
                  (LS_KX2_HANDLE hScanner, uint32_t* pnCondition, uint32_t* pnReserved))
LSKX2_CLI_DECLARE(int32_t, LS_KX2GetVersionString,
                  (LS_KX2_HANDLE hScanner, char* pBuffer, uint64_t* pnSize))
LSKX2_CLI_DECLARE(int32_t, LS_KX2GetPropertyA,
                  (LS_KX2_HANDLE hScanner, const char* szName, char* pValue, uint64_t* pnSize))
LSKX2_CLI_DECLARE(int32_t, LS_KX2SetPropertyA,
                  (LS_KX2_HANDLE hScanner, const char* szName, const char* szValue))
LSKX2_CLI_DECLARE(int32_t, LS_KX2SetPropertyLongA,
                  (LS_KX2_HANDLE hScanner, const char* szName, int32_t nValue))
LSKX2_CLI_DECLARE(int32_t, LS_KX2ExtendedScannerAccess,
                  (LS_KX2_HANDLE hScanner, int32_t nId, uint8_t* pData, uint64_t* pnSize))
#undef LSKX2_CLI_DECLARE
}

// True when the library the program was linked with serves the scanner exports.
inline bool ScannerExportsPresent()
{
  return LS_KX2OpenScanner != nullptr;
}

#endif
