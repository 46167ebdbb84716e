#include "device/VeltranoFakeFingerDetectionKX2Wrapper.h"

#include "base/Exceptions.h"
#include "base/RDLogging.h"

#include <cstring>
#include <cwchar>
#include <string>

namespace {
// One character of UTF-8 text; a byte that starts no valid sequence gives U+FFFD and
// counts alone. Never reads past the terminator.
uint32_t DecodeUtf8(const unsigned char*& p)
{
  const uint32_t c = *p++;
  int nMore = c < 0x80             ? 0
              : (c & 0xE0) == 0xC0 ? 1
              : (c & 0xF0) == 0xE0 ? 2
              : (c & 0xF8) == 0xF0 ? 3
                                   : -1;
  if (nMore <= 0)
    return nMore == 0 ? c : 0xFFFD;
  static const uint32_t least[4] = {0, 0x80, 0x800, 0x10000};
  uint32_t cp = c & (0x3F >> nMore);
  for (int i = 0; i < nMore; ++i) {
    if ((p[i] & 0xC0) != 0x80)
      return 0xFFFD;
    cp = (cp << 6) | (p[i] & 0x3F);
  }
  if (cp < least[nMore] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF))
    return 0xFFFD;
  p += nMore;
  return cp;
}

// The liveness path reports in wide characters; its texts are UTF-8 (a loader message
// may carry a path), not one character a byte.
void DebugOutWide(const char* szText)
{
  std::wstring w;
  const unsigned char* p = reinterpret_cast<const unsigned char*>(szText ? szText : "");
  while (*p)
    w += static_cast<wchar_t>(DecodeUtf8(p));
  RDDebugOutW(w.c_str());
}
} // namespace

ClVeltranoFakeFingerDetectionKX2Wrapper::~ClVeltranoFakeFingerDetectionKX2Wrapper() = default;

void ClVeltranoFakeFingerDetectionKX2Wrapper::Load(const char* szPath, const char* szFile)
{
  ClDynamicLibraryLoader::Load(szPath, szFile);
  try {
    Resolve();
  } catch (const ClException&) {
    // A refused library does not stay in the process.
    Unload();
    throw;
  }
}

void ClVeltranoFakeFingerDetectionKX2Wrapper::Resolve()
{
  BindSymbol(FD_KX2Initialize, "FD_KX2Initialize");
  BindSymbol(FD_KX2Uninitialize, "FD_KX2Uninitialize");
  BindSymbol(FD_KX2CreateHandle, "FD_KX2CreateHandle");
  BindSymbol(FD_KX2DestroyHandle, "FD_KX2DestroyHandle");
  BindSymbol(FD_KX2GetFakeFingerDetectionScore, "FD_KX2GetFakeFingerDetectionScore");
  BindSymbol(FD_KX2SetPropertyA, "FD_KX2SetPropertyA");
  BindSymbol(FD_KX2SetPropertyLongA, "FD_KX2SetPropertyLongA");
  BindSymbol(FD_KX2SetPropertyDoubleA, "FD_KX2SetPropertyDoubleA");
  BindSymbol(FD_KX2GetPropertyA, "FD_KX2GetPropertyA");
  BindSymbol(FD_KX2GetPropertyLongA, "FD_KX2GetPropertyLongA");
  BindSymbol(FD_KX2GetPropertyDoubleA, "FD_KX2GetPropertyDoubleA");
  BindSymbol(FD_KX2GetErrorDescriptionA, "FD_KX2GetErrorDescriptionA");
  BindSymbol(FD_KX2ExtendedAccess, "FD_KX2ExtendedAccess", false);
  BindSymbol(FD_KX2GetFakeFingerDetectionScores, "FD_KX2GetFakeFingerDetectionScores", false);
}

bool ClVeltranoFakeFingerDetectionKX2Wrapper::ReadAverageLiveness(FDHandle hHandle)
{
  char value[16] = {};
  uint64_t size = sizeof(value);
  int32_t r = FD_KX2GetPropertyA(hHandle, szAverageProperty, value, &size);
  if (r != 0)
    LSKX2_THROW(r);
  // Five bytes: the terminator takes part, so "TRue" or "True1" do not count.
  return std::memcmp(value, "True", 5) == 0 || std::memcmp(value, "true", 5) == 0 ||
         std::memcmp(value, "TRUE", 5) == 0;
}

void ClVeltranoFakeFingerDetectionKX2Wrapper::Start(
    ClVeltranoFakeFingerDetectionKX2Wrapper*& pWrapper, FDHandle& hHandle, bool& bAverageLiveness,
    const char* szPath, const char* szFile)
{
  try {
    pWrapper = new ClVeltranoFakeFingerDetectionKX2Wrapper();
    pWrapper->Load(szPath, szFile);
    int32_t r = pWrapper->FD_KX2Initialize(nullptr);
    if (r != 0)
      LSKX2_THROW(r);
    FDHandle h = nullptr;
    r = pWrapper->FD_KX2CreateHandle(&h);
    if (r != 0)
      LSKX2_THROW(r);
    hHandle = h;
    bAverageLiveness = false;
    bAverageLiveness = pWrapper->ReadAverageLiveness(hHandle);
  } catch (const ClException& e) {
    // Liveness is optional: the engine goes on without it.
    DebugOutWide(e.GetMessage());
  }
}

void ClVeltranoFakeFingerDetectionKX2Wrapper::End(
    ClVeltranoFakeFingerDetectionKX2Wrapper*& pWrapper, FDHandle& hHandle)
{
  if (hHandle && pWrapper) {
    pWrapper->FD_KX2DestroyHandle(&hHandle);
    pWrapper->FD_KX2Uninitialize();
  }
  hHandle = nullptr;
  delete pWrapper;
  pWrapper = nullptr;
}
