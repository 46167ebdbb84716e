// The recording file read back as written, and every way of breaking it reported with its
// offset instead of a crash.
#include "recorder/RecordFile.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <unistd.h>

namespace {

struct ClTempFile
{
  std::string sPath = "/tmp/kxrec-test-" + std::to_string(::getpid()) + ".kxrec";
  ~ClTempFile() { std::remove(sPath.c_str()); }
  std::vector<uint8_t> Bytes() const
  {
    std::ifstream in(sPath, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  }
};

std::vector<uint8_t> Frame(size_t n, uint32_t seed)
{
  std::vector<uint8_t> v(n);
  for (size_t i = 0; i < n; ++i)
    v[i] = uint8_t(16 + ((seed = seed * 1103515245u + 12345u) >> 16) % 4); // dark, noisy
  return v;
}

// Three calls: an image (compressed), a serial (kept as is), a failure without data.
std::vector<uint8_t> WriteSample(const ClTempFile& f)
{
  kxrec::ClRecordWriter w(f.sPath, "{\"writer\": \"test\"}", 1);
  kxrec::ClCallRecord r;
  r.nEntry = 14;
  r.nInterface = 0;
  r.nResult = 1;
  r.nStartNs = 1000;
  r.nEndNs = 31000;
  r.aArgs[0] = 2;
  const std::vector<uint8_t> frame = Frame(800 * 750, 7);
  w.Write(r, frame.data(), frame.size(), true);
  const uint8_t serial[12] = {'2', '1', '2', '3', '4', '5', '6', '7'};
  r.nEntry = 22;
  w.Write(r, serial, sizeof serial, false);
  r.nResult = 0;
  r.nLastError = 121;
  w.Write(r, nullptr, 0, true);
  w.Flush();
  return frame;
}

TEST(RecordFile, ReadsBackWhatWasWritten)
{
  ClTempFile f;
  const std::vector<uint8_t> frame = WriteSample(f);
  kxrec::ClRecordReader reader(f.sPath);
  kxrec::ClCallRecord r;
  ASSERT_TRUE(reader.Next(r));
  EXPECT_EQ(reader.Info(), "{\"writer\": \"test\"}");
  EXPECT_EQ(r.nEntry, 14);
  EXPECT_EQ(r.nFlags, kxrec::kDataZstd);
  EXPECT_LT(r.aData.size(), frame.size());
  EXPECT_EQ(r.nEndNs - r.nStartNs, 30000);
  EXPECT_EQ(r.aArgs[0], 2);
  EXPECT_EQ(kxrec::DecodedData(r), frame);
  ASSERT_TRUE(reader.Next(r));
  EXPECT_EQ(r.nFlags, 0);
  EXPECT_EQ(kxrec::DecodedData(r)[7], '7');
  ASSERT_TRUE(reader.Next(r));
  EXPECT_EQ(r.nResult, 0);
  EXPECT_EQ(r.nLastError, 121u);
  EXPECT_TRUE(kxrec::DecodedData(r).empty());
  EXPECT_FALSE(reader.Next(r));
  // A replay reads its frames again by their offset.
  kxrec::ClCallRecord again;
  const uint64_t first = kxrec::kFileHeaderBytes + kxrec::kChunkHeaderBytes + 18;
  reader.ReadAt(first, again);
  EXPECT_EQ(kxrec::DecodedData(again), frame);
  EXPECT_THROW(reader.ReadAt(kxrec::kFileHeaderBytes, again), kxrec::ClRecordError); // the info
  EXPECT_THROW(reader.ReadAt(first + 1, again), kxrec::ClRecordError);
}

// Reads a damaged copy to the end; the message of the failure, "" when none.
std::string ReadToEnd(const std::vector<uint8_t>& bytes, uint64_t* pnOffset)
{
  try {
    kxrec::ClRecordReader reader(bytes.data(), bytes.size());
    kxrec::ClCallRecord r;
    while (reader.Next(r))
      kxrec::DecodedData(r);
  } catch (const kxrec::ClRecordError& e) {
    *pnOffset = e.Offset();
    return e.what();
  }
  return "";
}

TEST(RecordFile, DamageIsReportedWithItsOffset)
{
  ClTempFile f;
  WriteSample(f);
  const std::vector<uint8_t> good = f.Bytes();
  const size_t info = kxrec::kFileHeaderBytes;
  const size_t firstCall = info + kxrec::kChunkHeaderBytes + 18; // the info text
  struct
  {
    const char* szCase;
    long nKeep;   // bytes kept, -1 all
    size_t nFlip; // invert this byte (0: none)
    uint64_t nOffset;
    const char* szWhat;
  } cases[] = {
      {"empty", 0, 0, 0, "truncated: a header of 12 bytes expected"},
      {"foreign", -1, 1, 0, "no recording"},
      {"newer format", -1, 8, 8, "format version 1 expected"},
      {"chunk header cut", long(firstCall) + 5, 0, firstCall,
       "a chunk header of 12 bytes expected"},
      {"frame cut", long(firstCall) + 500, 0, firstCall, "truncated: chunk \"CALL\""},
      {"pixel damaged", -1, firstCall + 300, firstCall, "checksum"},
      {"length damaged", -1, firstCall + 6, firstCall, "CALL"},
  };
  for (const auto& c : cases) {
    std::vector<uint8_t> bytes = good;
    if (c.nKeep >= 0)
      bytes.resize(size_t(c.nKeep));
    if (c.nFlip)
      bytes[c.nFlip] ^= 0xFF;
    uint64_t offset = ~0ull;
    const std::string what = ReadToEnd(bytes, &offset);
    EXPECT_NE(what.find(c.szWhat), std::string::npos) << c.szCase << ": " << what;
    EXPECT_EQ(offset, c.nOffset) << c.szCase;
  }
  uint64_t offset = 0;
  EXPECT_EQ(ReadToEnd(good, &offset), "");
}

} // namespace
