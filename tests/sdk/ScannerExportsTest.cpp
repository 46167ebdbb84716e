// The scanner exports through the shared library against the simulator: failure tables
// in their order, opening and closing, constants, device access, properties and the
// JSON document.
#include "ScannerFixture.h"

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

namespace {

using FnCall = std::function<int32_t(LS_KX2_HANDLE)>;

struct StExport
{
  const char* szName;
  FnCall call;       // every output valid
  bool bOwnNullTest; // the export tests a null handle itself, before the SDK
};

// One call per export that takes a handle, with outputs that are all valid.
std::vector<StExport> HandleExports()
{
  static uint8_t image[800 * 750];
  static double d;
  static uint8_t b;
  static int32_t n32;
  static uint32_t u32, v32;
  static uint64_t u64, v64;
  static char text[256];
  return {
      {"SetCaptureMode", [](LS_KX2_HANDLE h) { return LS_KX2SetCaptureMode(h, 3); }, true},
      {"GetCaptureMode", [](LS_KX2_HANDLE h) { return LS_KX2GetCaptureMode(h, &u32); }, true},
      {"TriggerScanner", [](LS_KX2_HANDLE h) { return LS_KX2TriggerScanner(h); }, true},
      {"GetImage", [](LS_KX2_HANDLE h) { return LS_KX2GetImage(h, image, &d, &b, &n32); }, true},
      {"GetPreviewImage",
       [](LS_KX2_HANDLE h) { return LS_KX2GetPreviewImage(h, image, &d, &b, &n32); }, true},
      {"GetRollImage", [](LS_KX2_HANDLE h) { return LS_KX2GetRollImage(h, image, &d, &b, &n32); },
       true},
      {"GetImageSize", [](LS_KX2_HANDLE h) { return LS_KX2GetImageSize(h, &u64, &v64); }, true},
      {"GetPreviewImageSize",
       [](LS_KX2_HANDLE h) { return LS_KX2GetPreviewImageSize(h, &u64, &v64); }, true},
      {"GetRollImageSize", [](LS_KX2_HANDLE h) { return LS_KX2GetRollImageSize(h, &u64, &v64); },
       true},
      {"GetImageDPI", [](LS_KX2_HANDLE h) { return LS_KX2GetImageDPI(h, &u64, &v64); }, true},
      {"GetPreviewImageDPI",
       [](LS_KX2_HANDLE h) { return LS_KX2GetPreviewImageDPI(h, &u64, &v64); }, true},
      {"GetRollImageDPI", [](LS_KX2_HANDLE h) { return LS_KX2GetRollImageDPI(h, &u64, &v64); },
       true},
      {"GetScannerCondition",
       [](LS_KX2_HANDLE h) { return LS_KX2GetScannerCondition(h, &u32, &v32); }, true},
      {"GetSerialNumber", [](LS_KX2_HANDLE h) { return LS_KX2GetSerialNumber(h, text); }, true},
      {"SetLED", [](LS_KX2_HANDLE h) { return LS_KX2SetLED(h, 0, 1); }, true},
      {"ExtendedScannerAccess",
       [](LS_KX2_HANDLE h) {
         return LS_KX2ExtendedScannerAccess(h, 6, reinterpret_cast<uint8_t*>(text),
                                            &(u64 = sizeof(text)));
       },
       true},
      {"GetVersionString",
       [](LS_KX2_HANDLE h) { return LS_KX2GetVersionString(h, text, &(u64 = sizeof(text) - 1)); },
       true},
      {"GetPropertyA",
       [](LS_KX2_HANDLE h) {
         return LS_KX2GetPropertyA(h, "Version", text, &(u64 = sizeof(text)));
       },
       false},
      {"SetPropertyA", [](LS_KX2_HANDLE h) { return LS_KX2SetPropertyA(h, "nUseFastMask", "0"); },
       false},
      {"GetPropertyLongA",
       [](LS_KX2_HANDLE h) { return LS_KX2GetPropertyLongA(h, "nUseFastMask", &n32); }, false},
      {"SetPropertyLongA",
       [](LS_KX2_HANDLE h) { return LS_KX2SetPropertyLongA(h, "nUseFastMask", 0); }, false},
      {"GetPropertyDoubleA",
       [](LS_KX2_HANDLE h) { return LS_KX2GetPropertyDoubleA(h, "nUseFastMask", &d); }, false},
      {"SetPropertyDoubleA",
       [](LS_KX2_HANDLE h) { return LS_KX2SetPropertyDoubleA(h, "nUseFastMask", 0); }, false},
  };
}

} // namespace

