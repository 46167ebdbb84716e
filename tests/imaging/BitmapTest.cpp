#include "model/Bitmap.h"
#include "model/FpImage.h"
#include "tests/common/TestFailure.h"

#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <vector>

namespace {

uint32_t Entry(const ClBitmap& bmp, uint32_t i)
{
  uint32_t v;
  std::memcpy(&v, reinterpret_cast<const uint8_t*>(bmp.Palette()) + 4 * i, 4);
  return v;
}

ptrdiff_t BitsOffset(const ClBitmap& bmp)
{
  return bmp.Bits() - reinterpret_cast<const uint8_t*>(bmp.Header());
}

// An 8-bit block as it may arrive from elsewhere; nColors 0 stands for the full table.
std::vector<uint8_t> Block(int32_t w, int32_t h, uint32_t nColors, bool bFileHeader,
                           uint32_t nGap = 0)
{
  const size_t nPixels = static_cast<size_t>(ClBitmap::Stride(w, 8)) * h;
  const size_t nFile = bFileHeader ? 14 : 0;
  const size_t nTable = 4 * (nColors ? nColors : 256);
  std::vector<uint8_t> v(nFile + 40 + nTable + nGap + nPixels, 0);
  if (bFileHeader) {
    v[0] = 'B';
    v[1] = 'M';
    uint32_t nOff = static_cast<uint32_t>(14 + 40 + nTable + nGap);
    std::memcpy(&v[10], &nOff, 4);
  }
  BITMAPINFOHEADER bih{40, w, h, 1, 8, 0, static_cast<uint32_t>(nPixels), 0, 0, nColors, 0};
  std::memcpy(&v[nFile], &bih, 40);
  return v;
}

void Patch(std::vector<uint8_t>& v, size_t nAt, uint32_t value, size_t nBytes)
{
  std::memcpy(&v[nAt], &value, nBytes);
}

} // namespace

TEST(BitmapCreate, TablesAndLayout)
{
  ClBitmap bmp;
  bmp.Create(5, 3, 8);
  EXPECT_EQ(bmp.HeaderInfo().biSizeImage, 24u); // stride 8
  EXPECT_EQ(bmp.ColorCount(), 256u);
  EXPECT_EQ(Entry(bmp, 200), 0x00C8C8C8u);
  EXPECT_EQ(BitsOffset(bmp), 1064);
  bmp.Create(3, 1, 4);
  EXPECT_EQ(Entry(bmp, 1), 0x00111111u); // step 17
  bmp.Create(33, 1, 1);
  EXPECT_EQ(Entry(bmp, 1), 0x00FFFFFFu);
  EXPECT_EQ(bmp.HeaderInfo().biSizeImage, 8u); // 33 bits round up to 8 bytes

  bmp.Create(4, 2, 24);
  EXPECT_EQ(bmp.ColorCount(), 0u);
  EXPECT_EQ(BitsOffset(bmp), 40);
  bmp.Create(4, 2, 16, 3);
  EXPECT_EQ(Entry(bmp, 0), 31u);
  EXPECT_EQ(Entry(bmp, 2), 31744u);
  EXPECT_EQ(BitsOffset(bmp), 52);
  bmp.Create(4, 2, 32, 3);
  EXPECT_EQ(Entry(bmp, 1), 65280u);
  EXPECT_EQ(Entry(bmp, 2), 16711680u);
}

TEST(BitmapCreate, BadArgumentsLeaveItEmpty)
{
  ClBitmap bmp;
  bmp.Create(4, 4, 8);
  EXPECT_EQ(CodeOf([&] { bmp.Create(-1, 4, 8); }), -14);
  EXPECT_EQ(bmp.Header(), nullptr);
  EXPECT_EQ(CodeOf([&] { bmp.Create(4, -4, 8); }), -14);
  EXPECT_EQ(CodeOf([&] { bmp.Create(1 << 20, 1 << 20, 32); }), -14);
  EXPECT_EQ(CodeOf([&] { bmp.Create(4, 4, 12); }), -12);
  EXPECT_EQ(CodeOf([&] { bmp.Create(4, 4, 8, 4); }), -31);
  EXPECT_EQ(bmp.Bits(), nullptr);
  EXPECT_EQ(bmp.Palette(), nullptr);
}

