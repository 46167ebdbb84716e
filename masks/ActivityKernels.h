#pragma once
// The row kernel of the segmenter's activity classes, built with the vectorizer (see
// imaging/VectorKernel.h).
#include <cstdint>

// The activity a of one row as bytes: pUpper = CappedSample(255 a / dUpper), pLower the
// same for dLower (0 below or at 0 and for not-a-number, 255 from 255 on, else
// truncated), and pBackground cleared where a >= dLower or it is above nGreyLimit.
void ClassifyActivityRow(const float* pActivity, uint8_t* pUpper, uint8_t* pLower,
                         uint8_t* pBackground, int32_t nCount, double dUpper, double dLower,
                         uint8_t nGreyLimit);
