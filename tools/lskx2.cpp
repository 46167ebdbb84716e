// Command-line front end of the SDK: version signature, compatibility answer, error texts.
#include "livescannerkx2.h"

#include "sdk/LiveScannerKX2.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

void Usage()
{
  std::printf("usage: lskx2 [--check VERSION] [--error CODE]...\n"
              "  prints the SDK version, the attached scanners, the compatibility\n"
              "  answer for VERSION"
              " (default 1.4) and the text of each CODE\n");
}

} // namespace

int main(int argc, char** argv)
{
  const char* check = "1.4";
  for (int i = 1; i < argc; ++i) {
    if (!std::strcmp(argv[i], "--help") || !std::strcmp(argv[i], "-h")) {
      Usage();
      return 0;
    }
    if (i + 1 >= argc) {
      Usage();
      return 2;
    }
    if (!std::strcmp(argv[i], "--check"))
      check = argv[++i];
    else if (!std::strcmp(argv[i], "--error"))
      ++i;
    else {
      Usage();
      return 2;
    }
  }

  int32_t rc = LS_KX2Initialize(nullptr);
  if (rc != 0) {
    std::printf("LS_KX2Initialize: %d %s\n", rc, LS_KX2GetErrorDescriptionA(rc));
    return 1;
  }
  char version[64];
  uint64_t size = sizeof(version);
  try {
    ClLiveScannerKX2::GetVersion(version, &size);
    std::printf("%s\nSDK version: %s\n", ClLiveScannerKX2::Signature(), version);
  } catch (const ClException& e) {
    std::printf("SDK version: %d %s\n", e.GetCode(), LS_KX2GetErrorDescriptionA(e.GetCode()));
  }
  // Scanners attached now (the simulator's unless a vendor library comes first).
  char names[16 * 16];
  uint64_t count = 16;
  rc = LS_KX2QueryScanners(names, &count);
  if (rc != 0)
    std::printf("Scanners: %d %s\n", rc, LS_KX2GetErrorDescriptionA(rc));
  else
    for (uint64_t k = 0; k < count; ++k)
      std::printf("Scanner %llu: %.16s\n", static_cast<unsigned long long>(k), names + 16 * k);
  rc = LS_KX2CompatibilityCheck(check);
  std::printf("Compatibility with %s: %d %s\n", check, rc, LS_KX2GetErrorDescriptionA(rc));
  for (int i = 1; i + 1 < argc; ++i)
    if (!std::strcmp(argv[i], "--error")) {
      long code = std::strtol(argv[i + 1], nullptr, 10);
      std::printf("Error %ld: %s\n", code, LS_KX2GetErrorDescriptionA(static_cast<int32_t>(code)));
      ++i;
    } else
      ++i;
  LS_KX2Uninitialize();
  return 0;
}
