#include "model/FpImage.h"

#include "model/Bitmap.h"
#include "base/Exceptions.h"

#include <climits>
#include <cstring>
#include <new>
#include <utility>

namespace {

// 32-bit stride arithmetic, wrapping like the unsigned product it is.
uint32_t StrideOf(EDataType eType, int32_t nWidth, uint32_t nPlanes, bool bAligned)
{
  uint32_t n = DataTypeSize(eType) * static_cast<uint32_t>(nWidth) * nPlanes;
  if (bAligned)
    n = (n + 3u) & ~3u;
  return n;
}

// Holds the bitmap's share of its block for as long as an image uses the pixels.
struct ClBitmapBitsHolder
{
  boost::shared_ptr<uint8_t> pBits;
  void operator()(uint8_t*) { pBits.reset(); }
};

template <class T>
void CopyPlane(const ClImage& src, uint32_t nPlane, ClImage& dst)
{
  const T* pSrc = src.Pixels<T>();
  T* pDst = dst.Pixels<T>();
  if (!pSrc || !pDst)
    return;
  const int32_t nWidth = src.Width();
  const int32_t nHeight = src.Height();
  const uint32_t nPlanes = src.Planes();
  const int64_t nSrcStep = src.LineElements();
  const int64_t nDstStep = dst.LineElements();
  for (int32_t y = 0; y < nHeight; ++y) {
    const T* s = pSrc + y * nSrcStep + nPlane;
    T* d = pDst + y * nDstStep;
    for (int32_t x = 0; x < nWidth; ++x)
      d[x] = s[static_cast<int64_t>(x) * nPlanes];
  }
}

} // namespace

ClImage::ClImage() { ResetMembers(); }

ClImage::ClImage(int32_t nWidth, int32_t nHeight, uint32_t nPlanes, int32_t nPelsX, int32_t nPelsY)
{
  ResetMembers();
  Create(eUInt8, nWidth, nHeight, nPlanes, nPelsX, nPelsY, true);
}

ClImage::~ClImage() { Clear(); }

void ClImage::ResetMembers()
{
  m_eDataType = eTypeUnknown;
  m_eContent = eUnknown;
  m_nWidth = 0;
  m_nHeight = 0;
  m_nPelsX = 0;
  m_nPelsY = 0;
  m_bRowAligned = true;
  m_nPlanes = 0;
  SetRangeFromType();
  m_nImageTag = 0;
}

void ClImage::SetContentFromPlanes()
{
  switch (m_nPlanes) {
  case 1:
    m_eContent = eGrayscale;
    break;
  case 3:
    m_eContent = eRGB;
    break;
  case 4:
    m_eContent = eRGBA;
    break;
  default:
    m_eContent = eUnknown;
    break;
  }
}

void ClImage::SetRangeFromType() { DataTypeRange(DataType(), m_dMinValue, m_dMaxValue); }

int32_t ClImage::LineBytes() const
{
  return static_cast<int32_t>(StrideOf(DataType(), m_nWidth, m_nPlanes, m_bRowAligned));
}

int32_t ClImage::LineElements() const
{
  int32_t nSize = static_cast<int32_t>(SampleSize());
  return nSize == 0 ? 0 : LineBytes() / nSize;
}

void ClImage::Create(EDataType eType, int32_t nWidth, int32_t nHeight, uint32_t nPlanes,
                     int32_t nPelsX, int32_t nPelsY, bool bAligned)
{
  const int64_t nOldBytes = static_cast<int64_t>(m_nHeight) * LineBytes();
  // Rounded by the flag the image had so far: this only decides about reuse.
  const int64_t nNewBytes = static_cast<int64_t>(nHeight) *
                            static_cast<int32_t>(StrideOf(eType, nWidth, nPlanes, m_bRowAligned));

  m_nPelsX = nPelsX;
  m_nPelsY = nPelsY;
  m_nPlanes = nPlanes;
  m_bRowAligned = bAligned;
  m_eDataType = eType;
  m_nWidth = nWidth;
  m_nHeight = nHeight;
  SetContentFromPlanes();
  SetRangeFromType();

  // A per-frame processor allocates only on its first frame.
  if (m_pData && m_pData.use_count() == 1 && nOldBytes == nNewBytes)
    return;

  const int32_t nStride = static_cast<int32_t>(StrideOf(eType, nWidth, nPlanes, bAligned));
  if (nHeight < 0 || nStride < 0 || nWidth < 0)
    LSKX2_THROW_UNPLACED("Image area must be positive", eErrInternal);
  if (nHeight == 0 || nStride == 0) {
    m_pData.reset();
    return;
  }
  const int64_t nBytes = static_cast<int64_t>(nStride) * nHeight;
  uint8_t* p = nullptr;
  // A buffer past 32-bit sizes cannot be addressed by the stride arithmetic.
  if (nBytes <= INT32_MAX)
    p = new (std::nothrow) uint8_t[static_cast<size_t>((nBytes + 7) / 8 * 8)];
  if (!p) {
    Clear();
    throw ClExBadAlloc();
  }
  m_pData.reset(p);
}

