#include "recorder/RecordFile.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>
#include <zstd.h>

namespace kxrec {

namespace {

void Put16(std::vector<uint8_t>& v, uint16_t n)
{
  for (int i = 0; i < 2; ++i)
    v.push_back(uint8_t(n >> (8 * i)));
}
void Put32(std::vector<uint8_t>& v, uint32_t n)
{
  for (int i = 0; i < 4; ++i)
    v.push_back(uint8_t(n >> (8 * i)));
}
void Put64(std::vector<uint8_t>& v, uint64_t n)
{
  for (int i = 0; i < 8; ++i)
    v.push_back(uint8_t(n >> (8 * i)));
}
uint64_t Get(const uint8_t* p, int nBytes)
{
  uint64_t n = 0;
  for (int i = nBytes - 1; i >= 0; --i)
    n = n << 8 | p[i];
  return n;
}

std::string KindText(uint32_t nKind)
{
  std::string s;
  for (int i = 0; i < 4; ++i) {
    const char c = char(nKind >> (8 * i));
    s += c >= 32 && c < 127 ? c : '?';
  }
  return s;
}

uint32_t ChunkCrc(const uint8_t* pHeader, const uint8_t* pPayload, size_t n)
{
  // The kind and length are covered too: a damaged length must not pass for a short chunk.
  uLong crc = crc32(0L, pHeader, 8);
  return uint32_t(crc32_z(crc, pPayload, n));
}

} // namespace

ClRecordError::ClRecordError(uint64_t nOffset, const std::string& sWhat)
  : std::runtime_error("offset " + std::to_string(nOffset) + ": " + sWhat), m_nOffset(nOffset)
{}

uint32_t Crc32(const uint8_t* p, size_t n) { return uint32_t(crc32_z(0L, p, n)); }

std::vector<uint8_t> DecodedData(const ClCallRecord& r)
{
  if (!(r.nFlags & kDataZstd)) {
    if (r.aData.size() != r.nDataBytes)
      throw ClRecordError(r.nOffset, "call data of " + std::to_string(r.aData.size()) +
                                         " bytes where the record says " +
                                         std::to_string(r.nDataBytes));
    return r.aData;
  }
  const unsigned long long framed = ZSTD_getFrameContentSize(r.aData.data(), r.aData.size());
  if (framed != r.nDataBytes && framed != ZSTD_CONTENTSIZE_UNKNOWN)
    throw ClRecordError(r.nOffset, "a zstd frame of " + std::to_string(r.nDataBytes) +
                                       " bytes expected in the call data");
  std::vector<uint8_t> out(r.nDataBytes);
  const size_t n = ZSTD_decompress(out.data(), out.size(), r.aData.data(), r.aData.size());
  if (ZSTD_isError(n) || n != out.size())
    throw ClRecordError(r.nOffset, std::string("damaged zstd data: ") +
                                       (ZSTD_isError(n) ? ZSTD_getErrorName(n) : "short"));
  return out;
}

// ---- Writing ----------------------------------------------------------------------------

ClRecordWriter::ClRecordWriter(const std::string& sPath, const std::string& sInfoJson,
                               int nZstdLevel)
  : m_nLevel(nZstdLevel)
{
  m_nFd = ::open(sPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0644);
  if (m_nFd < 0)
    throw std::runtime_error(sPath + ": " + std::strerror(errno));
  m_pContext = ZSTD_createCCtx();
  std::vector<uint8_t> head(kMagic, kMagic + 8);
  Put16(head, kFormatVersion);
  Put16(head, 0);
  if (::write(m_nFd, head.data(), head.size()) != ssize_t(head.size()))
    throw std::runtime_error(sPath + ": " + std::strerror(errno));
  Append(kChunkInfo, std::vector<uint8_t>(sInfoJson.begin(), sInfoJson.end()));
  m_Thread = std::thread(&ClRecordWriter::Run, this);
}

ClRecordWriter::~ClRecordWriter()
{
  {
    std::lock_guard<std::mutex> lock(m_Mutex);
    m_bStop = true;
  }
  m_Changed.notify_all();
  m_Thread.join();
  ZSTD_freeCCtx(static_cast<ZSTD_CCtx*>(m_pContext));
  if (m_nFd >= 0)
    ::close(m_nFd);
}

void ClRecordWriter::Append(uint32_t nKind, const std::vector<uint8_t>& payload)
{
  std::vector<uint8_t> chunk;
  chunk.reserve(kChunkHeaderBytes + payload.size());
  Put32(chunk, nKind);
  Put32(chunk, uint32_t(payload.size()));
  Put32(chunk, ChunkCrc(chunk.data(), payload.data(), payload.size()));
  chunk.insert(chunk.end(), payload.begin(), payload.end());
  // One write per chunk: what a killed process leaves is whole chunks and one torn one.
  size_t done = 0;
  while (done < chunk.size()) {
    const ssize_t n = ::write(m_nFd, chunk.data() + done, chunk.size() - done);
    if (n <= 0 && errno != EINTR)
      return; // a full disk must not change what the caller sees
    if (n > 0)
      done += size_t(n);
  }
}

void ClRecordWriter::Write(ClCallRecord r, const uint8_t* pData, size_t nData, bool bCompress)
{
  r.aData.assign(pData, pData + nData);
  std::unique_lock<std::mutex> lock(m_Mutex);
  // A writer that falls far behind holds the caller up rather than fill the memory.
  m_Changed.wait(lock, [&] { return m_nQueuedBytes < (64u << 20) || m_bStop; });
  m_nQueuedBytes += nData;
  m_Queue.push_back(ClJob{std::move(r), bCompress});
  m_Changed.notify_all();
}

void ClRecordWriter::Flush()
{
  std::unique_lock<std::mutex> lock(m_Mutex);
  m_Changed.wait(lock, [&] { return m_Queue.empty() && !m_bBusy; });
}

void ClRecordWriter::Run()
{
  std::unique_lock<std::mutex> lock(m_Mutex);
  for (;;) {
    m_Changed.wait(lock, [&] { return !m_Queue.empty() || m_bStop; });
    if (m_Queue.empty())
      return;
    ClJob job = std::move(m_Queue.front());
    m_Queue.pop_front();
    m_bBusy = true;
    lock.unlock();
    Store(job);
    lock.lock();
    m_bBusy = false;
    m_nQueuedBytes -= job.record.aData.size();
    m_Changed.notify_all();
  }
}

void ClRecordWriter::Store(ClJob& job)
{
  ClCallRecord& r = job.record;
  const uint8_t* pData = r.aData.data();
  const size_t nData = r.aData.size();
  r.nFlags = 0;
  r.nDataBytes = uint32_t(nData);
  const uint8_t* stored = pData;
  size_t nStored = nData;
  if (job.bCompress && nData > 0) {
    m_aPacked.resize(ZSTD_compressBound(nData));
    const size_t n = ZSTD_compressCCtx(static_cast<ZSTD_CCtx*>(m_pContext), m_aPacked.data(),
                                       m_aPacked.size(), pData, nData, m_nLevel);
    if (!ZSTD_isError(n) && n < nData) {
      r.nFlags = kDataZstd;
      stored = m_aPacked.data();
      nStored = n;
    }
  }
  std::vector<uint8_t> p;
  p.reserve(kCallHeaderBytes + nStored);
  Put16(p, r.nEntry);
  p.push_back(r.nFlags);
  p.push_back(0);
  Put32(p, uint32_t(r.nInterface));
  Put32(p, uint32_t(r.nResult));
  Put32(p, r.nLastError);
  Put64(p, uint64_t(r.nStartNs));
  Put64(p, uint64_t(r.nEndNs));
  for (int64_t a : r.aArgs)
    Put64(p, uint64_t(a));
  Put32(p, r.nDataBytes);
  p.insert(p.end(), stored, stored + nStored);
  Append(kChunkCall, p);
}

// ---- Reading ----------------------------------------------------------------------------

ClRecordReader::ClRecordReader(const std::string& sPath)
{
  // Read a chunk at a time: a long session runs to gigabytes.
  m_nFd = ::open(sPath.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat st;
  if (m_nFd < 0 || ::fstat(m_nFd, &st) != 0) {
    const std::string why = std::strerror(errno);
    if (m_nFd >= 0)
      ::close(m_nFd);
    throw ClRecordError(0, sPath + " cannot be read: " + why);
  }
  m_nSize = size_t(st.st_size);
  try {
    ReadHeader();
  } catch (...) {
    ::close(m_nFd);
    throw;
  }
}

ClRecordReader::~ClRecordReader()
{
  if (m_nFd >= 0)
    ::close(m_nFd);
}

ClRecordReader::ClRecordReader(const uint8_t* p, size_t n) : m_pData(p), m_nSize(n)
{
  ReadHeader();
}

const uint8_t* ClRecordReader::Bytes(size_t at, size_t n, std::vector<uint8_t>& buffer) const
{
  if (m_pData)
    return m_pData + at;
  buffer.resize(n);
  for (size_t done = 0; done < n;) {
    const ssize_t k = ::pread(m_nFd, buffer.data() + done, n - done, off_t(at + done));
    if (k < 0 && errno == EINTR)
      continue;
    if (k <= 0)
      throw ClRecordError(at, k == 0 ? "truncated: the file got shorter while being read"
                                     : std::string("cannot be read: ") + std::strerror(errno));
    done += size_t(k);
  }
  return buffer.data();
}

void ClRecordReader::ReadHeader()
{
  if (m_nSize < kFileHeaderBytes)
    throw ClRecordError(0, "truncated: a header of " + std::to_string(kFileHeaderBytes) +
                               " bytes expected, the file has " + std::to_string(m_nSize));
  const uint8_t* h = Bytes(0, kFileHeaderBytes, m_aBuffer);
  if (std::memcmp(h, kMagic, 8) != 0)
    throw ClRecordError(0, "no recording: the bytes \"KXREC\" expected");
  const uint16_t version = uint16_t(Get(h + 8, 2));
  if (version != kFormatVersion)
    throw ClRecordError(8, "format version " + std::to_string(kFormatVersion) +
                               " expected, found " + std::to_string(version));
  m_nPos = kFileHeaderBytes;
}

uint32_t ClRecordReader::Chunk(size_t at, std::vector<uint8_t>& buffer, const uint8_t** ppPayload,
                               uint32_t* pnLength) const
{
  if (at > m_nSize || m_nSize - at < kChunkHeaderBytes)
    throw ClRecordError(at, "truncated: a chunk header of 12 bytes expected, " +
                                std::to_string(at > m_nSize ? 0 : m_nSize - at) + " left");
  uint8_t h[kChunkHeaderBytes];
  std::memcpy(h, Bytes(at, kChunkHeaderBytes, buffer), kChunkHeaderBytes);
  const uint32_t kind = uint32_t(Get(h, 4));
  const uint32_t length = uint32_t(Get(h + 4, 4));
  if (length > kMaxPayload)
    throw ClRecordError(at, "damaged: chunk \"" + KindText(kind) + "\" claims " +
                                std::to_string(length) + " bytes");
  if (m_nSize - at - kChunkHeaderBytes < length)
    throw ClRecordError(at, "truncated: chunk \"" + KindText(kind) + "\" of " +
                                std::to_string(length) + " bytes expected, " +
                                std::to_string(m_nSize - at - kChunkHeaderBytes) + " left");
  const uint8_t* p = Bytes(at + kChunkHeaderBytes, length, buffer);
#ifndef KXREC_FUZZING
  if (ChunkCrc(h, p, length) != uint32_t(Get(h + 8, 4)))
    throw ClRecordError(at,
                        "damaged: the checksum of chunk \"" + KindText(kind) + "\" does not match");
#endif
  *ppPayload = p;
  *pnLength = length;
  return kind;
}

void ClRecordReader::ParseCall(size_t at, const uint8_t* p, uint32_t nLength, ClCallRecord& r)
{
  if (nLength < kCallHeaderBytes)
    throw ClRecordError(at, "damaged: a call of at least 68 bytes expected, the chunk has " +
                                std::to_string(nLength));
  r.nEntry = uint16_t(Get(p, 2));
  r.nFlags = p[2];
  r.nInterface = int32_t(Get(p + 4, 4));
  r.nResult = int32_t(Get(p + 8, 4));
  r.nLastError = uint32_t(Get(p + 12, 4));
  r.nStartNs = int64_t(Get(p + 16, 8));
  r.nEndNs = int64_t(Get(p + 24, 8));
  for (int i = 0; i < 4; ++i)
    r.aArgs[i] = int64_t(Get(p + 32 + 8 * i, 8));
  r.nDataBytes = uint32_t(Get(p + 64, 4));
  if (r.nDataBytes > kMaxPayload)
    throw ClRecordError(at, "damaged: call data of " + std::to_string(r.nDataBytes) + " bytes");
  r.aData.assign(p + kCallHeaderBytes, p + nLength);
  r.nOffset = at;
}

bool ClRecordReader::Next(ClCallRecord& r)
{
  for (;;) {
    const size_t at = m_nPos;
    if (at == m_nSize)
      return false;
    const uint8_t* p = nullptr;
    uint32_t length = 0;
    const uint32_t kind = Chunk(at, m_aBuffer, &p, &length);
    m_nPos = at + kChunkHeaderBytes + length;
    if (kind == kChunkInfo) {
      m_sInfo.assign(reinterpret_cast<const char*>(p), length);
      continue;
    }
    if (kind != kChunkCall)
      continue; // a later writer's addition
    ParseCall(at, p, length, r);
    return true;
  }
}

void ClRecordReader::ReadAt(uint64_t nOffset, ClCallRecord& r) const
{
  std::vector<uint8_t> buffer;
  const uint8_t* p = nullptr;
  uint32_t length = 0;
  if (Chunk(size_t(nOffset), buffer, &p, &length) != kChunkCall)
    throw ClRecordError(nOffset, "a chunk \"CALL\" expected");
  ParseCall(size_t(nOffset), p, length, r);
}

} // namespace kxrec
