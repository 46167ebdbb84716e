// How far the skin's distortion moves the print in one frame: for blocks of the platen,
// the offset from where the undistorted print lies to where the frame shows the same skin
// point. Differences between two frames give the block displacements between them.
#pragma once

#include "simulator/render/SimTypes.h"

#include <cstdint>
#include <vector>

namespace kxsim {

struct ClDisplacementField
{
  int nBlock = 0;         // block side, pixels
  int nCols = 0;          // blocks per row, nWidth / nBlock
  int nRows = 0;          // block rows, nHeight / nBlock
  std::vector<float> aDx; // per block, row by row, pixels; rows as the orientation has them
  std::vector<float> aDy;
  std::vector<uint8_t> aTouched; // 255 where the finger touches the block's centre
};

// The field of a scene on a platen of nWidth by nHeight pixels, sampled at the centres of
// nBlock by nBlock blocks. Throws std::invalid_argument for sizes below 1.
ClDisplacementField DisplacementField(const ClScene& scene, int nWidth, int nHeight, int nBlock,
                                      EOrientation eOrientation);

} // namespace kxsim
