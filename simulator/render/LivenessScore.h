// Liveness judgement of the stub: a live finger shows deep valleys between its ridges and
// contrast that fades towards the rim; an artificial one has bright valleys (the material
// fills them) and flat, even contact. The score measures valley depth in the bright
// blocks of the frame.
#pragma once

#include <cstdint>

namespace kxsim {

struct ClLivenessResult
{
  bool bFinger = false; // enough finger blocks to judge
  double dScore = 0.0;  // 0 artificial .. 1 live
  int nBlocks = 0;      // finger blocks measured
};

// pRaw: the normal frame, nWidth by nHeight, rows packed, finger light on dark.
ClLivenessResult LivenessScore(int nWidth, int nHeight, const uint8_t* pRaw);

} // namespace kxsim
