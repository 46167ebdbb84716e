#include "simulator/render/LivenessScore.h"

#include <algorithm>
#include <array>

namespace kxsim {

namespace {
constexpr int kBlock = 16;
constexpr int kMinBlocks = 20;
constexpr int kMinRidgeRise = 60; // grey levels above the dark level that mark a finger block
} // namespace

ClLivenessResult LivenessScore(int nWidth, int nHeight, const uint8_t* pRaw)
{
  ClLivenessResult result;
  if (!pRaw || nWidth < kBlock || nHeight < kBlock)
    return result;
  // Dark level: the 5th percentile of the whole frame.
  std::array<uint64_t, 256> hist{};
  const size_t pixels = size_t(nWidth) * size_t(nHeight);
  for (size_t i = 0; i < pixels; ++i)
    ++hist[pRaw[i]];
  uint64_t seen = 0;
  int dark = 0;
  while (dark < 255 && (seen += hist[size_t(dark)]) < pixels / 20)
    ++dark;

  std::array<uint8_t, kBlock * kBlock> block;
  double depth = 0.0;
  for (int by = 0; by + kBlock <= nHeight; by += kBlock)
    for (int bx = 0; bx + kBlock <= nWidth; bx += kBlock) {
      for (int y = 0; y < kBlock; ++y)
        std::copy_n(pRaw + size_t(by + y) * size_t(nWidth) + size_t(bx), kBlock,
                    block.begin() + y * kBlock);
      auto p10 = block.begin() + block.size() / 10;
      auto p90 = block.begin() + block.size() * 9 / 10;
      std::nth_element(block.begin(), p90, block.end());
      const int hi = *p90;
      std::nth_element(block.begin(), p10, p90);
      const int lo = *p10;
      if (hi - dark < kMinRidgeRise)
        continue;
      depth += double(hi - lo) / double(hi - dark);
      ++result.nBlocks;
    }
  if (result.nBlocks < kMinBlocks)
    return result;
  result.bFinger = true;
  result.dScore = std::clamp((depth / result.nBlocks - 0.5) / 0.35, 0.0, 1.0);
  return result;
}

} // namespace kxsim
