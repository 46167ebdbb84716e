#pragma once
// The optional liveness library: its entry points and the start and end of one library
// handle as the capture engine runs them. Without the library the engine works on and
// only the liveness mode is refused.
#include "device/DynamicLibraryLoader.h"

#include <cstdint>

typedef void* FDHandle;

class ClVeltranoFakeFingerDetectionKX2Wrapper : private ClDynamicLibraryLoader
{
public:
  static constexpr const char* szLibraryFile = "libveltranofakefingerdetectionkx2.so";
  // Tried in order from the working directory before the system's own search.
  static constexpr const char* szSearchPath =
      "../VeltranoFakeFingerDetectionKX2/Release MT/x64;"
      "../../VeltranoFakeFingerDetectionKX2/Release MT/x64;"
      "../../../VeltranoFakeFingerDetectionKX2/Release MT/x64;.";
  static constexpr const char* szAverageProperty = "bAverageFingersLivenessScores";

  ClVeltranoFakeFingerDetectionKX2Wrapper() = default;
  ~ClVeltranoFakeFingerDetectionKX2Wrapper() override;

  // Loads and resolves: -200 without the library, -206 with the name of a missing
  // required entry. FD_KX2ExtendedAccess and FD_KX2GetFakeFingerDetectionScores may be null.
  void Load(const char* szSearchPath, const char* szFile);
  using ClDynamicLibraryLoader::IsLoaded;
  using ClDynamicLibraryLoader::LoadedName;

  // The engine's start: creates the wrapper, loads the library, initialises it, creates
  // the handle and reads the averaging property. Never raises: a failure goes to the
  // debug output and leaves hHandle null (or set, if only the property read failed).
  static void Start(ClVeltranoFakeFingerDetectionKX2Wrapper*& pWrapper, FDHandle& hHandle,
                    bool& bAverageLiveness, const char* szPath = szSearchPath,
                    const char* szFile = szLibraryFile);
  // The engine's end: destroys the handle and uninitialises when there is one, then
  // deletes the wrapper; no result is looked at.
  static void End(ClVeltranoFakeFingerDetectionKX2Wrapper*& pWrapper, FDHandle& hHandle);
  // True when the library answers "True", "true" or "TRUE"; a failing call raises its code.
  bool ReadAverageLiveness(FDHandle hHandle);

  typedef int32_t (*TpAnyEntry)();

  int32_t (*FD_KX2Initialize)(void* pReserved) = nullptr;
  int32_t (*FD_KX2Uninitialize)() = nullptr;
  int32_t (*FD_KX2CreateHandle)(FDHandle* phHandle) = nullptr;
  int32_t (*FD_KX2DestroyHandle)(FDHandle* phHandle) = nullptr;
  int32_t (*FD_KX2GetFakeFingerDetectionScore)(FDHandle h, int32_t nWidth, int32_t nHeight,
                                               const uint8_t* pRaw, const uint8_t* pMasked,
                                               double* pdScore) = nullptr;
  TpAnyEntry FD_KX2GetFakeFingerDetectionScores = nullptr;
  int32_t (*FD_KX2SetPropertyA)(FDHandle h, const char* szName, const char* szValue) = nullptr;
  int32_t (*FD_KX2SetPropertyLongA)(FDHandle h, const char* szName, int32_t nValue) = nullptr;
  int32_t (*FD_KX2SetPropertyDoubleA)(FDHandle h, const char* szName, double dValue) = nullptr;
  int32_t (*FD_KX2GetPropertyA)(FDHandle h, const char* szName, char* szValue,
                                uint64_t* pnSize) = nullptr;
  int32_t (*FD_KX2GetPropertyLongA)(FDHandle h, const char* szName, int32_t* pnValue) = nullptr;
  int32_t (*FD_KX2GetPropertyDoubleA)(FDHandle h, const char* szName, double* pdValue) = nullptr;
  int32_t (*FD_KX2ExtendedAccess)(FDHandle h, int32_t nId, char* szText,
                                  uint64_t* pnSize) = nullptr;
  TpAnyEntry FD_KX2GetErrorDescriptionA = nullptr;

private:
  void Resolve();
};
