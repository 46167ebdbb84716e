#include "model/Bitmap.h"

#include "base/Exceptions.h"

#include <cstdint>
#include <cstring>
#include <new>

namespace {

// Headers in foreign memory may lie at any address; never load them in place.
BITMAPINFOHEADER ReadHeader(const uint8_t* p)
{
  BITMAPINFOHEADER bih;
  std::memcpy(&bih, p, sizeof(bih));
  return bih;
}

bool IsFileHeader(const uint8_t* p) { return p[0] == 'B' && p[1] == 'M'; }

// True when nHeight rows of nStride bytes do not fit in what is known to remain.
bool Exceeds(int64_t nStride, int32_t nHeight, bool bKnown, size_t nAvail)
{
  if (!bKnown || nStride <= 0 || nHeight <= 0)
    return false;
  return static_cast<uint64_t>(nStride) > nAvail / static_cast<uint64_t>(nHeight) ||
         static_cast<uint64_t>(nStride) * static_cast<uint64_t>(nHeight) > nAvail;
}

} // namespace

ClBitmap::~ClBitmap() = default;

int64_t ClBitmap::Stride(int32_t nWidth, uint32_t nBitCount)
{
  return (((static_cast<int64_t>(nBitCount) * nWidth + 7) >> 3) + 3) & ~int64_t(3);
}

uint32_t ClBitmap::ColorCount(const BITMAPINFOHEADER& bih)
{
  if (bih.biBitCount > 8)
    return bih.biCompression == 3 ? 3u : bih.biClrUsed;
  return bih.biClrUsed != 0 ? bih.biClrUsed : (1u << bih.biBitCount);
}

uint32_t ClBitmap::ColorCount() const { return m_pBIH ? ColorCount(HeaderInfo()) : 0; }

BITMAPINFOHEADER ClBitmap::HeaderInfo() const
{
  BITMAPINFOHEADER bih;
  if (m_pBIH)
    bih = ReadHeader(reinterpret_cast<const uint8_t*>(m_pBIH.get()));
  else
    std::memset(&bih, 0, sizeof(bih));
  return bih;
}

void ClBitmap::Detach()
{
  m_pBits.reset();
  m_pPalette = nullptr;
  m_pBIH.reset();
}

void ClBitmap::Validate(const uint8_t* p)
{
  if (!p)
    LSKX2_THROW_MSG("ClBitmap::Attach, Pointer is NULL.", eErrBitmapPtr);
  if (IsFileHeader(p))
    LSKX2_THROW_MSG("ClBitmap::Attach, Bitmapfileheader found Bitmapinfoheader expected.",
                    eErrBitmapUnexpectedFileheader);
  const BITMAPINFOHEADER bih = ReadHeader(p);
  if (bih.biSize != kInfoHeaderSize)
    LSKX2_THROW_MSG("ClBitmap::Attach, Bitmap Header size is not known.", eErrBitmapHeadersize);
  if (bih.biPlanes != 1)
    LSKX2_THROW_MSG("ClBitmap::Attach, pBI->biPlanes != 1.", eErrBitmapPlane);
  if (bih.biCompression >= 4)
    LSKX2_THROW_MSG("ClBitmap::Attach, Not Supported FOCC.", eErrBitmapCompression);
  switch (bih.biBitCount) {
  case 1:
  case 4:
  case 8:
  case 16:
  case 24:
  case 32:
    break;
  default:
    LSKX2_THROW_MSG("The Bitmap format does only support 1, 4, 8, 16, 24 and 32 bit counts!",
                    eErrBitmapBitcount);
  }
}

ClBitmap::StLocation ClBitmap::Locate(void* pData, size_t nSize)
{
  if (!pData)
    LSKX2_THROW_MSG("No Bitmap to Attach", eErrBitmapPtr);
  StLocation loc{static_cast<uint8_t*>(pData), nSize != 0, nSize, 0};
  // One byte cannot hold the two letters of a file header.
  if (nSize != 1 && IsFileHeader(loc.pHeader)) {
    if (loc.bKnown && nSize < kFileHeaderSize)
      LSKX2_THROW(eErrBitmapPtr);
    uint32_t nOffBits;
    std::memcpy(&nOffBits, loc.pHeader + 10, sizeof(nOffBits));
    loc.nPixelOffset = static_cast<int64_t>(nOffBits) - kFileHeaderSize;
    loc.pHeader += kFileHeaderSize;
    if (loc.bKnown)
      loc.nAvail -= kFileHeaderSize;
  }
  if (loc.bKnown && loc.nAvail < kInfoHeaderSize)
    LSKX2_THROW(eErrTemplateSize);
  return loc;
}

uint32_t* ClBitmap::TakeTable(const StLocation& loc, size_t& nRest) const
{
  const uint64_t nBytes = 4ull * ColorCount();
  if (nBytes == 0)
    return nullptr;
  if (loc.bKnown) {
    if (nBytes > nRest)
      LSKX2_THROW(eErrTemplateSize);
    nRest -= static_cast<size_t>(nBytes);
  }
  return reinterpret_cast<uint32_t*>(loc.pHeader + kInfoHeaderSize);
}

