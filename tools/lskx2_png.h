// 8-bit grey PNG files that record their resolution, so that viewers and matchers
// see the scanner's 500 dpi.
#ifndef LSKX2_TOOLS_PNG_H
#define LSKX2_TOOLS_PNG_H

#include <cstddef>
#include <cstdint>
#include <string>

// Writes nHeight rows of nWidth samples, rows nStride bytes apart, with a pHYs chunk for
// nDpi in both directions. On failure returns false with the reason in *pError.
bool WriteGreyPng(const std::string& path, const uint8_t* pPixels, uint32_t nWidth,
                  uint32_t nHeight, size_t nStride, uint32_t nDpi, std::string* pError);

// Pixels per metre as PNG stores a resolution: 500 dpi gives 19685.
uint32_t DpiToPixelsPerMetre(uint32_t nDpi);

#endif
