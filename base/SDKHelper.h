#pragma once
#include <cstdint>

// Copy-out rule for everything handed to a caller: a null size is -24, the needed size is
// always stored, a smaller old size is -21, a null destination is a plain size query.
class SDKHelper
{
public:
  static void CopyOut(void* pDst, uint64_t* pnSize, const void* pSrc, uint64_t nBytes);
};
