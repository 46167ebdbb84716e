#include "tools/CaptureAdvice.h"

#include <cstdlib>

namespace {

const ClJson* RollFinger(const ClJson& data)
{
  const ClJson* kx2 = data.Find("KX2");
  return kx2 ? kx2->Find("ROLLFINGER") : nullptr;
}

int Flag(const ClJson* roll, const char* key)
{
  const ClJson* p = roll ? roll->Find(key) : nullptr;
  return p && p->Type() == ClJson::eString ? std::atoi(p->Text().c_str()) : 0;
}

struct ClFlagWords
{
  const char* szKey;
  const char* szWords;
};

// In the order the roll's result is chosen, the edges after the general region flag.
const ClFlagWords aFlagWords[] = {
    {"BACKROLL", "rolled backwards: roll in one direction only"},
    {"TOO_FAST", "rolled too fast or lifted early: roll slower, keeping the finger down"},
    {"TOO_SMALL", "too little of the finger was rolled: roll from one nail edge to the other"},
    {"SHIFTED", "the finger slipped: press lightly and roll without sliding"},
    {"OUT_OF_REGION_L", "rolled over the left edge of the capture area: start further right"},
    {"OUT_OF_REGION_R", "rolled over the right edge of the capture area: end further left"},
    {"OUT_OF_REGION_T", "rolled over the upper edge of the capture area: place the finger lower"},
    {"OUT_OF_REGION_B", "the print misses the lower part of the capture area: place the finger "
                        "lower"},
};

} // namespace

int32_t RollCodeOf(const ClJson& data) { return Flag(RollFinger(data), "RETURNCODE"); }

std::string RollAdvice(const ClJson& data)
{
  const ClJson* roll = RollFinger(data);
  std::string text;
  for (const ClFlagWords& f : aFlagWords)
    if (Flag(roll, f.szKey))
      text += (text.empty() ? "" : "; ") + std::string(f.szWords);
  return text;
}

const char* PropertyNames()
{
  return "Version (read only), nMaskSensitivity (0 to 5), nUseFastMask, nRolledPostProcess, "
         "nRollFingerStartMode, nAverageLivenessScoreMode, nResetImage (write only)";
}
