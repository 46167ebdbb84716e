// The simulator's configuration text: the JSON of its devices, faults and finger scripts.
#include "simulator/device/SimConfig.h"
#include "simulator/render/SimTypes.h"

#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
  try {
    kxsim::ParseConfig(std::string(reinterpret_cast<const char*>(pData), nSize), "fuzz",
                       {{10, 0, 0, 1}});
  } catch (const kxsim::ClSimConfigError&) {
  }
  return 0;
}
