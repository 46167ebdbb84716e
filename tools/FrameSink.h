#pragma once
// Sees the frames and prompts of the capture loops, on the thread that runs them, for a
// program that shows more than a progress line.

#include "tools/ProgressLine.h"

#include <cstdint>

class ClFrameSink
{
public:
  virtual ~ClFrameSink() = default;
  // pImage: rows of nWidth samples padded to 4 bytes, valid during the call only.
  virtual void OnFrame(const ClProgressState& state, const uint8_t* pImage, uint32_t nWidth,
                       uint32_t nHeight) = 0;
  virtual void OnPrompt(const char* szPrompt) = 0;
};
