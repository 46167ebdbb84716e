#pragma once
// A stream over a growing block in memory: writes append, reads run from a separate
// read position. Used to serialise parameter records and in tests.
#include "model/Stream.h"

#include <vector>

class ClMemoryStream : public ClStream
{
public:
  explicit ClMemoryStream(bool bThrowOnShortTransfer = true);
  // Starts with a copy of the given bytes, ready to be read.
  ClMemoryStream(const void* pData, size_t nBytes, bool bThrowOnShortTransfer = true);
  ~ClMemoryStream() override;

  size_t WriteBytes(const void* pData, size_t nBytes) override;
  size_t ReadBytes(void* pData, size_t nBytes) override;

  const uint8_t* Data() const { return m_aBytes.data(); }
  size_t Size() const { return m_aBytes.size(); }
  size_t ReadPosition() const { return m_nReadPos; }
  size_t Remaining() const { return m_aBytes.size() - m_nReadPos; }
  // Reading starts again at the first byte.
  void Rewind() { m_nReadPos = 0; }
  // Drops all bytes.
  void Reset();

private:
  std::vector<uint8_t> m_aBytes;
  size_t m_nReadPos = 0;
};
