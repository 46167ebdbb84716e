#pragma once
// ClBitmap: a device-independent bitmap block (40-byte info header, colour table, pixel
// rows), created here or wrapped from elsewhere with or without the 14-byte file header.
// Device frames land in such a block and a ClImage is laid over its pixels.
#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <cstdint>

// The info header, field by field; all numbers little-endian.
struct tagBITMAPINFOHEADER
{
  uint32_t biSize;
  int32_t biWidth;
  int32_t biHeight;
  uint16_t biPlanes;
  uint16_t biBitCount;
  uint32_t biCompression;
  uint32_t biSizeImage;
  int32_t biXPelsPerMeter;
  int32_t biYPelsPerMeter;
  uint32_t biClrUsed;
  uint32_t biClrImportant;
};
typedef tagBITMAPINFOHEADER BITMAPINFOHEADER;
static_assert(sizeof(BITMAPINFOHEADER) == 40, "info header must be 40 bytes");

class ClBitmap
{
public:
  static constexpr int32_t kInfoHeaderSize = 40, kFileHeaderSize = 14;

  // Foreign memory: the caller keeps the block.
  struct void_deleter
  {
    void operator()(const void*) const {}
  };
  // A block made with new uint8_t[]; frees from the block's first byte, which lies 14
  // bytes before the info header when the block came with a file header.
  struct block_deleter
  {
    uint8_t* pBlock;
    void operator()(BITMAPINFOHEADER*) const { delete[] pBlock; }
  };
  // Keeps the header block alive for the pixel pointer, which is an alias into it.
  struct BIH_deleter
  {
    boost::shared_ptr<BITMAPINFOHEADER> pBIH;
    void operator()(uint8_t*) { pBIH.reset(); }
  };

  ClBitmap() = default;
  virtual ~ClBitmap();

  // New owned block; the pixels are not initialised. Gray ramp for 8 bits or less,
  // channel masks for compression 3. Throws -14 for a negative or oversized geometry.
  void Create(int32_t nWidth, int32_t nHeight, uint16_t nBitCount, uint32_t nCompression = 0);
  // Wraps foreign memory without taking it over; nSize 0 means the size is not known and
  // switches all size checks off. Codes: -10 null or truncated file header, -21 too short,
  // and those of the header validation (-36, -32, -11, -31, -12).
  void Attach(void* pData, size_t nSize);
  // Takes over a block made with new uint8_t[]; returns the colour table pointer or null.
  // Sets neither pixels nor palette.
  uint32_t* AttachOwned(void* pData, size_t nSize);
  void Detach();

  uint32_t ColorCount() const;

  // The header may lie unaligned in foreign memory: read it through HeaderInfo().
  BITMAPINFOHEADER* Header() const { return m_pBIH.get(); }
  BITMAPINFOHEADER HeaderInfo() const;
  uint32_t* Palette() const { return m_pPalette; }
  uint8_t* Bits() const { return m_pBits.get(); }
  const boost::shared_ptr<uint8_t>& SharedBits() const { return m_pBits; }

  // Row stride in bytes for a bit count and width: rows are padded to 4 bytes.
  static int64_t Stride(int32_t nWidth, uint32_t nBitCount);
  // Colour table entries of a header.
  static uint32_t ColorCount(const BITMAPINFOHEADER& bih);

private:
  // Where the info header of a block lies and how many bytes are known to follow.
  struct StLocation
  {
    uint8_t* pHeader;
    bool bKnown;
    size_t nAvail;
    int64_t nPixelOffset;
  };
  // Steps shared by Attach and AttachOwned: null test, file header, size of the header.
  static StLocation Locate(void* pData, size_t nSize);
  static void Validate(const uint8_t* pHeader);
  // Colour table of the held header, checked against the bytes after the header.
  uint32_t* TakeTable(const StLocation& loc, size_t& nRest) const;

  boost::shared_ptr<BITMAPINFOHEADER> m_pBIH;
  uint32_t* m_pPalette = nullptr;
  boost::shared_ptr<uint8_t> m_pBits;
};
