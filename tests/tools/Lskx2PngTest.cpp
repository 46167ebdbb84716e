#include "ToolFiles.h"
#include "lskx2_png.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

TEST(Lskx2Png, GreyImageWithItsResolutionRoundTrips)
{
  const uint32_t w = 37, h = 5, stride = 40; // padded rows must not leak into the file
  std::vector<uint8_t> pixels(stride * h, 0xEE);
  for (uint32_t y = 0; y < h; ++y)
    for (uint32_t x = 0; x < w; ++x)
      pixels[y * stride + x] = static_cast<uint8_t>(x * 7 + y * 31);
  std::string dir = MakeTempDir(), error;
  ASSERT_TRUE(WriteGreyPng(dir + "/a.png", pixels.data(), w, h, stride, 500, &error)) << error;
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

TEST(Lskx2Png, UnwritablePathIsReported)
{
  uint8_t pixel = 0;
  std::string error;
  EXPECT_FALSE(WriteGreyPng("/nonexistent-folder/a.png", &pixel, 1, 1, 1, 500, &error));
  EXPECT_NE(error.find("/nonexistent-folder/a.png"), std::string::npos);
}

} // namespace
