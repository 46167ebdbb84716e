#include "model/MemoryStream.h"

#include "base/Exceptions.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <stdexcept>

ClMemoryStream::ClMemoryStream(bool bThrowOnShortTransfer) : ClStream(bThrowOnShortTransfer) {}

ClMemoryStream::ClMemoryStream(const void* pData, size_t nBytes, bool bThrowOnShortTransfer)
  : ClStream(bThrowOnShortTransfer)
{
  WriteBytes(pData, nBytes);
}

ClMemoryStream::~ClMemoryStream() = default;

size_t ClMemoryStream::WriteBytes(const void* pData, size_t nBytes)
{
  if (!pData || nBytes == 0)
    return 0;
  const uint8_t* p = static_cast<const uint8_t*>(pData);
  try {
    m_aBytes.insert(m_aBytes.end(), p, p + nBytes);
  } catch (const std::bad_alloc&) {
    throw ClExBadAlloc();
  } catch (const std::length_error&) {
    throw ClExBadAlloc();
  }
  return nBytes;
}

size_t ClMemoryStream::ReadBytes(void* pData, size_t nBytes)
{
  if (!pData)
    return 0;
  size_t n = std::min(nBytes, m_aBytes.size() - m_nReadPos);
  if (n != 0)
    std::memcpy(pData, m_aBytes.data() + m_nReadPos, n);
  m_nReadPos += n;
  return n;
}

void ClMemoryStream::Reset()
{
  m_aBytes.clear();
  m_nReadPos = 0;
}
