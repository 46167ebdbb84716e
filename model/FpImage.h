#pragma once
// ClImage: a grid of samples of one type, planes interleaved, rows padded to 4 bytes,
// pixel buffer shared by reference count. Processors read the grid through Data() and
// walk rows by LineElements().
#include "model/DataType.h"

#include <boost/noncopyable.hpp>
#include <boost/shared_array.hpp>
#include <cstdint>

class ClBitmap;

class ClImage : private boost::noncopyable
{
public:
  ClImage();
  // Create with "uint8" and rows aligned.
  ClImage(int32_t nWidth, int32_t nHeight, uint32_t nPlanes = 1, int32_t nPelsX = 0,
          int32_t nPelsY = 0);
  virtual ~ClImage();

  uint8_t* Data() const { return m_pData.get(); }
  template <class T>
  T* Pixels() const
  {
    return reinterpret_cast<T*>(m_pData.get());
  }
  const boost::shared_array<uint8_t>& SharedData() const { return m_pData; }

  int32_t Width() const { return m_nWidth; }
  int32_t Height() const { return m_nHeight; }
  uint32_t Planes() const { return m_nPlanes; }
  EDataType DataType() const { return static_cast<EDataType>(m_eDataType); }
  uint32_t SampleSize() const { return DataTypeSize(DataType()); }
  EContent Content() const { return m_eContent; }
  void SetContent(EContent eContent) { m_eContent = eContent; }
  int32_t PelsX() const { return m_nPelsX; }
  int32_t PelsY() const { return m_nPelsY; }
  void SetPelsX(int32_t nPels) { m_nPelsX = nPels; }
  void SetPelsY(int32_t nPels) { m_nPelsY = nPels; }
  void SetPels(int32_t nPelsX, int32_t nPelsY)
  {
    m_nPelsX = nPelsX;
    m_nPelsY = nPelsY;
  }
  double MinValue() const { return m_dMinValue; }
  double MaxValue() const { return m_dMaxValue; }
  void SetMinValue(double dValue) { m_dMinValue = dValue; }
  void SetMaxValue(double dValue) { m_dMaxValue = dValue; }
  uint32_t ImageTag() const { return m_nImageTag; }
  void SetImageTag(uint32_t nTag) { m_nImageTag = nTag; }

  // Row stride in bytes: sample size * width * planes, rounded up to 4 when aligned.
  int32_t LineBytes() const;
  // Row stride in samples; 0 for a sample size of 0.
  int32_t LineElements() const;

  // Reuses the buffer when the byte size stays and nobody shares it (old bytes kept).
  // Throws -101 "Image area must be positive" for a negative height or stride, -102 when
  // the allocation fails.
  void Create(EDataType eType, int32_t nWidth, int32_t nHeight, uint32_t nPlanes = 1,
              int32_t nPelsX = 0, int32_t nPelsY = 0, bool bAligned = true);
  // Same geometry, type, content, tag and range as the source; pixels not copied.
  void CreateLike(const ClImage& src);
  // As CreateLike with another type; the range is that of the new type. -44 on itself.
  void CreateAsType(const ClImage& src, EDataType eType);
  // Result image of a template's own pixel type T. -44 on itself.
  template <class T>
  void CreateSized(const ClImage& src)
  {
    CreateSizedAs(src, TpDataType<T>::value);
  }
  // Deep copy; nothing when src is this image.
  ClImage& Copy(const ClImage& src);
  // Shares the source's buffer and takes over all its fields; nothing when src is this.
  void Share(const ClImage& src);
  void Swap(ClImage& other);
  void Clear();
  // Lays this image over the bitmap's pixels without copying. False for a compressed
  // bitmap; -12 for bit counts other than 8, 24 and 32; -10 for an empty bitmap.
  bool Attach(const ClBitmap& bitmap);
  // Plane nPlane into a new one-plane image of the same type; the index is not checked.
  void ExtractPlane(uint32_t nPlane, ClImage& dst) const;

  // Zero clears any image including padding. A non-zero value needs the image's type to
  // match the overload (-101); the uint8 overload block-fills any 1-byte image.
  void Fill(unsigned char value);
  void Fill(signed char value);
  void Fill(unsigned short value);
  void Fill(short value);
  void Fill(unsigned int value);
  void Fill(int value);
  void Fill(float value);
  void Fill(double value);

private:
  void CreateSizedAs(const ClImage& src, EDataType eType);
  void ResetMembers();
  void SetContentFromPlanes();
  void SetRangeFromType();
  bool ClearIfZero(bool bZero);
  template <class T>
  void FillRows(T value, int32_t nRowStep);

  uint8_t m_eDataType;
  EContent m_eContent;
  int32_t m_nWidth;
  int32_t m_nHeight;
  int32_t m_nPelsX;
  int32_t m_nPelsY;
  boost::shared_array<uint8_t> m_pData;
  bool m_bRowAligned;
  uint32_t m_nPlanes;
  double m_dMinValue;
  double m_dMaxValue;
  uint32_t m_nImageTag;
};
