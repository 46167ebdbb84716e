#pragma once
// ClHistogram: 256 bins of byte values with the grey statistics the masks and the roll
// read from them. Signed images are counted shifted by 128 (m_nOffset).
#include <cstdint>

class ClImage;

class ClHistogram
{
public:
  ClHistogram();
  virtual ~ClHistogram();

  // Fills the bins from the whole image. Throws -101 for more than one plane.
  void Create(const ClImage& image);
  // Fills the bins from the rectangle x0..x1-1, y0..y1-1, clipped to the image. Throws
  // -101 for more than one plane or an empty rectangle. The bins are cleared first.
  void Create(const ClImage& image, int32_t x0, int32_t y0, int32_t x1, int32_t y1);

  // Smallest and largest value present, less the offset, in 8 bits. The searches stop at
  // bins 254 and 1: an empty histogram answers 255 and 0 (less the offset).
  uint8_t FirstValue() const;
  uint8_t LastValue() const;
  // Mean of the n smallest or largest samples, on bin indices. -44 when n is above the
  // number of samples.
  double MeanOfDarkest(uint32_t nCount) const;
  double MeanOfBrightest(uint32_t nCount) const;
  // Mean between two fractions of the sample count; dHigh must stay below 1.
  double TrimmedMean(double dLow, double dHigh) const;
  // Mean over bins nFrom..nTo less the offset; the middle of the range when it is empty.
  double MeanInRange(uint8_t nFrom, uint8_t nTo) const;
  uint32_t UsedBins() const;

  uint64_t Total() const;
  // What Bin(nFrom) + ... + Bin(nTo) of Create(image, x0, y0, x1, y1) would give for an
  // unsigned byte image with one plane, without filling bins.
  static uint64_t CountInRange(const ClImage& image, int32_t x0, int32_t y0, int32_t x1, int32_t y1,
                               uint8_t nFrom, uint8_t nTo);
  const uint32_t* Bins() const { return m_aBins; }
  uint32_t Bin(uint32_t nIndex) const { return m_aBins[nIndex & 255u]; }
  int32_t Offset() const { return m_nOffset; }

protected:
  // Mean of the nCount samples met first walking the bins from nFirst by nStep.
  double MeanFromEnd(uint32_t nCount, int32_t nFirst, int32_t nStep) const;
  void Reset();
  void CheckPlanes(const ClImage& image);
  void CountRows(const ClImage& image, int32_t x0, int32_t y0, int32_t x1, int32_t y1);

  uint32_t m_aBins[256];
  int32_t m_nOffset;
};