TEST_F(ScannerExports, EveryExportRefusesBadHandlesInOrder)
{
  SafeBlock* pBlock = reinterpret_cast<SafeBlock*>(m_h);
  // Garbage: a block-shaped copy, a small number and an address nobody owns.
  SafeBlock copy = *pBlock;
  std::vector<LS_KX2_HANDLE> garbage = {reinterpret_cast<LS_KX2_HANDLE>(&copy),
                                        reinterpret_cast<LS_KX2_HANDLE>(uintptr_t(8)),
                                        reinterpret_cast<LS_KX2_HANDLE>(uintptr_t(0xdead0000beef))};
  for (const StExport& e : HandleExports()) {
    SCOPED_TRACE(e.szName);
    EXPECT_EQ(e.call(nullptr), -42);
    for (LS_KX2_HANDLE g : garbage)
      EXPECT_EQ(e.call(g), -43);
    pBlock->szFrontTag[1] = 's';
    EXPECT_EQ(e.call(m_h), -43);
    pBlock->szFrontTag[1] = 'S';
    pBlock->szBackTag[0] = 0;
    EXPECT_EQ(e.call(m_h), -43);
    pBlock->szBackTag[0] = 'L';
    void* pObject = pBlock->pObject;
    pBlock->pObject = nullptr;
    EXPECT_EQ(e.call(m_h), -43);
    pBlock->pObject = pObject;
  }
  // Once the SDK is gone, a plausible handle gives -2; a null one gives -42 where the
  // export tests it itself, and -2 where resolving it is the first test.
  ASSERT_EQ(LS_KX2Uninitialize(), 0);
  for (const StExport& e : HandleExports()) {
    SCOPED_TRACE(e.szName);
    EXPECT_EQ(e.call(m_h), -2);
    EXPECT_EQ(e.call(nullptr), e.bOwnNullTest ? -42 : -2);
  }
  EXPECT_EQ(LS_KX2CloseScanner(&m_h), -2);
  ASSERT_EQ(LS_KX2Initialize(nullptr), 0);
  // The handle survived and works again.
  uint64_t w = 0, hgt = 0;
  EXPECT_EQ(LS_KX2GetImageSize(m_h, &w, &hgt), 0);
}

TEST_F(ScannerExports, NullOutputsComeAfterTheHandle)
{
  uint8_t image[800 * 750];
  double d;
  uint8_t b;
  int32_t n;
  uint32_t u;
  uint64_t s = 16;
  char text[32];
  LS_KX2_HANDLE g = reinterpret_cast<LS_KX2_HANDLE>(text);
  const std::vector<std::function<int32_t(LS_KX2_HANDLE)>> calls = {
      [&](LS_KX2_HANDLE h) { return LS_KX2GetCaptureMode(h, nullptr); },
      [&](LS_KX2_HANDLE h) { return LS_KX2GetImage(h, nullptr, &d, &b, &n); },
      [&](LS_KX2_HANDLE h) { return LS_KX2GetImage(h, image, nullptr, &b, &n); },
      [&](LS_KX2_HANDLE h) { return LS_KX2GetPreviewImage(h, image, &d, nullptr, &n); },
      [&](LS_KX2_HANDLE h) { return LS_KX2GetRollImage(h, image, &d, &b, nullptr); },
      [&](LS_KX2_HANDLE h) { return LS_KX2GetImageSize(h, nullptr, &s); },
      [&](LS_KX2_HANDLE h) { return LS_KX2GetPreviewImageSize(h, &s, nullptr); },
      [&](LS_KX2_HANDLE h) { return LS_KX2GetRollImageSize(h, nullptr, nullptr); },
      [&](LS_KX2_HANDLE h) { return LS_KX2GetImageDPI(h, nullptr, &s); },
      [&](LS_KX2_HANDLE h) { return LS_KX2GetPreviewImageDPI(h, &s, nullptr); },
      [&](LS_KX2_HANDLE h) { return LS_KX2GetRollImageDPI(h, nullptr, &s); },
      [&](LS_KX2_HANDLE h) { return LS_KX2GetScannerCondition(h, nullptr, &u); },
      [&](LS_KX2_HANDLE h) { return LS_KX2GetScannerCondition(h, &u, nullptr); },
      [&](LS_KX2_HANDLE h) { return LS_KX2GetSerialNumber(h, nullptr); },
      [&](LS_KX2_HANDLE h) { return LS_KX2ExtendedScannerAccess(h, 6, image, nullptr); },
      [&](LS_KX2_HANDLE h) { return LS_KX2ExtendedScannerAccess(h, 7, image, nullptr); },
      [&](LS_KX2_HANDLE h) { return LS_KX2ExtendedScannerAccess(h, 99, image, nullptr); },
      [&](LS_KX2_HANDLE h) { return LS_KX2ExtendedScannerAccess(h, 7, nullptr, &(s = 4)); },
      [&](LS_KX2_HANDLE h) { return LS_KX2GetVersionString(h, text, nullptr); },
      [&](LS_KX2_HANDLE h) { return LS_KX2GetPropertyLongA(h, "nUseFastMask", nullptr); },
  };
  for (size_t i = 0; i < calls.size(); ++i) {
    EXPECT_EQ(calls[i](nullptr), -42) << i;
    EXPECT_EQ(calls[i](g), -43) << i;
    EXPECT_EQ(calls[i](m_h), -701) << i;
  }
}

