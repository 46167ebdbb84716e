// mask_pictures DIR: writes, for a few simulator frames, the frame beside its KX10 mask
// (sensitivity 2), its high precision KX10 mask and its KX2 development mask, as one PNG
// per case, so that a person can look at what the masks make of a frame.
#include "imaging/model/FpImage.h"
#include "masks/IpKX10MaskR2.h"
#include "masks/IpKX2DevelMask.h"
#include "tests/masks/MaskTestUtil.h"

#include <png.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

bool WritePng(const std::string& sPath, const std::vector<const ClImage*>& aPanels)
{
  const int32_t w = aPanels[0]->Width(), h = aPanels[0]->Height(), nGap = 8;
  const int32_t nWidth = int32_t(aPanels.size()) * (w + nGap) - nGap;
  std::vector<uint8_t> aRow(size_t(nWidth), 128);
  FILE* f = std::fopen(sPath.c_str(), "wb");
  if (!f)
    return false;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  if (!png || !info || setjmp(png_jmpbuf(png))) {
    png_destroy_write_struct(&png, &info);
    std::fclose(f);
    return false;
  }
  png_init_io(png, f);
  png_set_IHDR(png, info, png_uint_32(nWidth), png_uint_32(h), 8, PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  for (int32_t y = 0; y < h; ++y) {
    for (size_t p = 0; p < aPanels.size(); ++p)
      for (int32_t x = 0; x < w; ++x)
        aRow[p * size_t(w + nGap) + size_t(x)] = masktest::At(*aPanels[p], x, y);
    png_write_row(png, aRow.data());
  }
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  return std::fclose(f) == 0;
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
    double dPressure;  // 0: empty platen
    double dResidue;
    int32_t nSensitivity;
  };
  const StCase aCases[] = {{"empty-clean", 0, 0.0, 2},    {"empty-dirty", 0, 0.8, 2},
                           {"finger-light", 0.3, 0.0, 2}, {"finger-firm", 0.8, 0.2, 2},
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
    if (!WritePng(sPath, {&in, &outLow, &outHigh, &outDevel})) {
      std::fprintf(stderr, "cannot write %s\n", sPath.c_str());
      return 1;
    }
    std::printf("%s: finger area %lld (KX10), %lld (high precision), %lld (KX2)\n", sPath.c_str(),
                (long long)masktest::FingerArea(outLow), (long long)masktest::FingerArea(outHigh),
                (long long)masktest::FingerArea(outDevel));
  }
  return 0;
}
