#include "model/Bitmap.h"
#include "model/FpImage.h"
#include "tests/common/TestFailure.h"

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <vector>

namespace {

// Writes a distinct value into every sample, padding left alone.
template <class T>
void Pattern(ClImage& img)
{
  T* p = img.Pixels<T>();
  for (int32_t y = 0; y < img.Height(); ++y)
    for (int32_t i = 0; i < img.Width() * static_cast<int32_t>(img.Planes()); ++i)
      p[y * img.LineElements() + i] = static_cast<T>(y * 100 + i + 1);
}

} // namespace

TEST(ImageCreate, StrideContentAndRange)
{
  ClImage img;
  img.Create(eUInt8, 5, 3, 3);
  EXPECT_EQ(img.LineBytes(), 16); // 15 padded to 4
  EXPECT_EQ(img.Content(), eRGB);
  img.Create(eUInt16, 3, 2, 1);
  EXPECT_EQ(img.LineBytes(), 8);
  EXPECT_EQ(img.LineElements(), 4); // rows are not width * planes samples apart
  EXPECT_EQ(img.MaxValue(), 65535);
  img.Create(eDouble64, 3, 2, 2);
  EXPECT_EQ(img.LineElements(), 6);
  EXPECT_EQ(img.Content(), eUnknown);
  EXPECT_EQ(img.MinValue(), -1);
  img.Create(eInt8, 1, 1, 5);
  EXPECT_EQ(img.Content(), eUnknown);
  EXPECT_EQ(img.MinValue(), -128);

  img.Create(eFloat32, 0, 7, 4, 5, 6); // no area: fields set, no buffer
  EXPECT_EQ(img.Data(), nullptr);
  EXPECT_EQ(img.Height(), 7);
  EXPECT_EQ(img.Content(), eRGBA);
  EXPECT_EQ(img.PelsY(), 6);
  EXPECT_TRUE(std::isnan(ClImage().MinValue()));
}

TEST(ImageCreate, ReusesBufferOnlyWhenSameBytesAndSoleOwner)
{
  ClImage img;
  img.Create(eUInt8, 8, 4);
  uint8_t* p = img.Data();
  std::memset(p, 0x5A, 32);

  img.Create(eUInt16, 4, 4); // other geometry, same 32 bytes
  EXPECT_EQ(img.Data(), p);
  EXPECT_EQ(img.Data()[31], 0x5A); // old bytes stay

  img.Create(eUInt8, 9, 4); // 48 bytes
  EXPECT_NE(img.Data(), p);

  ClImage other;
  other.Share(img);
  uint8_t* shared = img.Data();
  std::memset(shared, 0x11, 48);
  img.Create(eUInt8, 12, 4); // same bytes, but shared: never written over
  EXPECT_NE(img.Data(), shared);
  EXPECT_EQ(other.Data(), shared);
  EXPECT_EQ(other.SharedData().use_count(), 1);
  std::memset(img.Data(), 0x22, 48);
  EXPECT_EQ(other.Data()[47], 0x11);
}

TEST(ImageCreate, BadSizesThrow)
{
  ClImage img(4, 4);
  uint8_t* p = img.Data();
  EXPECT_EQ(CodeOf([&] { img.Create(eUInt8, 4, -1); }), -101);
  EXPECT_EQ(img.Height(), -1); // members already set, buffer kept
  EXPECT_EQ(img.Data(), p);
  EXPECT_EQ(CodeOf([&] { img.Create(eUInt8, -4, 4); }), -101);

  EXPECT_EQ(CodeOf([&] { img.Create(eDouble64, 70000, 70000); }), -102);
  EXPECT_EQ(img.Data(), nullptr);
  EXPECT_EQ(img.Width(), 0); // cleared
}

