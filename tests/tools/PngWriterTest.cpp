#include "ToolFiles.h"
#include "tools/PngWriter.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

TEST(PngWriter, GreyImageWithItsResolutionRoundTrips)
{
  const uint32_t w = 37, h = 5, stride = 40; // padded rows must not leak into the file
  std::vector<uint8_t> pixels(stride * h, 0xEE);
  for (uint32_t y = 0; y < h; ++y)
    for (uint32_t x = 0; x < w; ++x)
      pixels[y * stride + x] = static_cast<uint8_t>(x * 7 + y * 31);
  std::string dir = MakeTempDir(), error;
  ASSERT_TRUE(WritePng(dir + "/a.png", pixels.data(), w, h, stride, EPngColour::eGrey, 500, &error))
      << error;
  PngFile png;
  ASSERT_TRUE(png.Read(dir + "/a.png"));
  EXPECT_EQ(png.nWidth, w);
  EXPECT_EQ(png.nHeight, h);
  EXPECT_EQ(png.nChannels, 1u);
  EXPECT_EQ(png.nBitDepth, 8u);
  EXPECT_EQ(png.nPpmX, 19685u);
  EXPECT_EQ(png.nPpmY, 19685u);
  EXPECT_EQ(std::lround(png.nPpmX * 0.0254), 500);
  for (uint32_t y = 0; y < h; ++y)
    for (uint32_t x = 0; x < w; ++x)
      ASSERT_EQ(*png.At(x, y), pixels[y * stride + x]) << x << "," << y;
}

TEST(PngWriter, ColourImageWithoutResolutionRoundTrips)
{
  const uint32_t w = 3, h = 2, stride = 3 * w + 2;
  std::vector<uint8_t> pixels(stride * h, 0xEE);
  for (uint32_t y = 0; y < h; ++y)
    for (uint32_t i = 0; i < 3 * w; ++i)
      pixels[y * stride + i] = static_cast<uint8_t>(i * 20 + y);
  std::string dir = MakeTempDir(), error;
  ASSERT_TRUE(WritePng(dir + "/rgb.png", pixels.data(), w, h, stride, EPngColour::eRgb, 0, &error))
      << error;
  PngFile png;
  ASSERT_TRUE(png.Read(dir + "/rgb.png"));
  EXPECT_EQ(png.nChannels, 3u);
  EXPECT_EQ(png.nPpmX, 0u);
  for (uint32_t y = 0; y < h; ++y)
    for (uint32_t i = 0; i < 3 * w; ++i)
      ASSERT_EQ(png.aPixels[y * 3 * w + i], pixels[y * stride + i]) << i << "," << y;
  RemoveDir(dir);
}

TEST(PngWriter, UnwritablePathIsReported)
{
  uint8_t pixel = 0;
  std::string error;
  EXPECT_FALSE(
      WritePng("/nonexistent-folder/a.png", &pixel, 1, 1, 1, EPngColour::eGrey, 500, &error));
  EXPECT_NE(error.find("/nonexistent-folder/a.png"), std::string::npos);
}

} // namespace