void ClImage::CreateLike(const ClImage& src)
{
  if (&src == this)
    return;
  Create(src.DataType(), src.m_nWidth, src.m_nHeight, src.m_nPlanes, src.m_nPelsX, src.m_nPelsY,
         true);
  m_eContent = src.m_eContent;
  m_nImageTag = src.m_nImageTag;
  m_dMinValue = src.m_dMinValue;
  m_dMaxValue = src.m_dMaxValue;
}

void ClImage::CreateAsType(const ClImage& src, EDataType eType)
{
  if (&src == this)
    LSKX2_THROW_MSG("this function dose not work on the same image.", eErrInvalidParameter);
  Create(eType, src.m_nWidth, src.m_nHeight, src.m_nPlanes, src.m_nPelsX, src.m_nPelsY, true);
  m_eContent = src.m_eContent;
  m_nImageTag = src.m_nImageTag;
}

void ClImage::CreateSizedAs(const ClImage& src, EDataType eType)
{
  if (&src == this)
    LSKX2_THROW_MSG("Resize image with im self is senseless.", eErrInvalidParameter);
  Create(eType, src.m_nWidth, src.m_nHeight, src.m_nPlanes, src.m_nPelsX, src.m_nPelsY, true);
  m_eContent = src.m_eContent;
  m_dMinValue = src.m_dMinValue;
  m_dMaxValue = src.m_dMaxValue;
}

ClImage& ClImage::Copy(const ClImage& src)
{
  if (&src == this)
    return *this;
  CreateLike(src);
  const uint8_t* pSrc = src.Data();
  uint8_t* pDst = Data();
  // Two views of one bitmap block may already be the same memory.
  if (!pSrc || !pDst || pSrc == pDst)
    return *this;
  const int32_t nDstStride = LineBytes();
  const int32_t nSrcStride = src.LineBytes();
  if (nDstStride == nSrcStride) {
    std::memcpy(pDst, pSrc, static_cast<size_t>(nDstStride) * static_cast<size_t>(m_nHeight));
  } else {
    // Only an unaligned source has other strides; never read past its rows.
    const size_t nRow = static_cast<size_t>(nSrcStride < nDstStride ? nSrcStride : nDstStride);
    for (int32_t y = 0; y < m_nHeight; ++y)
      std::memcpy(pDst + static_cast<size_t>(y) * nDstStride,
                  pSrc + static_cast<size_t>(y) * nSrcStride, nRow);
  }
  return *this;
}

void ClImage::Share(const ClImage& src)
{
  if (&src == this)
    return;
  Clear();
  m_eDataType = src.m_eDataType;
  m_eContent = src.m_eContent;
  m_nImageTag = src.m_nImageTag;
  m_nWidth = src.m_nWidth;
  m_nHeight = src.m_nHeight;
  m_nPelsX = src.m_nPelsX;
  m_nPelsY = src.m_nPelsY;
  m_bRowAligned = src.m_bRowAligned;
  m_nPlanes = src.m_nPlanes;
  m_dMinValue = src.m_dMinValue;
  m_dMaxValue = src.m_dMaxValue;
  m_pData = src.m_pData;
}

void ClImage::Swap(ClImage& other)
{
  if (&other == this)
    return;
  std::swap(m_eDataType, other.m_eDataType);
  std::swap(m_eContent, other.m_eContent);
  std::swap(m_nWidth, other.m_nWidth);
  std::swap(m_nHeight, other.m_nHeight);
  std::swap(m_nPelsX, other.m_nPelsX);
  std::swap(m_nPelsY, other.m_nPelsY);
  m_pData.swap(other.m_pData);
  std::swap(m_bRowAligned, other.m_bRowAligned);
  std::swap(m_nPlanes, other.m_nPlanes);
  std::swap(m_dMinValue, other.m_dMinValue);
  std::swap(m_dMaxValue, other.m_dMaxValue);
  std::swap(m_nImageTag, other.m_nImageTag);
}

void ClImage::Clear()
{
  ResetMembers();
  m_pData.reset();
}

