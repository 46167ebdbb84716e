// Runs the exports and the logger in a process of its own, so that a test can choose the
// environment that the library reads once at load time.
#include "livescannerkx2.h"
#include "sdk/LiveScannerKX2.h"

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

int main(int argc, char** argv)
{
  const char* what = argc > 1 ? argv[1] : "exports";
  if (!std::strcmp(what, "exports")) {
    LS_KX2Initialize(nullptr);
    LS_KX2CompatibilityCheck("abc");
    LS_KX2Uninitialize();
    LS_KX2Uninitialize();
    return 0;
  }
  // "hold": opens the scanner, says so, and keeps it until the process is ended.
  if (!std::strcmp(what, "hold")) {
    LS_KX2_HANDLE h = nullptr;
    LS_KX2Initialize(nullptr);
    std::printf("open %d\n", LS_KX2OpenScanner("KX2 21234567", &h));
    std::fflush(stdout);
    for (;;)
      pause();
  }
  // "scanner": the lines of the scanner exports whose formats stand out.
  if (!std::strcmp(what, "scanner")) {
    LS_KX2_HANDLE h = nullptr, hOther = nullptr;
    double d = 0;
    uint64_t n = 0;
    LS_KX2Initialize(nullptr);
    LS_KX2OpenScanner("KX2 21234567", &h);
    LS_KX2GetPropertyDoubleA(h, "Version", &d);
    LS_KX2ExtendedScannerAccess(h, 99, nullptr, &n);
    LS_KX2OpenScanner("KX2 00000000", &hOther);
    LS_KX2CloseScanner(&h);
    LS_KX2Uninitialize();
    return 0;
  }
  // "size N": log a message of N characters and print the code it raised, if any.
  if (!std::strcmp(what, "size") && argc > 2) {
    std::string text(static_cast<size_t>(std::atoi(argv[2])), 'a');
    try {
      ClLiveScannerKX2::Log(7, "%s", text.c_str());
      std::printf("code 0\n");
    } catch (const ClException& e) {
      std::printf("code %d\n", e.GetCode());
    }
    try {
      ClLiveScannerKX2::Log(7, nullptr);
    } catch (const ClException& e) {
      std::printf("null %d\n", e.GetCode());
    }
    return 0;
  }
  return 2;
}
