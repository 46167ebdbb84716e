// Property names and values through the property exports of an open scanner: the first
// byte picks the export, a known name or the input's own, and the room of a text buffer.
#include "FuzzScanner.h"

#include <cstring>
#include <string>
#include <vector>

namespace {

const char* const aNames[] = {
    "Version",     "nUseFastMask",     "nRolledPostProcess",   "nAverageLivenessScoreMode",
    "nResetImage", "nMaskSensitivity", "nRollFingerStartMode", "nRollMergeMode"};

double Double(uint32_t nBits)
{
  float f;
  std::memcpy(&f, &nBits, sizeof(f));
  return f;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
  LS_KX2_HANDLE h = fuzz::Scanner();
  fuzz::ClInput in(pData, nSize);
  while (!in.Empty()) {
    const uint8_t op = in.Byte();
    const uint8_t nName = in.Byte();
    std::string sName = nName < 0xf0 ? aNames[nName % 7] : in.Text(64);
    const char* szName = nName == 0xff ? nullptr : sName.c_str();
    switch (op % 6) {
    case 0: {
      uint64_t nRoom = in.Byte() % 24;
      // Exactly the room claimed, so that a write past it is seen.
      std::vector<char> value(nRoom);
      LS_KX2GetPropertyA(h, szName, nRoom ? value.data() : nullptr, op & 0x80 ? nullptr : &nRoom);
      break;
    }
    case 1: {
      std::string sValue = in.Text(32);
      LS_KX2SetPropertyA(h, szName, op & 0x80 ? nullptr : sValue.c_str());
      break;
    }
    case 2: {
      int32_t n = 0;
      LS_KX2GetPropertyLongA(h, szName, op & 0x80 ? nullptr : &n);
      break;
    }
    case 3:
      LS_KX2SetPropertyLongA(h, szName, static_cast<int32_t>(in.Word()));
      break;
    case 4: {
      double d = 0;
      LS_KX2GetPropertyDoubleA(h, szName, op & 0x80 ? nullptr : &d);
      break;
    }
    default:
      LS_KX2SetPropertyDoubleA(h, szName, Double(in.Word()));
    }
  }
  return 0;
}
