// The JSON document written through LS_KX2ExtendedScannerAccess id 7, on an open scanner in
// the capture mode the first byte picks; the document is read back through id 6.
#include "FuzzScanner.h"

#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
  LS_KX2_HANDLE h = fuzz::Scanner();
  fuzz::ClInput in(pData, nSize);
  LS_KX2SetCaptureMode(h, in.Byte() % 6);
  std::string sText = in.Rest();
  uint64_t n = sText.size() + 1;
  LS_KX2ExtendedScannerAccess(h, 7, reinterpret_cast<uint8_t*>(sText.data()), &n);
  // Read back into a buffer of exactly the size asked for.
  n = 0;
  if (LS_KX2ExtendedScannerAccess(h, 6, nullptr, &n) == -702) {
    std::vector<uint8_t> out(n);
    LS_KX2ExtendedScannerAccess(h, 6, out.data(), &n);
  }
  return 0;
}
