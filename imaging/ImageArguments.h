#pragma once
// Checks of a processor's image pointers that the frames and processors share.
#include <cstdint>

class ClImage;

// -701 "m_pInImage is not set", then -701 "m_pOutImage is not set".
void RequireImages(const ClImage* pIn, const ClImage* pOut);
// As RequireImages, then -701 "m_pInImage->Data() is not set" for an input without pixels.
void RequireImagesWithData(const ClImage* pIn, const ClImage* pOut);
// The light templates' checks, all -44: both images set, the input's samples nSampleSize
// bytes wide, one plane.
void CheckTemplateImages(const ClImage* pIn, const ClImage* pOut, uint32_t nSampleSize);
