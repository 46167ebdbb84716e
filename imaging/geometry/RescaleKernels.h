#pragma once
// Byte kernels of the rescaling processors, on raw row pointers and strides in bytes.
// Each works on one plane; the processors split planes and pick the kernel once per
// image. Fixed-point positions carry 12 fraction bits (4096 is one pixel).
#include <cstdint>

namespace RescaleKernels {

constexpr int32_t nFixShift = 12;
constexpr int64_t nFixOne = 4096;

// dst(x, y) = src(x * nStepX >> 12, y * nStepY >> 12). A source row at or beyond the
// height leaves the output row unwritten; a source column beyond the width ends the
// row there. pColumns holds nDW entries of scratch.
void Nearest(const uint8_t* pSrc, int32_t nSrcStride, int32_t nW, int32_t nH, uint8_t* pDst,
             int32_t nDstStride, int32_t nDW, int32_t nDH, int64_t nStepX, int64_t nStepY,
             int32_t* pColumns);

// Enlarging bilinear pass, W <= DW and H <= DH: interior by four fixed-point products,
// margins along the first and last row or column, corner blocks by the corner sample.
// pColumns holds 2 * nDW entries of scratch.
void BilinearEnlarge(const uint8_t* pSrc, int32_t nSrcStride, int32_t nW, int32_t nH, uint8_t* pDst,
                     int32_t nDstStride, int32_t nDW, int32_t nDH, int32_t* pColumns);

// Area reduction along rows with the fixed-point ratio nRatio (input pixels per output
// pixel, 12 fraction bits). At most nDW outputs per row.
void ReduceX(const uint8_t* pSrc, int32_t nSrcStride, int32_t nW, int32_t nH, uint8_t* pDst,
             int32_t nDstStride, int32_t nDW, int64_t nRatio);

// The same down the columns, one 32-bit sum per column in pSums (nW entries).
void ReduceY(const uint8_t* pSrc, int32_t nSrcStride, int32_t nW, int32_t nH, uint8_t* pDst,
             int32_t nDstStride, int32_t nDH, int64_t nRatio, uint32_t* pSums);

// Cubic convolution weight at squared distance d2 with parameter a (negative).
double CubicWeight(double d2, double a);

// ReduceX then ReduceY when both ratios are exactly two, in one pass. pRows holds
// 2 * (nDW + 1) bytes of scratch.
void Halve(const uint8_t* pSrc, int32_t nSrcStride, int32_t nW, int32_t nH, uint8_t* pDst,
           int32_t nDstStride, int32_t nDW, int32_t nDH, uint8_t* pRows);

// Exact bicubic from a packed W x H array of doubles.
void BicubicExact(const double* pPacked, int32_t nW, int32_t nH, uint8_t* pDst, int32_t nDstStride,
                  int32_t nDW, int32_t nDH, double a);

// Fixed-weight bicubic from a packed W x H byte buffer; the weights are those of a
// position between four pixels, scaled by 10000.
void BicubicFast(const uint8_t* pPacked, int32_t nW, int32_t nH, uint8_t* pDst, int32_t nDstStride,
                 int32_t nDW, int32_t nDH, double a);

// One line of the scanline resampler, n samples to m. Reads up to two samples past the
// end of the line, so buffers carry two spare bytes.
void ResampleLine(const uint8_t* pIn, int32_t n, uint8_t* pOut, int32_t m);

// Transposes a packed nW x nH buffer into a packed nH x nW one.
void Transpose(const uint8_t* pSrc, int32_t nW, int32_t nH, uint8_t* pDst);

// Whole-number steps along rows: mean of k samples, or each sample repeated k times.
// Outputs beyond what the input covers repeat the last one.
void MeanX(const uint8_t* pSrc, int32_t nSrcStride, int32_t nW, int32_t nH, uint8_t* pDst,
           int32_t nDstStride, int32_t nDW, int32_t k);
void RepeatX(const uint8_t* pSrc, int32_t nSrcStride, int32_t nW, int32_t nH, uint8_t* pDst,
             int32_t nDstStride, int32_t nDW, int32_t k);
// The same down the columns.
void MeanY(const uint8_t* pSrc, int32_t nSrcStride, int32_t nW, int32_t nH, uint8_t* pDst,
           int32_t nDstStride, int32_t nDH, int32_t k);
void RepeatY(const uint8_t* pSrc, int32_t nSrcStride, int32_t nW, int32_t nH, uint8_t* pDst,
             int32_t nDstStride, int32_t nDH, int32_t k);

} // namespace RescaleKernels
