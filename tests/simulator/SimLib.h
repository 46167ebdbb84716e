#pragma once
// The built simulator libraries and their entry points.
#include "simulator/kxsim.h"
#include "tests/common/SharedLibrary.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace kxsimtest {

inline std::string BinDir()
{
  const char* env = std::getenv("LSKX2_BIN_DIR");
  return env && *env ? env : KXSIM_TEST_BIN_DIR;
}

using ::ClLib;

// The simulated device library of the build, with its kxsim controls.
inline ClLib& ScanLib()
{
  static ClLib lib(BinDir() + "/libkxScanAPI.so");
  return lib;
}

inline ClLib& LivenessLib()
{
  static ClLib lib(BinDir() + "/libveltranofakefingerdetectionkx2.so");
  return lib;
}

// Loads a configuration and switches pacing off, failing the test on a refusal.
inline void LoadConfig(const std::string& sJson)
{
  ClLib& lib = ScanLib();
  if (!lib.Fn<KXSIM_LOADCONFIG>("kxsimLoadConfig")(sJson.c_str()))
    FAIL() << "configuration refused: " << lib.Fn<KXSIM_GETCONFIGERROR>("kxsimGetConfigError")();
  lib.Fn<KXSIM_SETFRAMEINTERVAL>("kxsimSetFrameInterval")(0);
}

// Entry point signatures as the simulator serves them.
using FnOpen = void* (*)(int);
using FnClose = int (*)(void*);
using FnHandle = int (*)(void*);
using FnRecord = int (*)(void*, void*);
using FnImage = int (*)(void*, int, void*);
using FnInterfaces = int (*)(uint32_t*);
using FnLastError = uint32_t (*)();
using FnDiodes = int (*)(void*, uint8_t, uint8_t);
using FnOptions = int (*)(void*, uint32_t, uint32_t);
using FnMemSize = int (*)(void*, int32_t*);
using FnMemory = int (*)(void*, void*, int, int);
using FnSaveControl = int (*)(void*, void*, int);
using FnGlobalOptions = int (*)(int32_t, void*);

template <class TpFn>
TpFn Scan(const char* szName)
{
  return ScanLib().Fn<TpFn>(szName);
}

inline uint32_t LastError() { return Scan<FnLastError>("ftrScanGetLastError")(); }

} // namespace kxsimtest
