// Files of the command-line program's tests: fresh folders, PNGs read back, text files.
#ifndef LSKX2_TESTS_TOOLS_TOOLFILES_H
#define LSKX2_TESTS_TOOLS_TOOLFILES_H

#include <png.h>
#include <stdlib.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

// A new empty folder under the system's temporary folder.
inline std::string MakeTempDir()
{
  std::string templ = "/tmp/lskx2-test-XXXXXX";
  return mkdtemp(&templ[0]) ? templ : std::string();
}

inline void RemoveDir(const std::string& dir) { std::system(("rm -rf '" + dir + "'").c_str()); }

inline std::string ReadText(const std::string& path)
{
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

struct PngFile
{
  uint32_t nWidth = 0, nHeight = 0, nChannels = 0, nBitDepth = 0;
  uint32_t nPpmX = 0, nPpmY = 0; // 0 without a pHYs chunk in metres
  std::vector<uint8_t> aPixels;  // rows of nWidth * nChannels samples

  const uint8_t* At(uint32_t x, uint32_t y) const
  {
    return &aPixels[(static_cast<size_t>(y) * nWidth + x) * nChannels];
  }

  bool Read(const std::string& path)
  {
    FILE* f = std::fopen(path.c_str(), "rb");
    if (!f)
      return false;
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    if (setjmp(png_jmpbuf(png))) {
      png_destroy_read_struct(&png, &info, nullptr);
      std::fclose(f);
      return false;
    }
    png_init_io(png, f);
    png_read_info(png, info);
    nWidth = png_get_image_width(png, info);
    nHeight = png_get_image_height(png, info);
    nBitDepth = png_get_bit_depth(png, info);
    png_uint_32 x = 0, y = 0;
    int unit = 0;
    if (png_get_pHYs(png, info, &x, &y, &unit) && unit == PNG_RESOLUTION_METER) {
      nPpmX = x;
      nPpmY = y;
    }
    png_set_strip_16(png);
    png_read_update_info(png, info);
    nChannels = png_get_channels(png, info);
    aPixels.resize(static_cast<size_t>(nWidth) * nHeight * nChannels);
    for (uint32_t r = 0; r < nHeight; ++r)
      png_read_row(png, &aPixels[static_cast<size_t>(r) * nWidth * nChannels], nullptr);
    png_destroy_read_struct(&png, &info, nullptr);
    std::fclose(f);
    return true;
  }
};

constexpr int nWindowWidth = 1000, nWindowHeight = 900;

// Renders a page as a headless browser does, into a screenshot of the window's size.
inline bool Screenshot(const std::string& page, const std::string& dir, PngFile* pShot)
{
  std::string cmd = "timeout 120 chromium --headless --no-sandbox --disable-gpu "
                    "--hide-scrollbars --force-device-scale-factor=1 --user-data-dir=" +
                    dir + "/profile --window-size=" + std::to_string(nWindowWidth) + "," +
                    std::to_string(nWindowHeight) + " --screenshot=" + dir + "/shot.png file://" +
                    page + " >" + dir + "/chromium.log 2>&1";
  return std::system(cmd.c_str()) == 0 && pShot->Read(dir + "/shot.png");
}

#endif
