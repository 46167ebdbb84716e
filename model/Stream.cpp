#include "model/Stream.h"

#include "base/Exceptions.h"

#include <cstring>
#include <new>

ClStream::ClStream(bool bThrowOnShortTransfer)
  : m_bThrowOnShortTransfer(bThrowOnShortTransfer), m_nBitsPending(0), m_bSwapOnRead(false),
    m_bSwapOnWrite(false)
{}

ClStream::~ClStream() = default;

void ClStream::CheckBitState() const
{
  if (m_nBitsPending != 0)
    LSKX2_THROW_AS(ClExStream, "the last bit I/O was finish with out bitflush.", eErrCorruptData,
                   true);
}

void ClStream::CheckCount(size_t nCount, size_t nSize) const
{
  if (m_bThrowOnShortTransfer && nCount != nSize)
    LSKX2_THROW_AS(ClExStreamUnexpectedEnd, "Unexpected end of stream", eErrUnexpectedEof, true);
}

size_t ClStream::WriteValue(const void* pValue, size_t nSize, bool bSwappable)
{
  CheckBitState();
  size_t nCount = 0;
  if (bSwappable && m_bSwapOnWrite && nSize > 1) {
    // Highest address first gives the reversed order on the stream.
    const uint8_t* p = static_cast<const uint8_t*>(pValue);
    for (size_t i = nSize; i-- > 0;)
      nCount += WriteBytes(p + i, 1);
  } else {
    nCount = WriteBytes(pValue, nSize);
  }
  CheckCount(nCount, nSize);
  return nCount;
}

size_t ClStream::ReadValue(void* pValue, size_t nSize, bool bSwappable)
{
  CheckBitState();
  size_t nCount = 0;
  if (bSwappable && m_bSwapOnRead && nSize > 1) {
    uint8_t* p = static_cast<uint8_t*>(pValue);
    for (size_t i = nSize; i-- > 0;)
      nCount += ReadBytes(p + i, 1);
  } else {
    nCount = ReadBytes(pValue, nSize);
  }
  CheckCount(nCount, nSize);
  return nCount;
}

size_t ClStream::Write(int8_t value) { return WriteValue(&value, 1, false); }
size_t ClStream::Write(uint8_t value) { return WriteValue(&value, 1, false); }
size_t ClStream::Write(char value) { return WriteValue(&value, 1, false); }
size_t ClStream::Write(int16_t value) { return WriteValue(&value, 2, true); }
size_t ClStream::Write(uint16_t value) { return WriteValue(&value, 2, true); }
size_t ClStream::Write(int32_t value) { return WriteValue(&value, 4, true); }
size_t ClStream::Write(uint32_t value) { return WriteValue(&value, 4, true); }
size_t ClStream::Write(int64_t value) { return WriteValue(&value, 8, true); }
size_t ClStream::Write(uint64_t value) { return WriteValue(&value, 8, true); }
size_t ClStream::Write(double value) { return WriteValue(&value, 8, true); }

size_t ClStream::Write(bool value)
{
  uint8_t byte = value ? 1 : 0;
  return WriteValue(&byte, 1, false);
}

size_t ClStream::Read(int8_t& value) { return ReadValue(&value, 1, false); }
size_t ClStream::Read(uint8_t& value) { return ReadValue(&value, 1, false); }
size_t ClStream::Read(char& value) { return ReadValue(&value, 1, false); }
size_t ClStream::Read(int16_t& value) { return ReadValue(&value, 2, true); }
size_t ClStream::Read(uint16_t& value) { return ReadValue(&value, 2, true); }
size_t ClStream::Read(int32_t& value) { return ReadValue(&value, 4, true); }
size_t ClStream::Read(uint32_t& value) { return ReadValue(&value, 4, true); }
size_t ClStream::Read(int64_t& value) { return ReadValue(&value, 8, true); }
size_t ClStream::Read(uint64_t& value) { return ReadValue(&value, 8, true); }
size_t ClStream::Read(double& value) { return ReadValue(&value, 8, true); }

size_t ClStream::Read(bool& value)
{
  uint8_t byte = 0;
  size_t nCount = ReadValue(&byte, 1, false);
  value = byte != 0;
  return nCount;
}

size_t ClStream::WriteBlock(const void* pData, size_t nBytes)
{
  if (!pData && nBytes != 0)
    LSKX2_THROW_AS(ClExStream, "Stream block without buffer.", eErrBadPointer, true);
  return WriteValue(pData, nBytes, false);
}

size_t ClStream::ReadBlock(void* pData, size_t nBytes)
{
  if (!pData && nBytes != 0)
    LSKX2_THROW_AS(ClExStream, "Stream block without buffer.", eErrBadPointer, true);
  return ReadValue(pData, nBytes, false);
}

size_t ClStream::WriteString(const char* szText)
{
  static const char szEmpty[1] = {0};
  if (!szText)
    szText = szEmpty;
  size_t nBytes = std::strlen(szText) + 1;
  size_t nCount = Write(static_cast<uint32_t>(nBytes));
  return nCount + WriteValue(szText, nBytes, false);
}

size_t ClStream::ReadString(char*& rszText)
{
  delete[] rszText;
  rszText = nullptr;
  uint32_t nLength = 0;
  size_t nCount = Read(nLength);
  if (nCount != sizeof(nLength) || nLength == 0)
    return nCount;
  char* p = new (std::nothrow) char[nLength];
  if (!p)
    throw ClExBadAlloc();
  size_t nRead = 0;
  try {
    nRead = ReadValue(p, nLength, false);
  } catch (...) {
    delete[] p;
    throw;
  }
  // A damaged stream must still leave a terminated text behind.
  if (nRead < nLength)
    p[nRead] = 0;
  else
    p[nLength - 1] = 0;
  rszText = p;
  return nCount + nRead;
}
