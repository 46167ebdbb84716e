#pragma once
// Opens the built simulator libraries by path, as the SDK's loader would, and reaches
// their entry points by name.
#include "simulator/kxsim.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <stdexcept>
#include <string>

namespace kxsimtest {

inline std::string BinDir() {
  const char* env = std::getenv("LSKX2_BIN_DIR");
  return env && *env ? env : KXSIM_TEST_BIN_DIR;
}

class ClLib {
 public:
  explicit ClLib(const std::string& sPath) : m_hLib(dlopen(sPath.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (!m_hLib) throw std::runtime_error(dlerror());
  }
  ~ClLib() { dlclose(m_hLib); }
  ClLib(const ClLib&) = delete;
  ClLib& operator=(const ClLib&) = delete;

  void* Raw(const char* szName) const { return dlsym(m_hLib, szName); }
  template <class TpFn>
  TpFn Fn(const char* szName) const {
    void* p = dlsym(m_hLib, szName);
    if (!p) throw std::runtime_error(std::string("missing entry ") + szName);
    return reinterpret_cast<TpFn>(p);
  }

 private:
  void* m_hLib;
};

// The simulated device library of the build, with its kxsim controls.
inline ClLib& ScanLib() {
  static ClLib lib(BinDir() + "/libkxScanAPI.so");
  return lib;
}

inline ClLib& LivenessLib() {
  static ClLib lib(BinDir() + "/libveltranofakefingerdetectionkx2.so");
  return lib;
}

// Loads a configuration and switches pacing off, failing the test on a refusal.
inline void LoadConfig(const std::string& sJson) {
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
TpFn Scan(const char* szName) {
  return ScanLib().Fn<TpFn>(szName);
}

inline uint32_t LastError() { return Scan<FnLastError>("ftrScanGetLastError")(); }

}  // namespace kxsimtest