TEST(ImageShare, SharesBufferAndDropsOwn)
{
  ClImage src(6, 2);
  src.SetImageTag(77);
  src.SetMinValue(10);
  ClImage dst(3, 3);
  boost::shared_array<uint8_t> oldDst = dst.SharedData();
  EXPECT_EQ(oldDst.use_count(), 2);

  dst.Share(src);
  EXPECT_EQ(oldDst.use_count(), 1); // dst let go of its own pixels
  EXPECT_EQ(dst.Data(), src.Data());
  EXPECT_EQ(src.SharedData().use_count(), 2);
  EXPECT_EQ(dst.Width(), 6);
  EXPECT_EQ(dst.ImageTag(), 77u);
  EXPECT_EQ(dst.MinValue(), 10);
  dst.Data()[0] = 9;
  EXPECT_EQ(src.Data()[0], 9);

  src.Share(src);
  EXPECT_EQ(src.Width(), 6);
  EXPECT_EQ(src.SharedData().use_count(), 2);
}

TEST(ImageCopy, DeepCopyWithPaddingAndFields)
{
  ClImage src;
  src.Create(eUInt16, 3, 4, 1, 100, 200); // 6 bytes a row, padded to 8
  std::memset(src.Data(), 0xA5, src.LineBytes() * 4);
  src.SetImageTag(5);
  src.SetMaxValue(1023);

  ClImage dst;
  dst.Share(src); // a copy must not write into the shared pixels
  dst.Copy(src);
  ASSERT_NE(dst.Data(), src.Data());
  EXPECT_EQ(std::memcmp(dst.Data(), src.Data(), 32), 0);
  EXPECT_EQ(dst.ImageTag(), 5u);
  EXPECT_EQ(dst.MaxValue(), 1023);
  EXPECT_EQ(dst.PelsY(), 200);
  dst.Data()[0] = 0;
  EXPECT_EQ(src.Data()[0], 0xA5);

  EXPECT_EQ(&src.Copy(src), &src);
  EXPECT_EQ(src.Data()[0], 0xA5);

  ClImage empty;
  empty.Create(eUInt8, 0, 5);
  ClImage out(2, 2);
  out.Copy(empty);
  EXPECT_EQ(out.Data(), nullptr);
  EXPECT_EQ(out.Height(), 5);
}

TEST(ImageCreate, SwapAndTypedCreates)
{
  ClImage a(4, 2);
  a.SetImageTag(9);
  a.SetMinValue(-5);
  ClImage c;
  c.CreateAsType(a, eUInt16);
  EXPECT_EQ(c.ImageTag(), 9u);
  EXPECT_EQ(c.MinValue(), 0); // the new type's range
  c.CreateSized<short>(a);
  EXPECT_EQ(c.DataType(), eInt16);
  EXPECT_EQ(c.MinValue(), -5); // the source's range
  EXPECT_EQ(CodeOf([&] { c.CreateAsType(c, eUInt8); }), -44);
  EXPECT_EQ(CodeOf([&] { c.CreateSized<short>(c); }), -44);

  uint8_t* pa = a.Data();
  a.Swap(c);
  EXPECT_EQ(c.Data(), pa);
  EXPECT_EQ(c.ImageTag(), 9u);
  EXPECT_EQ(a.DataType(), eInt16);
  a.Swap(a);
  EXPECT_EQ(a.DataType(), eInt16);
}

TEST(ImageFill, PerTypeRules)
{
  ClImage u8(5, 2); // 3 padding bytes a row
  u8.Fill(static_cast<unsigned char>(7));
  for (int i = 0; i < 16; ++i)
    EXPECT_EQ(u8.Data()[i], 7) << i; // padding included

  ClImage s8;
  s8.Create(eInt8, 5, 2);
  s8.Fill(static_cast<unsigned char>(3)); // any 1-byte image takes the block fill
  EXPECT_EQ(s8.Data()[15], 3);
  EXPECT_EQ(CodeOf([&] { s8.Fill(static_cast<short>(3)); }), -101);

  ClImage s16;
  s16.Create(eInt16, 3, 2);
  std::memset(s16.Data(), 0xEE, 16);
  s16.Fill(static_cast<short>(-2));
  EXPECT_EQ(s16.Pixels<short>()[2], -2);
  EXPECT_EQ(s16.Pixels<short>()[4], -2); // second row starts at element 4
  EXPECT_EQ(s16.Data()[6], 0xEE);        // padding untouched

  ClImage d;
  d.Create(eDouble64, 2, 2, 3);
  d.Fill(0.25);
  EXPECT_EQ(d.Pixels<double>()[11], 0.25);
  EXPECT_EQ(CodeOf([&] { d.Fill(static_cast<unsigned char>(1)); }), -101);
  d.Fill(static_cast<unsigned char>(0)); // zero clears whatever the type
  EXPECT_EQ(d.Pixels<double>()[11], 0.0);
  EXPECT_EQ(CodeOf([&] { d.Fill(1.0f); }), -101);

  ClImage none;
  none.Fill(0);
  EXPECT_EQ(CodeOf([&] { none.Fill(5); }), -101);
}

