#pragma once
// Reaches the simulator's inspection and control exports in the device library that the
// binding loaded (the same file, found the same way).
#include "sdk/Exceptions.h"
#include "simulator/kxsim.h"

#include <dlfcn.h>
#include <stdexcept>
#include <string>

class ClSimControl
{
public:
  static ClSimControl& Get()
  {
    static ClSimControl s;
    return s;
  }

  // Replaces the simulator's configuration; frames are never paced in these tests.
  void Load(const std::string& sJson)
  {
    if (!m_pfnLoad(sJson.c_str()))
      throw std::runtime_error(std::string("configuration refused: ") + m_pfnError());
    m_pfnInterval(0);
  }
  int64_t Calls(const char* szEntry) { return m_pfnCalls(szEntry); }
  kxsimDeviceState State(int nInterface)
  {
    kxsimDeviceState s = {};
    s.nSize = sizeof(s);
    if (!m_pfnState(nInterface, &s))
      throw std::runtime_error("no device on interface " + std::to_string(nInterface));
    return s;
  }
  void SetConnected(int nInterface, bool bConnected) { m_pfnConnected(nInterface, bConnected); }

private:
  ClSimControl()
  {
    // By its full path: sanitizer runtimes hide the test's RUNPATH from dlopen.
    m_hLib = dlopen((std::string(LSKX2_TEST_BIN_DIR) + "/libkxScanAPI.so").c_str(),
                    RTLD_NOW | RTLD_LOCAL);
    if (!m_hLib)
      throw std::runtime_error(dlerror());
    Bind(m_pfnLoad, "kxsimLoadConfig");
    Bind(m_pfnError, "kxsimGetConfigError");
    Bind(m_pfnCalls, "kxsimGetCallCount");
    Bind(m_pfnState, "kxsimGetDeviceState");
    Bind(m_pfnConnected, "kxsimSetConnected");
    Bind(m_pfnInterval, "kxsimSetFrameInterval");
  }
  template <class TpFn>
  void Bind(TpFn& fn, const char* szName)
  {
    fn = reinterpret_cast<TpFn>(dlsym(m_hLib, szName));
    if (!fn)
      throw std::runtime_error(std::string("simulator lacks ") + szName);
  }

  void* m_hLib;
  KXSIM_LOADCONFIG m_pfnLoad;
  KXSIM_GETCONFIGERROR m_pfnError;
  KXSIM_GETCALLCOUNT m_pfnCalls;
  KXSIM_GETDEVICESTATE m_pfnState;
  KXSIM_SETCONNECTED m_pfnConnected;
  KXSIM_SETFRAMEINTERVAL m_pfnInterval;
};

// Runs fn and gives the code of the ClException it raised, 0 if none.
template <class TpFn>
int32_t CodeOf(TpFn fn, std::string* pMessage = nullptr)
{
  try {
    fn();
  } catch (const ClException& e) {
    if (pMessage)
      *pMessage = e.GetMessage();
    return e.GetCode();
  }
  return 0;
}