TEST_F(ScannerExports, OpenAndCloseFailures)
{
  LS_KX2_HANDLE h = reinterpret_cast<LS_KX2_HANDLE>(uintptr_t(1));
  EXPECT_EQ(LS_KX2OpenScanner(nullptr, &h), -701);
  EXPECT_EQ(LS_KX2OpenScanner(szName, nullptr), -701);
  EXPECT_EQ(LS_KX2OpenScanner("KX2 99999999", &h), -44);
  EXPECT_EQ(h, nullptr);
  // Names compare whole and exactly.
  EXPECT_EQ(LS_KX2OpenScanner("KX2 2123456", &h), -44);
  EXPECT_EQ(LS_KX2OpenScanner("kx2 21234567", &h), -44);
  EXPECT_EQ(LS_KX2OpenScanner("KX2 21234567 and more", &h), -44);
  // The same scanner twice in one process: the claim refuses it too.
  EXPECT_EQ(LS_KX2OpenScanner(szName, &h), -61);
  EXPECT_EQ(h, nullptr);

  EXPECT_EQ(LS_KX2CloseScanner(nullptr), -701);
  EXPECT_EQ(LS_KX2CloseScanner(&h), -42);
  LS_KX2_HANDLE stale = m_h;
  ASSERT_EQ(LS_KX2CloseScanner(&m_h), 0);
  EXPECT_EQ(m_h, nullptr);
  EXPECT_EQ(LS_KX2CloseScanner(&stale), -43);
  EXPECT_EQ(LS_KX2GetImageSize(stale, nullptr, nullptr), -43);
  // Closed and released: it opens again at once.
  ASSERT_EQ(LS_KX2OpenScanner(szName, &m_h), 0);

  LS_KX2Uninitialize();
  EXPECT_EQ(LS_KX2OpenScanner(szName, &h), -2);
  EXPECT_EQ(h, nullptr);
  LS_KX2Initialize(nullptr);
}

