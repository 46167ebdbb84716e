// mask_pictures DIR: writes, for a few simulator frames, the frame beside its KX10 mask
// (sensitivity 2), its high precision KX10 mask and its KX2 development mask, as one PNG
// per case, so that a person can look at what the masks make of a frame.
#include "tools/PngWriter.h"
#include "model/FpImage.h"
#include "masks/IpKX10MaskR2.h"
#include "masks/IpKX2DevelMask.h"
#include "tests/masks/MaskTestUtil.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

// The panels side by side, grey gaps between them.
bool WritePanels(const std::string& sPath, const std::vector<const ClImage*>& aPanels)
{
  const int32_t w = aPanels[0]->Width(), h = aPanels[0]->Height(), nGap = 8;
  const int32_t nWidth = int32_t(aPanels.size()) * (w + nGap) - nGap;
  std::vector<uint8_t> aPixels(size_t(nWidth) * h, 128);
  for (int32_t y = 0; y < h; ++y)
    for (size_t p = 0; p < aPanels.size(); ++p)
      std::memcpy(&aPixels[size_t(y) * nWidth + p * size_t(w + nGap)],
                  aPanels[p]->Data() + ptrdiff_t(y) * aPanels[p]->LineElements(), size_t(w));
  return WritePng(sPath, aPixels.data(), uint32_t(nWidth), uint32_t(h), size_t(nWidth),
                  EPngColour::eGrey, 0, nullptr);
}

} // namespace

int main(int argc, char** argv)
{
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s DIR\n", argv[0]);
    return 2;
  }
  struct StCase
  {
    const char* szName;
    double dPressure; // 0: empty platen
    double dResidue;
    int32_t nSensitivity;
  };
  const StCase aCases[] = {{"empty-clean", 0, 0.0, 2},       {"empty-dirty", 0, 0.8, 2},
                           {"finger-light", 0.3, 0.0, 2},    {"finger-firm", 0.8, 0.2, 2},
                           {"finger-light-s0", 0.3, 0.0, 0}, {"finger-light-s5", 0.3, 0.0, 5}};
  ClIpKX10MaskR2 low(false), high(true);
  ClIpKX2DevelMask devel;
  for (const StCase& c : aCases) {
    ClImage in, outLow, outHigh, outDevel;
    if (c.dPressure > 0)
      masktest::FingerFrame(in, c.dPressure, 7, c.dResidue);
    else
      masktest::EmptyFrame(in, c.dResidue);
    low.m_nSensitivity = high.m_nSensitivity = c.nSensitivity;
    low.Compute(&in, &outLow, 500, 1.0);
    high.Compute(&in, &outHigh, 500, 1.0);
    devel.m_pInImage = &in;
    devel.m_pOutImage = &outDevel;
    devel.Run();
    const std::string sPath = std::string(argv[1]) + "/" + c.szName + ".png";
    if (!WritePanels(sPath, {&in, &outLow, &outHigh, &outDevel})) {
      std::fprintf(stderr, "cannot write %s\n", sPath.c_str());
      return 1;
    }
    std::printf("%s: finger area %lld (KX10), %lld (high precision), %lld (KX2)\n", sPath.c_str(),
                (long long)masktest::FingerArea(outLow), (long long)masktest::FingerArea(outHigh),
                (long long)masktest::FingerArea(outDevel));
  }
  return 0;
}
