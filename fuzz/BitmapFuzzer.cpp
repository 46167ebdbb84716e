// Bitmap blocks as a device or a file hands them over: wrapped by ClBitmap::Attach, with
// and without the file header, then laid under a ClImage whose every row is read.
#include "model/Bitmap.h"
#include "model/FpImage.h"
#include "base/Exceptions.h"

#include <cstdint>
#include <cstring>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
  // A copy of exactly the input's size: any read beyond the block is seen.
  std::vector<uint8_t> block(pData, pData + nSize);
  ClBitmap bitmap;
  try {
    bitmap.Attach(block.empty() ? nullptr : block.data(), block.size());
  } catch (const ClException&) {
    return 0;
  }
  ClImage image;
  try {
    if (!image.Attach(bitmap))
      return 0;
  } catch (const ClException&) {
    return 0;
  }
  // A block with a negative width passes both Attach calls (its stride, negative too,
  // passes the size check); such an image has no row to read.
  if (image.Width() <= 0 || image.LineBytes() <= 0 || !image.Pixels<uint8_t>())
    return 0;
  const int64_t nRowBytes = int64_t(image.Width()) * image.Planes() * image.SampleSize();
  volatile uint32_t nSum = 0;
  for (int32_t y = 0; y < image.Height(); ++y) {
    const uint8_t* pRow = image.Pixels<uint8_t>() + int64_t(y) * image.LineBytes();
    for (int64_t x = 0; x < nRowBytes; ++x)
      nSum = nSum + pRow[x];
  }
  return 0;
}
