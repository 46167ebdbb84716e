// Roll thresholds from the input, then a roll: the first byte picks how the thresholds
// come (as the input's own JSON text, or as picks among the ends of each range), the
// second how many frames are triggered and fetched afterwards.
#include "FuzzScanner.h"

#include <climits>
#include <string>
#include <vector>

namespace {

const char* const aKeys[] = {"MERGED_LEN_THRESHOLD",
                             "MERGED_WIDTH_THRESHOLD",
                             "SERIES_LEN_THRESHOLD",
                             "SHIFT_DISTANCE_THRESHOLD",
                             "ROTATION_THRESHOLD",
                             "ROLL_VELOCITY_THRESHOLD",
                             "ROLL_SHIFT_AREA_ACTIVATION",
                             "ROLL_SHIFT_AREA_MODE",
                             "BORDER_SIDE",
                             "BORDER_TOP"};

// Values where arithmetic on a threshold turns: the ends of int32, the borders' limits,
// and numbers no int32 holds.
const char* const aValues[] = {"-2147483648", "-2147483647", "-1",  "0",          "1",
                               "2",           "3",           "299", "300",        "301",
                               "549",         "550",         "551", "2147483647", "4294967296",
                               "1e308",       "-1e308",      "nan", "0.5",        ""};

std::string Picked(fuzz::ClInput& in)
{
  std::string s = R"({"KX2":{"ROLLFINGER":{)";
  bool bFirst = true;
  for (const char* szKey : aKeys) {
    const size_t nCount = sizeof(aValues) / sizeof(*aValues);
    const uint8_t n = in.Byte();
    if (n >= 10 * nCount)
      continue; // key left out
    // The last entry stands for any 32-bit value the input gives.
    std::string sValue =
        n % nCount == nCount - 1 ? std::to_string(int32_t(in.Word())) : aValues[n % nCount];
    s += (bFirst ? "\"" : ",\"") + std::string(szKey) + "\":\"" + sValue + "\"";
    bFirst = false;
  }
  return s + "}}}";
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
  LS_KX2_HANDLE h = fuzz::Scanner();
  fuzz::ClInput in(pData, nSize);
  const uint8_t nHow = in.Byte();
  // One cycle of the simulated script (17 frames) and the settling before it.
  const int nFrames = 4 + in.Byte() % 24;
  LS_KX2SetCaptureMode(h, LS_KX2_MODE_ROLL);
  std::string sText = nHow & 1 ? Picked(in) : in.Rest();
  uint64_t n = sText.size() + 1;
  LS_KX2ExtendedScannerAccess(h, 7, reinterpret_cast<uint8_t*>(sText.data()), &n);
  LS_KX2SetPropertyLongA(h, "nResetImage", 1);
  std::vector<uint8_t> image(fuzz::nImageBytes);
  double d = 0;
  uint8_t bFinger = 0;
  int32_t nStatus = 0;
  for (int i = 0; i < nFrames && !bFinger; ++i) {
    if (LS_KX2TriggerScanner(h) != 0)
      break;
    LS_KX2GetRollImage(h, image.data(), &d, &bFinger, &nStatus);
  }
  // The diagnostics are read with the thresholds still in place.
  n = 0;
  if (LS_KX2ExtendedScannerAccess(h, 6, nullptr, &n) == -702) {
    std::vector<uint8_t> out(n);
    LS_KX2ExtendedScannerAccess(h, 6, out.data(), &n);
  }
  return 0;
}
