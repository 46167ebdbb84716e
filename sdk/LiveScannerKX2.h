#pragma once
#include "sdk/SDKBase.h"

#include <cstdint>

// The process-wide SDK object; exists while Initialize calls outnumber Uninitialize calls.
class ClLiveScannerKX2 : public TpSDKBase<ClLiveScannerKX2>
{
public:
  ~ClLiveScannerKX2() override = default;
  void OnFirstUse() override;
  // Handles still open are closed at the last uninitialise: their threads and scanner
  // claims go with the SDK.
  void OnLastUse() override;
  // How the handle layer above closes them; set when that layer is linked in.
  static inline void (*s_pfnCloseHandles)() noexcept = nullptr;

  // Copies the version number out of the signature text, terminator counted.
  static void GetVersion(char* szOut, uint64_t* pnSize);
  static const char* Signature();
};
