#pragma once
// What the fuzzers that drive the exports share: the simulated scanner they open, with
// short engine limits so that a wait which gets nothing costs milliseconds.
#include "capture/KX2LiveCaptureR2.h"
#include "livescannerkx2.h"
#include "simulator/kxsim.h"
#include "tests/common/SharedLibrary.h"

#include <cstdint>
#include <cstdlib>
#include <string>

namespace fuzz {

constexpr const char* szScanner = "KX2 21234567";
constexpr uint64_t nImageBytes = 800 * 750;

// Two scanners, each with a finger placed, held, lifted and then rolled.
inline const char* Config()
{
  return R"({"frame_interval_ms":0,"devices":[)"
         R"({"interface":0,"script":[{"empty":1},{"place":2,"finger":{"seed":3}},{"still":4},{"lift":1},)"
         R"({"roll":8,"from_x":260,"to_x":540},{"lift":1}]},)"
         R"({"interface":1,"serial":"21234568","script":[{"empty":1},{"place":2},{"still":3}]}]})";
}

// Once per process: the SDK's first use, which loads the simulated device library, then
// the simulator's configuration. Aborts when the set-up itself fails: nothing to fuzz.
inline void SetUpOnce()
{
  static const bool bDone = [] {
    ClKX2LiveCaptureR2::StTuning t;
    t.nWorkerMs = 200;
    t.nPreviewMs = 30;
    t.nResultMs = 60;
    t.bLowPriority = false;
    ClKX2LiveCaptureR2::SetDefaultTuning(t);
    if (LS_KX2Initialize(nullptr) != 0)
      std::abort();
    ClLib lib(std::string(LSKX2_FUZZ_BIN_DIR) + "/libkxScanAPI.so");
    if (!lib.Fn<KXSIM_LOADCONFIG>("kxsimLoadConfig")(Config()))
      std::abort();
    lib.Fn<KXSIM_SETFRAMEINTERVAL>("kxsimSetFrameInterval")(0);
    return true;
  }();
  (void)bDone;
}

// A scanner opened once and kept for the whole run.
inline LS_KX2_HANDLE Scanner()
{
  SetUpOnce();
  static LS_KX2_HANDLE h = [] {
    LS_KX2_HANDLE hOpen = nullptr;
    if (LS_KX2OpenScanner(szScanner, &hOpen) != 0)
      std::abort();
    return hOpen;
  }();
  return h;
}

// Reads the input front to back; past the end everything is zero.
class ClInput
{
public:
  ClInput(const uint8_t* pData, size_t nSize) : m_p(pData), m_nLeft(nSize) {}
  bool Empty() const { return m_nLeft == 0; }
  uint8_t Byte()
  {
    if (!m_nLeft)
      return 0;
    --m_nLeft;
    return *m_p++;
  }
  uint32_t Word()
  {
    uint32_t n = 0;
    for (int i = 0; i < 4; ++i)
      n = n << 8 | Byte();
    return n;
  }
  // Up to the next zero byte or nMax bytes.
  std::string Text(size_t nMax)
  {
    std::string s;
    while (m_nLeft && s.size() < nMax) {
      const uint8_t c = Byte();
      if (!c)
        break;
      s.push_back(static_cast<char>(c));
    }
    return s;
  }
  std::string Rest() { return Text(m_nLeft); }

private:
  const uint8_t* m_p;
  size_t m_nLeft;
};

} // namespace fuzz
