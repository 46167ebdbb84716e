#pragma once
// 8-bit grey or RGB PNG files, optionally with their resolution, so that viewers and
// matchers see the scanner's dpi. The one PNG writer of the programs in this folder.

#include <cstddef>
#include <cstdint>
#include <string>

// Samples per pixel.
enum class EPngColour : uint32_t { eGrey = 1, eRgb = 3 };

// Writes nHeight rows of nWidth pixels, rows nStride bytes apart, with a pHYs chunk for
// nDpi in both directions (none for 0). On failure returns false with the reason in
// *pError (when given).
bool WritePng(const std::string& path, const uint8_t* pPixels, uint32_t nWidth, uint32_t nHeight,
              size_t nStride, EPngColour eColour, uint32_t nDpi, std::string* pError);

// Pixels per metre as PNG stores a resolution: 500 dpi gives 19685.
uint32_t DpiToPixelsPerMetre(uint32_t nDpi);
