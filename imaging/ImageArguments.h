#pragma once
// Checks of a processor's image pointers that the frames and processors share. Inline, so
// that the processors' hot paths compile as with the checks written in place.
#include "model/FpImage.h"
#include "base/Exceptions.h"

#include <cstdint>

// -701 "m_pInImage is not set", then -701 "m_pOutImage is not set".
inline void RequireImages(const ClImage* pIn, const ClImage* pOut)
{
  if (!pIn)
    LSKX2_THROW_MSG("m_pInImage is not set", eErrBadPointer);
  if (!pOut)
    LSKX2_THROW_MSG("m_pOutImage is not set", eErrBadPointer);
}

// As RequireImages, then -701 "m_pInImage->Data() is not set" for an input without pixels.
inline void RequireImagesWithData(const ClImage* pIn, const ClImage* pOut)
{
  RequireImages(pIn, pOut);
  if (!pIn->Data())
    LSKX2_THROW_MSG("m_pInImage->Data() is not set", eErrBadPointer);
}

// The light templates' checks, all -44: both images set, the input's samples nSampleSize
// bytes wide, one plane.
inline void CheckTemplateImages(const ClImage* pIn, const ClImage* pOut, uint32_t nSampleSize)
{
  if (!pIn)
    LSKX2_THROW_MSG("Input image must not be NULL.", eErrInvalidParameter);
  if (!pOut)
    LSKX2_THROW_MSG("Output image must not be NULL.", eErrInvalidParameter);
  if (pIn->SampleSize() != nSampleSize)
    LSKX2_THROW_MSG("Datatype size of input images and processor configuration differs.",
                    eErrInvalidParameter);
  if (pIn->Planes() != 1)
    LSKX2_THROW_MSG("Only single plane images supported.", eErrInvalidParameter);
}