template <class T>
void ExpectThirdPlaneTaken(EDataType eType)
{
  ClImage src;
  src.Create(eType, 5, 3, 3, 11, 12);
  Pattern<T>(src);
  ClImage dst;
  src.ExtractPlane(2, dst);
  ASSERT_EQ(dst.Planes(), 1u);
  EXPECT_EQ(dst.DataType(), eType);
  EXPECT_EQ(dst.PelsX(), 11);
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 5; ++x)
      EXPECT_EQ(dst.Pixels<T>()[y * dst.LineElements() + x],
                src.Pixels<T>()[y * src.LineElements() + x * 3 + 2]);
}

TEST(ImageExtractPlane, TakesOnePlaneByStride)
{
  // Each sample size has a copy loop of its own.
  ExpectThirdPlaneTaken<uint16_t>(eUInt16);
  ExpectThirdPlaneTaken<float>(eFloat32);
  ExpectThirdPlaneTaken<double>(eDouble64);

  ClImage rgb(3, 2, 3);
  Pattern<uint8_t>(rgb);
  const uint8_t expect = rgb.Data()[rgb.LineElements() + 2 * 3 + 1];
  rgb.ExtractPlane(1, rgb); // onto itself
  EXPECT_EQ(rgb.Planes(), 1u);
  EXPECT_EQ(rgb.Data()[rgb.LineElements() + 2], expect);
}

TEST(ImageAttach, LaysOverBitmapPixels)
{
  auto bmp = std::make_unique<ClBitmap>();
  bmp->Create(5, 3, 8);
  bmp->Header()->biXPelsPerMeter = 19685;
  ClImage img;
  ASSERT_TRUE(img.Attach(*bmp));
  EXPECT_EQ(img.Data(), bmp->Bits());
  EXPECT_EQ(img.LineBytes(), ClBitmap::Stride(5, 8));
  EXPECT_EQ(img.PelsX(), 19685);
  EXPECT_EQ(img.Content(), eGrayscale);
  img.Fill(static_cast<unsigned char>(42));
  EXPECT_EQ(bmp->Bits()[23], 42);

  // The engine lets processors write straight into the bitmap: a same-size Create keeps it.
  img.Create(eUInt8, 5, 3);
  EXPECT_EQ(img.Data(), bmp->Bits());

  bmp.reset(); // the image keeps the block alive
  EXPECT_EQ(img.Data()[23], 42);

  ClBitmap rgb;
  rgb.Create(4, 2, 24);
  ASSERT_TRUE(img.Attach(rgb));
  EXPECT_EQ(img.Planes(), 3u);
  EXPECT_EQ(img.LineBytes(), 12);

  ClBitmap rle;
  rle.Create(4, 2, 8, 1);
  EXPECT_FALSE(img.Attach(rle));
  EXPECT_EQ(img.Data(), nullptr);

  ClBitmap b16;
  b16.Create(4, 2, 16);
  img.Attach(rgb);
  EXPECT_EQ(CodeOf([&] { img.Attach(b16); }), -12);
  EXPECT_EQ(img.Data(), nullptr);

  ClBitmap empty;
  EXPECT_EQ(CodeOf([&] { img.Attach(empty); }), -10);
}