void ClBitmap::Attach(void* pData, size_t nSize)
{
  Detach();
  const StLocation loc = Locate(pData, nSize);
  Validate(loc.pHeader);
  m_pBIH.reset(reinterpret_cast<BITMAPINFOHEADER*>(loc.pHeader), void_deleter());
  try {
    const BITMAPINFOHEADER bih = ReadHeader(loc.pHeader);
    size_t nRest = loc.bKnown ? loc.nAvail - kInfoHeaderSize : 0;
    m_pPalette = TakeTable(loc, nRest);
    uint8_t* pBits = loc.pHeader + kInfoHeaderSize + 4 * static_cast<size_t>(ColorCount(bih));
    if (loc.nPixelOffset > 0) {
      // Pixels placed by the file header must still lie inside the block.
      if (loc.bKnown && static_cast<uint64_t>(loc.nPixelOffset) > loc.nAvail)
        LSKX2_THROW(eErrTemplateSize);
      pBits = loc.pHeader + loc.nPixelOffset;
      nRest = loc.bKnown ? loc.nAvail - static_cast<size_t>(loc.nPixelOffset) : 0;
    }
    if (Exceeds(Stride(bih.biWidth, bih.biBitCount), bih.biHeight, loc.bKnown, nRest))
      LSKX2_THROW(eErrTemplateSize);
    m_pBits = boost::shared_ptr<uint8_t>(pBits, BIH_deleter{m_pBIH});
  } catch (...) {
    Detach();
    throw;
  }
}

uint32_t* ClBitmap::AttachOwned(void* pData, size_t nSize)
{
  if (!pData || pData != static_cast<void*>(m_pBIH.get()))
    Detach();
  try {
    const StLocation loc = Locate(pData, nSize);
    Validate(loc.pHeader);
    // Until here a failure leaves the block with the caller.
    if (m_pBIH.get() != reinterpret_cast<BITMAPINFOHEADER*>(loc.pHeader))
      m_pBIH.reset(reinterpret_cast<BITMAPINFOHEADER*>(loc.pHeader),
                   block_deleter{static_cast<uint8_t*>(pData)});
    const BITMAPINFOHEADER bih = ReadHeader(loc.pHeader);
    size_t nRest = loc.bKnown ? loc.nAvail - kInfoHeaderSize : 0;
    uint32_t* pTable = TakeTable(loc, nRest);
    if (Exceeds(Stride(bih.biWidth, bih.biBitCount), bih.biHeight, loc.bKnown, nRest))
      LSKX2_THROW(eErrTemplateSize);
    return pTable;
  } catch (...) {
    Detach();
    throw;
  }
}

void ClBitmap::Create(int32_t nWidth, int32_t nHeight, uint16_t nBitCount, uint32_t nCompression)
{
  Detach();
  uint32_t nEntries = 0;
  if (nBitCount <= 8)
    nEntries = 1u << nBitCount;
  else if (nCompression == 3)
    nEntries = 3;
  const int64_t nStride = Stride(nWidth, nBitCount);
  // biSizeImage has 32 bits; a bigger block could not describe itself.
  if (nWidth < 0 || nHeight < 0 || (nHeight != 0 && nStride > UINT32_MAX / nHeight))
    LSKX2_THROW_MSG("ClBitmap::Create, size not valid.", eErrBitmapDimension);
  const uint64_t nPixelBytes = static_cast<uint64_t>(nStride) * static_cast<uint64_t>(nHeight);
  const uint64_t nTotal = nPixelBytes + 4ull * nEntries + kInfoHeaderSize;
  uint8_t* p = new (std::nothrow) uint8_t[static_cast<size_t>(nTotal)];
  if (!p)
    throw ClExBadAlloc();

  BITMAPINFOHEADER bih;
  bih.biSize = kInfoHeaderSize;
  bih.biWidth = nWidth;
  bih.biHeight = nHeight;
  bih.biPlanes = 1;
  bih.biBitCount = nBitCount;
  bih.biCompression = nCompression;
  bih.biSizeImage = static_cast<uint32_t>(nPixelBytes);
  bih.biXPelsPerMeter = 0;
  bih.biYPelsPerMeter = 0;
  bih.biClrUsed = 0;
  bih.biClrImportant = 0;
  std::memcpy(p, &bih, sizeof(bih));

  uint8_t* pTable = p + kInfoHeaderSize;
  if (nBitCount <= 8 && nEntries > 1) {
    const uint32_t nStep = 255 / (nEntries - 1);
    for (uint32_t i = 0; i < nEntries; ++i) {
      const uint8_t v = static_cast<uint8_t>(nStep * i);
      const uint8_t entry[4] = {v, v, v, 0};
      std::memcpy(pTable + 4 * i, entry, 4);
    }
  }
  if (nCompression == 3) {
    const uint32_t aMasks555[3] = {31, 992, 31744};
    const uint32_t aMasks888[3] = {255, 65280, 16711680};
    const uint32_t nMasks = nEntries < 3 ? nEntries : 3;
    std::memcpy(pTable, nBitCount < 17 ? aMasks555 : aMasks888, 4 * nMasks);
  }

  uint32_t* pPalette = nullptr;
  try {
    // Size 0: only the header checks can fail, and those run before the block is taken.
    pPalette = AttachOwned(p, 0);
  } catch (...) {
    delete[] p;
    throw;
  }
  m_pPalette = pPalette;
  m_pBits =
      boost::shared_ptr<uint8_t>(pTable + 4 * static_cast<size_t>(nEntries), BIH_deleter{m_pBIH});
}
