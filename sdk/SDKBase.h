#pragma once
#include "base/RDLogging.h"
#include "base/TpSingleton.h"

#include <cstdint>

// Base of the process-wide SDK object: the two life-cycle hooks, the version signature
// and the start-up sequence of LS_KX2Initialize.
template <class T>
class TpSDKBase : public TpSingleton<T>, public ClSDKLogging
{
public:
  ~TpSDKBase() override = default;

  virtual void OnFirstUse() {}
  virtual void OnLastUse() {}

  // Library code below the exports logs through the hook from now on.
  void OnCreated() { g_pfnLogHook = &ClSDKLoggingLayers::LogText; }

  // Takes a reference, proves the signature readable, checks the object is there.
  // Returns 0 or the code of the failure; the reference stays taken on a later failure.
  static int32_t StartUp()
  {
    try {
      TpSingleton<T>::Acquire();
      uint64_t size = 0;
      try {
        T::GetVersion(nullptr, &size);
      } catch (const ClException& e) {
        if (e.GetCode() != eErrTemplateSize)
          return e.GetCode();
      }
      TpSingleton<T>::CheckInUse();
      return 0;
    } catch (const ClException& e) {
      return e.GetCode();
    }
  }

  static int32_t ShutDown()
  {
    try {
      TpSingleton<T>::Release();
      return 0;
    } catch (const ClException& e) {
      return e.GetCode();
    }
  }
};
