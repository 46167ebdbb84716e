#include "base/SDKHelper.h"

#include "base/Exceptions.h"

#include <cstring>

void SDKHelper::CopyOut(void* pDst, uint64_t* pnSize, const void* pSrc, uint64_t nBytes)
{
  if (!pnSize)
    LSKX2_THROW(eErrTemplateSizePtr);
  uint64_t old = *pnSize;
  *pnSize = nBytes;
  if (old < nBytes)
    LSKX2_THROW(eErrTemplateSize);
  if (!pDst)
    return;
  if (nBytes)
    std::memcpy(pDst, pSrc, nBytes);
}