TEST_F(ScannerExports, SerialIsReadNoFurtherThan16Characters)
{
  // A record of 16 characters right before an unreadable page: reading past the cut
  // would end the process.
  const long nPage = sysconf(_SC_PAGESIZE);
  char* p = static_cast<char*>(
      mmap(nullptr, 2 * nPage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  ASSERT_NE(p, MAP_FAILED);
  ASSERT_EQ(mprotect(p + nPage, nPage, PROT_NONE), 0);
  char* pRecord = p + nPage - 16;
  std::memcpy(pRecord, "KX2 21234567abcd", 16);
  LS_KX2_HANDLE h = nullptr;
  EXPECT_EQ(LS_KX2OpenScanner(pRecord, &h), -44);
  munmap(p, 2 * nPage);
}

TEST_F(ScannerExports, ConstantsAndDeviceAccess)
{
  uint64_t w = 0, hgt = 0;
  for (auto fn : {LS_KX2GetImageSize, LS_KX2GetPreviewImageSize, LS_KX2GetRollImageSize}) {
    ASSERT_EQ(fn(m_h, &w, &hgt), 0);
    EXPECT_EQ(w, 800u);
    EXPECT_EQ(hgt, 750u);
  }
  for (auto fn : {LS_KX2GetImageDPI, LS_KX2GetPreviewImageDPI, LS_KX2GetRollImageDPI}) {
    ASSERT_EQ(fn(m_h, &w, &hgt), 0);
    EXPECT_EQ(w, 500u);
    EXPECT_EQ(hgt, 500u);
  }
  uint32_t c = 7, r = 7;
  ASSERT_EQ(LS_KX2GetScannerCondition(m_h, &c, &r), 0);
  EXPECT_EQ(c, 0u);
  EXPECT_EQ(r, 0u);

  char serial[17];
  std::memset(serial, 'x', sizeof(serial));
  ASSERT_EQ(LS_KX2GetSerialNumber(m_h, serial), 0);
  EXPECT_STREQ(serial, szName);
  EXPECT_EQ(serial[16], 'x');

  const int64_t nDiodeCalls = Sim().Calls("ftrScanSetDiodesStatus");
  EXPECT_EQ(LS_KX2SetLED(m_h, 1, 1), -35);
  EXPECT_EQ(Sim().Calls("ftrScanSetDiodesStatus"), nDiodeCalls);
  EXPECT_EQ(LS_KX2SetLED(m_h, 0, 4), -35);
  EXPECT_EQ(LS_KX2SetLED(m_h, 0, 3), 0);
  EXPECT_EQ(Sim().Calls("ftrScanSetDiodesStatus"), nDiodeCalls + 1);
}

TEST_F(ScannerExports, VersionStringSizeRule)
{
  uint64_t n = 0;
  ASSERT_EQ(LS_KX2GetVersionString(m_h, nullptr, &n), -702);
  const uint64_t nLength = n;
  ASSERT_GT(nLength, 20u);
  EXPECT_EQ(LS_KX2GetVersionString(m_h, nullptr, &n), -701);
  std::vector<char> text(nLength + 1, 'x');
  n = nLength - 1;
  EXPECT_EQ(LS_KX2GetVersionString(m_h, text.data(), &n), -702);
  EXPECT_EQ(n, nLength);
  EXPECT_EQ(text[0], 'x');
  // A room of exactly the length suffices; the terminator goes one byte beyond.
  ASSERT_EQ(LS_KX2GetVersionString(m_h, text.data(), &n), 0);
  EXPECT_EQ(n, nLength);
  const std::string s(text.data());
  EXPECT_EQ(s.size(), nLength);
  EXPECT_EQ(s.substr(0, 5), " HW: ");
  EXPECT_NE(s.find(" FW: 4.5.6 "), std::string::npos) << s;
  EXPECT_EQ(s.substr(s.size() - 16), " SAPI:1.8.1.1822") << s;
}

TEST_F(ScannerExports, JsonDocumentExchange)
{
  uint64_t n = 0;
  uint8_t buf[4096];
  ASSERT_EQ(LS_KX2ExtendedScannerAccess(m_h, 6, nullptr, &n), -702);
  const uint64_t nNeeded = n;
  n = nNeeded - 1;
  EXPECT_EQ(LS_KX2ExtendedScannerAccess(m_h, 6, buf, &n), -702);
  EXPECT_EQ(n, nNeeded);
  ASSERT_EQ(LS_KX2ExtendedScannerAccess(m_h, 6, buf, &n), 0);
  EXPECT_EQ(n, nNeeded);
  EXPECT_EQ(std::strlen(reinterpret_cast<char*>(buf)) + 1, nNeeded);
  // Outside the roll and liveness modes the document is an empty "KX2".
  boost::property_tree::ptree tree;
  std::istringstream in(reinterpret_cast<char*>(buf));
  boost::property_tree::read_json(in, tree);
  EXPECT_EQ(tree.get<std::string>("KX2"), "");
  EXPECT_TRUE(tree.get_child("KX2").empty());

  auto write = [&](const char* szText, uint64_t nSize) {
    return LS_KX2ExtendedScannerAccess(
        m_h, 7, reinterpret_cast<uint8_t*>(const_cast<char*>(szText)), &nSize);
  };
  EXPECT_EQ(write("{}", 0), -44);
  EXPECT_EQ(write("{\"KX2\":{}}", 5), -44);
  EXPECT_EQ(write("not json", 9), -101);
  EXPECT_EQ(write("{\"other\":1}", 12), 0);
  EXPECT_EQ(write("{\"KX2\":{\"PAD\":{\"x\":\"1\"}}}", 26), 0);
  EXPECT_EQ(LS_KX2ExtendedScannerAccess(m_h, 5, buf, &n), -206);
  EXPECT_EQ(LS_KX2ExtendedScannerAccess(m_h, 8, buf, &n), -206);
}