bool ClImage::Attach(const ClBitmap& bitmap)
{
  Clear();
  if (!bitmap.Header())
    LSKX2_THROW_MSG("ClImage::Attach, bitmap is empty.", eErrBitmapPtr);
  const BITMAPINFOHEADER bih = bitmap.HeaderInfo();
  if (bih.biCompression != 0) {
    Clear();
    return false;
  }
  uint32_t nPlanes = 0;
  switch (bih.biBitCount) {
  case 8:
    nPlanes = 1;
    break;
  case 24:
    nPlanes = 3;
    break;
  case 32:
    nPlanes = 4;
    break;
  default:
    LSKX2_THROW_MSG("bitmap bit depth not supported\n", eErrBitmapBitcount);
  }
  m_eDataType = eUInt8;
  m_nWidth = bih.biWidth;
  m_nHeight = bih.biHeight;
  m_nPelsX = bih.biXPelsPerMeter;
  m_nPelsY = bih.biYPelsPerMeter;
  m_bRowAligned = true;
  m_nPlanes = nPlanes;
  const boost::shared_ptr<uint8_t>& pBits = bitmap.SharedBits();
  if (pBits)
    m_pData = boost::shared_array<uint8_t>(pBits.get(), ClBitmapBitsHolder{pBits});
  SetContentFromPlanes();
  SetRangeFromType();
  return true;
}

void ClImage::ExtractPlane(uint32_t nPlane, ClImage& dst) const
{
  if (&dst == this) {
    ClImage tmp;
    ExtractPlane(nPlane, tmp);
    dst.Swap(tmp);
    return;
  }
  dst.Create(DataType(), m_nWidth, m_nHeight, 1, m_nPelsX, m_nPelsY, true);
  switch (SampleSize()) {
  case 1:
    CopyPlane<uint8_t>(*this, nPlane, dst);
    break;
  case 2:
    CopyPlane<uint16_t>(*this, nPlane, dst);
    break;
  case 4:
    CopyPlane<uint32_t>(*this, nPlane, dst);
    break;
  case 8:
    CopyPlane<uint64_t>(*this, nPlane, dst);
    break;
  default:
    break;
  }
}

bool ClImage::ClearIfZero(bool bZero)
{
  if (!bZero)
    return false;
  const int64_t nBytes = static_cast<int64_t>(LineBytes()) * m_nHeight;
  if (m_pData && nBytes > 0)
    std::memset(m_pData.get(), 0, static_cast<size_t>(nBytes));
  return true;
}

template <class T>
void ClImage::FillRows(T value, int32_t nRowStep)
{
  if (TpDataType<T>::value != DataType())
    LSKX2_THROW_UNPLACED("Image Type is not the assigned type", eErrInternal);
  T* p = Pixels<T>();
  if (!p)
    return;
  const int64_t nCount = static_cast<int64_t>(m_nWidth) * m_nPlanes;
  for (int32_t y = 0; y < m_nHeight; ++y) {
    T* row = p + static_cast<int64_t>(y) * nRowStep;
    for (int64_t i = 0; i < nCount; ++i)
      row[i] = value;
  }
}

void ClImage::Fill(unsigned char value)
{
  if (ClearIfZero(value == 0))
    return;
  if (SampleSize() == 1) {
    // Any one-byte image, padding included.
    const int64_t nBytes = static_cast<int64_t>(LineBytes()) * m_nHeight;
    if (m_pData && nBytes > 0)
      std::memset(m_pData.get(), value, static_cast<size_t>(nBytes));
    return;
  }
  FillRows(value, LineElements());
}

void ClImage::Fill(signed char value)
{
  if (!ClearIfZero(value == 0))
    FillRows(value, LineElements());
}

void ClImage::Fill(unsigned short value)
{
  if (!ClearIfZero(value == 0))
    FillRows(value, LineElements());
}

void ClImage::Fill(short value)
{
  if (!ClearIfZero(value == 0))
    FillRows(value, LineElements());
}

// Rows of 4- and 8-byte samples need no padding, so width times planes is the stride.
void ClImage::Fill(unsigned int value)
{
  if (!ClearIfZero(value == 0))
    FillRows(value, static_cast<int32_t>(static_cast<uint32_t>(m_nWidth) * m_nPlanes));
}

void ClImage::Fill(int value)
{
  if (!ClearIfZero(value == 0))
    FillRows(value, static_cast<int32_t>(static_cast<uint32_t>(m_nWidth) * m_nPlanes));
}

void ClImage::Fill(float value)
{
  if (!ClearIfZero(value == 0))
    FillRows(value, static_cast<int32_t>(static_cast<uint32_t>(m_nWidth) * m_nPlanes));
}

void ClImage::Fill(double value)
{
  if (!ClearIfZero(value == 0))
    FillRows(value, static_cast<int32_t>(static_cast<uint32_t>(m_nWidth) * m_nPlanes));
}
