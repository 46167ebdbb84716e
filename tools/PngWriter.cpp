#include "tools/PngWriter.h"

#include <png.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>

uint32_t DpiToPixelsPerMetre(uint32_t nDpi)
{
  return static_cast<uint32_t>(std::lround(nDpi / 0.0254));
}

bool WritePng(const std::string& path, const uint8_t* pPixels, uint32_t nWidth, uint32_t nHeight,
              size_t nStride, EPngColour eColour, uint32_t nDpi, std::string* pError)
{
  auto fail = [&](const std::string& reason) {
    if (pError)
      *pError = path + ": " + reason;
    return false;
  };
  FILE* f = std::fopen(path.c_str(), "wb");
  if (!f)
    return fail(std::strerror(errno));
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  // libpng reports its failures by a long jump back here.
  if (!png || !info || setjmp(png_jmpbuf(png))) {
    png_destroy_write_struct(&png, &info);
    std::fclose(f);
    return fail("PNG encoding failed");
  }
  png_init_io(png, f);
  png_set_IHDR(png, info, nWidth, nHeight, 8,
               eColour == EPngColour::eRgb ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY,
               PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  if (nDpi > 0) {
    const uint32_t ppm = DpiToPixelsPerMetre(nDpi);
    png_set_pHYs(png, info, ppm, ppm, PNG_RESOLUTION_METER);
  }
  png_write_info(png, info);
  for (uint32_t y = 0; y < nHeight; ++y)
    png_write_row(png, pPixels + y * nStride);
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  if (std::fclose(f) != 0)
    return fail(std::strerror(errno));
  return true;
}