TEST(BitmapAttach, HeaderChecksInOrder)
{
  std::vector<uint8_t> v = Block(4, 2, 0, false);
  Patch(v, 0, 124, 4); // biSize
  Patch(v, 12, 2, 2);  // biPlanes
  Patch(v, 16, 4, 4);  // biCompression
  Patch(v, 14, 7, 2);  // biBitCount
  ClBitmap bmp;
  EXPECT_EQ(CodeOf([&] { bmp.Attach(v.data(), v.size()); }), -32);
  Patch(v, 0, 40, 4);
  EXPECT_EQ(CodeOf([&] { bmp.Attach(v.data(), v.size()); }), -11);
  Patch(v, 12, 1, 2);
  EXPECT_EQ(CodeOf([&] { bmp.Attach(v.data(), v.size()); }), -31);
  Patch(v, 16, 0, 4);
  EXPECT_EQ(CodeOf([&] { bmp.Attach(v.data(), v.size()); }), -12);
  Patch(v, 14, 8, 2);
  EXPECT_EQ(CodeOf([&] { bmp.Attach(v.data(), v.size()); }), 0);

  // A second file header where the info header belongs comes before every field test.
  std::vector<uint8_t> f = Block(4, 2, 0, true);
  f[14] = 'B';
  f[15] = 'M';
  Patch(f, 26, 2, 2);
  EXPECT_EQ(CodeOf([&] { bmp.Attach(f.data(), f.size()); }), -36);
  EXPECT_EQ(bmp.Header(), nullptr);

  EXPECT_EQ(CodeOf([&] { bmp.Attach(nullptr, 100); }), -10);
  EXPECT_EQ(CodeOf([&] { bmp.AttachOwned(nullptr, 0); }), -10);
}

TEST(BitmapAttach, ShortBlocksAreRefused)
{
  ClBitmap bmp;
  std::vector<uint8_t> f = Block(4, 2, 256, true);
  EXPECT_EQ(CodeOf([&] { bmp.Attach(f.data(), 13); }), -10); // truncated file header
  EXPECT_EQ(CodeOf([&] { bmp.Attach(f.data(), 14); }), -21);
  EXPECT_EQ(CodeOf([&] { bmp.Attach(f.data(), 14 + 39); }), -21);
  EXPECT_EQ(CodeOf([&] { bmp.Attach(f.data(), 14 + 40 + 1023); }), -21); // table
  EXPECT_EQ(CodeOf([&] { bmp.Attach(f.data(), f.size() - 1); }), -21);   // pixels
  EXPECT_EQ(bmp.Header(), nullptr);
  EXPECT_EQ(CodeOf([&] { bmp.Attach(f.data(), f.size()); }), 0);

  std::vector<uint8_t> v = Block(4, 2, 0, false);
  EXPECT_EQ(CodeOf([&] { bmp.Attach(v.data(), 39); }), -21);
  Patch(v, 8, 0x7FFFFFFF, 4); // a huge height must not overflow the size check
  EXPECT_EQ(CodeOf([&] { bmp.Attach(v.data(), v.size()); }), -21);
}

TEST(BitmapAttach, PixelPositionFromFileHeaderOrTable)
{
  // The file header places the pixels 8 bytes behind the table.
  std::vector<uint8_t> store(2 + 14 + 40 + 1024 + 8 + 8);
  uint8_t* p = store.data() + 2; // info header at an odd address
  std::vector<uint8_t> f = Block(4, 2, 256, true, 8);
  std::memcpy(p, f.data(), f.size());
  ClBitmap bmp;
  bmp.Attach(p, f.size());
  EXPECT_EQ(reinterpret_cast<uint8_t*>(bmp.Header()), p + 14);
  EXPECT_EQ(bmp.Bits(), p + 14 + 40 + 1024 + 8);
  EXPECT_EQ(reinterpret_cast<uint8_t*>(bmp.Palette()), p + 54);
  bmp.Attach(p, 0); // size unknown: no size check at all
  EXPECT_EQ(bmp.Bits(), p + 1086);

  std::vector<uint8_t> v = Block(4, 2, 16, false);
  bmp.Attach(v.data(), v.size());
  EXPECT_EQ(bmp.ColorCount(), 16u);
  EXPECT_EQ(bmp.Bits(), v.data() + 40 + 64);
  bmp.Detach();
  EXPECT_EQ(bmp.Palette(), nullptr);
  EXPECT_EQ(bmp.Bits(), nullptr);
}

