#pragma once
// Byte stream base: a concrete stream supplies WriteBytes and ReadBytes, the base adds
// typed transfers with optional byte reversal. Every typed transfer returns the number
// of bytes moved, so a caller can add up the counts of a whole record.
//
// Errors: -39 when a bit-wise transfer was left unflushed; ClExStreamUnexpectedEnd,
// "Unexpected end of stream", -201, on a short transfer unless
// SetThrowOnShortTransfer(false); -701 for a null buffer with a non-zero size.
#include <cstddef>
#include <cstdint>

class ClStream
{
public:
  explicit ClStream(bool bThrowOnShortTransfer = true);
  virtual ~ClStream();

  // Raw transfers of a concrete stream; they return the count actually moved.
  virtual size_t WriteBytes(const void* pData, size_t nBytes) = 0;
  virtual size_t ReadBytes(void* pData, size_t nBytes) = 0;

  size_t Write(int8_t value);
  size_t Write(uint8_t value);
  size_t Write(char value);
  // One byte, 0 or 1.
  size_t Write(bool value);
  size_t Write(int16_t value);
  size_t Write(uint16_t value);
  size_t Write(int32_t value);
  size_t Write(uint32_t value);
  size_t Write(int64_t value);
  size_t Write(uint64_t value);
  size_t Write(double value);

  size_t Read(int8_t& value);
  size_t Read(uint8_t& value);
  size_t Read(char& value);
  // Any non-zero byte reads as true.
  size_t Read(bool& value);
  size_t Read(int16_t& value);
  size_t Read(uint16_t& value);
  size_t Read(int32_t& value);
  size_t Read(uint32_t& value);
  size_t Read(int64_t& value);
  size_t Read(uint64_t& value);
  size_t Read(double& value);

  // Byte blocks go unswapped.
  size_t WriteBlock(const void* pData, size_t nBytes);
  size_t ReadBlock(void* pData, size_t nBytes);

  // 4-byte length counting the terminating zero, then the bytes with the zero. A null
  // text is written as length 1 and one zero byte.
  size_t WriteString(const char* szText);
  // Frees *rszText with delete[] and sets it null, then reads a text into a block made
  // with new char[] that the caller owns and frees with delete[]. A length of 0 leaves
  // it null.
  size_t ReadString(char*& rszText);

  void SetThrowOnShortTransfer(bool bThrow) { m_bThrowOnShortTransfer = bThrow; }
  void SetSwapOnRead(bool bSwap) { m_bSwapOnRead = bSwap; }
  void SetSwapOnWrite(bool bSwap) { m_bSwapOnWrite = bSwap; }

protected:
  // Shared steps of every typed transfer: bit state, optional reversal, short check.
  size_t WriteValue(const void* pValue, size_t nSize, bool bSwappable);
  size_t ReadValue(void* pValue, size_t nSize, bool bSwappable);
  void CheckBitState() const;
  void CheckCount(size_t nCount, size_t nSize) const;

  bool m_bThrowOnShortTransfer;
  // Bits of an unfinished bit-wise transfer; byte transfers need it to be 0.
  uint64_t m_nBitsPending;
  bool m_bSwapOnRead;
  bool m_bSwapOnWrite;
};
