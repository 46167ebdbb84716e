#include "model/MemoryStream.h"
#include "tests/common/TestFailure.h"

#include <gtest/gtest.h>
#include <vector>

namespace {

std::vector<uint8_t> Bytes(const ClMemoryStream& s)
{
  return std::vector<uint8_t>(s.Data(), s.Data() + s.Size());
}

// A stream left in the middle of a bit-wise transfer.
class ClPendingBitsStream : public ClMemoryStream
{
public:
  void SetPending(uint64_t n) { m_nBitsPending = n; }
};

} // namespace

TEST(StreamTyped, ByteOrderAndSwapping)
{
  ClMemoryStream s;
  EXPECT_EQ(s.Write(static_cast<uint16_t>(0x1234)), 2u);
  EXPECT_EQ(s.Write(static_cast<int32_t>(0x01020304)), 4u);
  s.SetSwapOnWrite(true);
  EXPECT_EQ(s.Write(static_cast<uint16_t>(0x1234)), 2u);
  EXPECT_EQ(s.Write(static_cast<uint8_t>(0xAB)), 1u); // single bytes never swap
  EXPECT_EQ(s.Write(static_cast<int64_t>(0x0102030405060708)), 8u);
  const std::vector<uint8_t> expect = {0x34, 0x12, 4, 3, 2, 1, 0x12, 0x34, 0xAB,
                                       1,    2,    3, 4, 5, 6, 7,    8};
  EXPECT_EQ(Bytes(s), expect);

  uint16_t a = 0;
  int32_t b = 0;
  s.Read(a);
  s.Read(b);
  EXPECT_EQ(a, 0x1234);
  EXPECT_EQ(b, 0x01020304);
  s.SetSwapOnRead(true);
  s.Read(a);
  EXPECT_EQ(a, 0x1234); // reversed twice
  uint8_t c = 0;
  int64_t d = 0;
  s.Read(c);
  s.Read(d);
  EXPECT_EQ(c, 0xAB);
  EXPECT_EQ(d, 0x0102030405060708);
}

TEST(StreamTyped, BoolsDoublesAndBlocks)
{
  ClMemoryStream s;
  s.Write(true);
  const uint8_t seven = 7;
  s.WriteBlock(&seven, 1);
  s.Write(-2.5);
  EXPECT_EQ(s.Data()[0], 1);
  bool a = false, b = false;
  double d = 0;
  s.Read(a);
  s.Read(b); // any non-zero byte is true
  EXPECT_EQ(s.Read(d), 8u);
  EXPECT_TRUE(a && b);
  EXPECT_EQ(d, -2.5);
  EXPECT_EQ(CodeOf([&] { s.ReadBlock(nullptr, 4); }), -701);
}

TEST(StreamTyped, ShortTransfers)
{
  const uint8_t three[3] = {1, 2, 3};
  ClMemoryStream s(three, 3);
  uint32_t v = 0;
  try {
    s.Read(v);
    FAIL() << "no exception";
  } catch (const ClExStreamUnexpectedEnd& e) {
    EXPECT_EQ(e.GetCode(), -201);
  }

  ClMemoryStream quiet(three, 3, false);
  EXPECT_EQ(quiet.Read(v), 3u);
  quiet.Rewind();
  quiet.SetSwapOnRead(true);
  EXPECT_EQ(quiet.Read(v), 3u); // byte by byte, counts added up
}

TEST(StreamTyped, PendingBitsBlockEveryTransfer)
{
  ClPendingBitsStream s;
  s.SetPending(3);
  EXPECT_EQ(CodeOf([&] { s.Write(static_cast<uint8_t>(1)); }), -39);
  uint16_t v;
  EXPECT_EQ(CodeOf([&] { s.Read(v); }), -39);
  EXPECT_EQ(CodeOf([&] { s.WriteString("x"); }), -39);
  EXPECT_EQ(s.Size(), 0u);
  s.SetPending(0);
  EXPECT_EQ(s.Write(static_cast<uint8_t>(1)), 1u);
}

TEST(StreamString, FormatAndOwnership)
{
  ClMemoryStream s;
  EXPECT_EQ(s.WriteString("abc"), 8u);
  EXPECT_EQ(s.WriteString(nullptr), 5u);
  const std::vector<uint8_t> expect = {4, 0, 0, 0, 'a', 'b', 'c', 0, 1, 0, 0, 0, 0};
  EXPECT_EQ(Bytes(s), expect);
  const uint32_t zero = 0;
  s.Write(zero);

  char* text = new char[3]{'o', 'l', 0}; // freed by the read
  EXPECT_EQ(s.ReadString(text), 8u);
  EXPECT_STREQ(text, "abc");
  s.ReadString(text);
  ASSERT_NE(text, nullptr); // a null text comes back empty, not null
  EXPECT_STREQ(text, "");
  s.ReadString(text);
  EXPECT_EQ(text, nullptr); // length 0
}

TEST(StreamString, DamagedLengths)
{
  ClMemoryStream s;
  s.Write(static_cast<uint32_t>(1000));
  s.WriteBlock("xy", 2);
  char* text = nullptr;
  EXPECT_EQ(CodeOf([&] { s.ReadString(text); }), -201);
  EXPECT_EQ(text, nullptr);

  s.Rewind();
  s.SetThrowOnShortTransfer(false);
  EXPECT_EQ(s.ReadString(text), 6u);
  EXPECT_STREQ(text, "xy"); // terminated after what arrived
  delete[] text;
}