TEST(BitmapAttach, ForeignBlockStaysTheCallers)
{
  std::vector<uint8_t> v = Block(4, 2, 0, false);
  ClImage img;
  {
    ClBitmap bmp;
    bmp.Attach(v.data(), v.size()); // foreign memory: ours to free, never the bitmap's
    ASSERT_TRUE(img.Attach(bmp));
    img.Fill(static_cast<unsigned char>(9));
  }
  EXPECT_EQ(v[40 + 1024 + 7], 9);
  EXPECT_EQ(img.Data(), v.data() + 40 + 1024);
}

TEST(BitmapAttachOwned, TakesBlockOverOnlyWhenValid)
{
  std::vector<uint8_t> v = Block(4, 2, 0, false);
  ClBitmap bmp;
  uint8_t* p = new uint8_t[v.size()];
  std::memcpy(p, v.data(), v.size());
  uint32_t* table = bmp.AttachOwned(p, v.size());
  EXPECT_EQ(reinterpret_cast<uint8_t*>(table), p + 40);
  EXPECT_EQ(bmp.Bits(), nullptr); // pixels are the caller's business here
  bmp.Detach();                   // frees p

  // Refused by the header checks: the block stays the caller's.
  uint8_t* q = new uint8_t[v.size()];
  std::memcpy(q, v.data(), v.size());
  q[12] = 3;
  EXPECT_EQ(CodeOf([&] { bmp.AttachOwned(q, v.size()); }), -11);
  delete[] q;

  // Refused after the take-over (pixels short): freed with the bitmap's pointer.
  uint8_t* r = new uint8_t[v.size()];
  std::memcpy(r, v.data(), v.size());
  EXPECT_EQ(CodeOf([&] { bmp.AttachOwned(r, v.size() - 1); }), -21);
  EXPECT_EQ(bmp.Header(), nullptr);
}

TEST(BitmapAttach, DamagedBlocksNeverReadOutside)
{
  const std::vector<uint8_t> good = Block(7, 5, 0, true, 4);
  std::mt19937 rng(1234);
  int nAccepted = 0;
  for (int round = 0; round < 3000; ++round) {
    std::vector<uint8_t> v = good;
    const int nFlips = 1 + static_cast<int>(rng() % 4);
    for (int i = 0; i < nFlips; ++i) {
      const size_t at = rng() % 64; // headers and start of the table
      v[at] = (rng() % 3 == 0) ? static_cast<uint8_t>(rng())
                               : static_cast<uint8_t>(v[at] ^ (1u << (rng() % 8)));
    }
    const size_t nSize = 1 + rng() % v.size();
    std::vector<uint8_t> exact(v.begin(), v.begin() + static_cast<ptrdiff_t>(nSize));
    ClBitmap bmp;
    try {
      bmp.Attach(exact.data(), exact.size());
    } catch (const ClException&) {
      EXPECT_EQ(bmp.Header(), nullptr);
      continue;
    }
    ++nAccepted;
    const BITMAPINFOHEADER bih = bmp.HeaderInfo();
    const int64_t nBytes = ClBitmap::Stride(bih.biWidth, bih.biBitCount) * bih.biHeight;
    if (nBytes > 0) {
      volatile uint8_t sink = bmp.Bits()[0]; // the sanitizer build checks both ends
      sink = bmp.Bits()[nBytes - 1];
      (void)sink;
    }
    ClImage img;
    try {
      if (img.Attach(bmp) && img.Data() && img.Height() > 0 && img.Width() > 0)
        img.Fill(static_cast<unsigned char>(1));
    } catch (const ClException&) {
    }
  }
  EXPECT_GT(nAccepted, 0);
}
