#pragma once
// Reaches the simulator's inspection and control exports in the device library that the
// binding loaded (the same file, found the same way).
#include "simulator/kxsim.h"
#include "tests/common/SharedLibrary.h"
#include "tests/common/TestFailure.h"

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
    if (!m_Lib.Fn<KXSIM_LOADCONFIG>("kxsimLoadConfig")(sJson.c_str()))
      throw std::runtime_error(std::string("configuration refused: ") +
                               m_Lib.Fn<KXSIM_GETCONFIGERROR>("kxsimGetConfigError")());
    m_Lib.Fn<KXSIM_SETFRAMEINTERVAL>("kxsimSetFrameInterval")(0);
  }
  int64_t Calls(const char* szEntry)
  {
    return m_Lib.Fn<KXSIM_GETCALLCOUNT>("kxsimGetCallCount")(szEntry);
  }
  kxsimDeviceState State(int nInterface)
  {
    kxsimDeviceState s = {};
    s.nSize = sizeof(s);
    if (!m_Lib.Fn<KXSIM_GETDEVICESTATE>("kxsimGetDeviceState")(nInterface, &s))
      throw std::runtime_error("no device on interface " + std::to_string(nInterface));
    return s;
  }
  void SetConnected(int nInterface, bool bConnected)
  {
    m_Lib.Fn<KXSIM_SETCONNECTED>("kxsimSetConnected")(nInterface, bConnected);
  }

private:
  ClSimControl() : m_Lib(std::string(LSKX2_TEST_BIN_DIR) + "/libkxScanAPI.so") {}
  ClLib m_Lib;
};
