// The recording file: every call a program made into the device library, with its
// arguments, result, last error, time stamps and the bytes it exchanged. Layout in
// recorder/README.md. The writer appends one chunk per call with a single write, so a
// killed process loses at most the call being written; the reader reports a truncated or
// damaged file with its offset and what it expected, and never trusts a length it read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace kxrec {

constexpr char kMagic[8] = {'K', 'X', 'R', 'E', 'C', '\r', '\n', 0x1a};
constexpr uint16_t kFormatVersion = 1;
constexpr size_t kFileHeaderBytes = 12;  // magic, version, reserved
constexpr size_t kChunkHeaderBytes = 12; // kind, payload length, CRC-32 of the payload
constexpr size_t kCallHeaderBytes = 68;  // the fixed part of a call's payload
constexpr uint32_t kMaxPayload = 64u << 20;

// Chunk kinds, four ASCII letters read as a little-endian word.
constexpr uint32_t FourCC(const char (&s)[5])
{
  return uint32_t(uint8_t(s[0])) | uint32_t(uint8_t(s[1])) << 8 | uint32_t(uint8_t(s[2])) << 16 |
         uint32_t(uint8_t(s[3])) << 24;
}
constexpr uint32_t kChunkInfo = FourCC("INFO"); // JSON text about the session
constexpr uint32_t kChunkCall = FourCC("CALL"); // one call

constexpr uint8_t kDataZstd = 1; // the data are one zstd frame

// One call. nEntry is the entry's place in the device library's table (kxsim::EEntry).
struct ClCallRecord
{
  uint16_t nEntry = 0;
  uint8_t nFlags = 0;      // kData...
  int32_t nInterface = -1; // the device the call went to; -1 for none or unknown
  int32_t nResult = 0;     // the truth value returned (handles: 1 or 0)
  uint32_t nLastError = 0; // read after a failure, 0 after success
  int64_t nStartNs = 0;    // monotonic clock, before and after the call
  int64_t nEndNs = 0;
  int64_t aArgs[4] = {0, 0, 0, 0}; // scalar arguments, per entry (README)
  uint32_t nDataBytes = 0;         // the data's size once decoded
  std::vector<uint8_t> aData;      // as stored (compressed when nFlags says so)
  uint64_t nOffset = 0;            // where the chunk starts in the file (reading only)
};

class ClRecordError : public std::runtime_error
{
public:
  ClRecordError(uint64_t nOffset, const std::string& sWhat);
  uint64_t Offset() const { return m_nOffset; }

private:
  uint64_t m_nOffset;
};

uint32_t Crc32(const uint8_t* p, size_t n);

// The data of a call as the library exchanged them; throws ClRecordError when damaged.
std::vector<uint8_t> DecodedData(const ClCallRecord& r);

class ClRecordWriter
{
public:
  // Creates or truncates sPath; throws std::runtime_error with the system's reason.
  ClRecordWriter(const std::string& sPath, const std::string& sInfoJson, int nZstdLevel);
  ~ClRecordWriter();
  ClRecordWriter(const ClRecordWriter&) = delete;
  ClRecordWriter& operator=(const ClRecordWriter&) = delete;

  // pData: what the call exchanged; bCompress packs it with zstd. Thread-safe. The caller
  // pays for a copy; a thread of the writer compresses and writes, in the order of calls.
  void Write(ClCallRecord r, const uint8_t* pData, size_t nData, bool bCompress);
  // Returns once everything written so far is in the file.
  void Flush();

private:
  struct ClJob
  {
    ClCallRecord record;
    bool bCompress;
  };
  void Run();
  void Store(ClJob& job);
  void Append(uint32_t nKind, const std::vector<uint8_t>& payload);

  std::mutex m_Mutex;
  std::condition_variable m_Changed;
  std::deque<ClJob> m_Queue;
  size_t m_nQueuedBytes = 0;
  bool m_bBusy = false, m_bStop = false;
  int m_nFd = -1;
  int m_nLevel;
  void* m_pContext = nullptr; // ZSTD_CCtx, used by the writer's thread only
  std::vector<uint8_t> m_aPacked;
  std::thread m_Thread;
};

class ClRecordReader
{
public:
  // Opens the file, which is then read a chunk at a time; throws ClRecordError (offset 0)
  // when it cannot be read.
  explicit ClRecordReader(const std::string& sPath);
  // Over bytes in memory (the fuzz target, tests).
  ClRecordReader(const uint8_t* p, size_t n);
  ~ClRecordReader();
  ClRecordReader(const ClRecordReader&) = delete;
  ClRecordReader& operator=(const ClRecordReader&) = delete;

  const std::string& Info() const { return m_sInfo; }
  // The next call; false at the end of the file. Throws ClRecordError for a damaged or
  // truncated file.
  bool Next(ClCallRecord& r);
  // The call whose chunk starts at nOffset (a record's nOffset), checked as Next checks
  // it. Thread-safe.
  void ReadAt(uint64_t nOffset, ClCallRecord& r) const;

private:
  void ReadHeader();
  // Bytes [at, at + n) of the file: in memory where they lie, else read into buffer.
  const uint8_t* Bytes(size_t at, size_t n, std::vector<uint8_t>& buffer) const;
  // Checks the chunk at at; its kind, payload and length, and where the next one starts.
  uint32_t Chunk(size_t at, std::vector<uint8_t>& buffer, const uint8_t** ppPayload,
                 uint32_t* pnLength) const;
  static void ParseCall(size_t at, const uint8_t* p, uint32_t nLength, ClCallRecord& r);

  int m_nFd = -1;                   // the file, when read from one
  const uint8_t* m_pData = nullptr; // the bytes, when in memory
  size_t m_nSize = 0;
  size_t m_nPos = 0;
  std::vector<uint8_t> m_aBuffer; // the chunk Next read last
  std::string m_sInfo;
};

} // namespace kxrec
