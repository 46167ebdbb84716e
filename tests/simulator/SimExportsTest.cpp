// What the simulated libraries export, the build variants, and the record layouts.
#include "simulator/device/ScanApiRecords.h"
#include "tests/simulator/SimLib.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <set>
#include <string>
#include <vector>

using namespace kxsimtest;

namespace {

// The device library's table, mandatory entries first, spelled as the library spells them.
const std::vector<std::string> kTable = {"ftrScanOpenDevice",
                                         "ftrScanOpenDeviceOnInterface",
                                         "ftrScanCloseDevice",
                                         "ftrScanSetOptions",
                                         "ftrScanGetOptions",
                                         "ftrScanGetDeviceInfo",
                                         "ftrScanGetInterfaces",
                                         "ftrSetBaseInterface",
                                         "ftrGetBaseInterfaceNumber",
                                         "ftrScanGetFakeReplicaInterval",
                                         "ftrScanSetFakeReplicaInterval",
                                         "ftrScanGetLFDParameters",
                                         "ftrScanSetLFDParameters",
                                         "ftrScanGetImageSize",
                                         "ftrScanGetImage",
                                         "ftrScanGetFuzzyImage",
                                         "ftrScanGetBacklightImage",
                                         "ftrScanGetDarkImage",
                                         "ftrScanGetImageByVariableDose",
                                         "ftrScanIsFingerPresent",
                                         "ftrScanGetFrame",
                                         "ftrScanSetDiodesStatus",
                                         "ftrScanGetSerialNumber",
                                         "ftrScanGetVersion",
                                         "ftrScanGetExtMemorySize",
                                         "ftrScanSaveExtMemory",
                                         "ftrScanRestoreExtMemory",
                                         "ftrScanGetLastError",
                                         "ftrSetLoggingFacilityLevel",
                                         "ftrScanGetRawImageSize",
                                         "ftrScanGetRawImageByVariableDose",
                                         "ftrScanRollStart",
                                         "ftrScanRollStarWithVariableDose",
                                         "ftrScanRollAbort",
                                         "ftrScanRollGetImage",
                                         "ftrScanRollGetFrameParameters",
                                         "ftrScanGetImage2",
                                         "ftrScanSave7ControlBytes",
                                         "ftrScanRestore7ControlBytes",
                                         "ftrScanChangeSystemNotification",
                                         "ftrScanControlPin3",
                                         "ftrScanGlobalSetOptions",
                                         "ftrScanSaveSerialNumber",
                                         "ftrScanGetImageSizes",
                                         "ftrScanGetImageOfSpecificSize",
                                         "ftrScanGetImageOfSpecificSize2",
                                         "ftrScanOpenDeviceWithIoContext"};

const std::vector<std::string> kLiveness = {"FD_KX2Initialize",
                                            "FD_KX2Uninitialize",
                                            "FD_KX2CreateHandle",
                                            "FD_KX2DestroyHandle",
                                            "FD_KX2GetFakeFingerDetectionScore",
                                            "FD_KX2GetFakeFingerDetectionScores",
                                            "FD_KX2SetPropertyA",
                                            "FD_KX2SetPropertyLongA",
                                            "FD_KX2SetPropertyDoubleA",
                                            "FD_KX2GetPropertyA",
                                            "FD_KX2GetPropertyLongA",
                                            "FD_KX2GetPropertyDoubleA",
                                            "FD_KX2ExtendedAccess",
                                            "FD_KX2GetErrorDescriptionA"};

// Defined dynamic symbols of a shared library, as nm lists them.
std::set<std::string> DynamicSymbols(const std::string& path)
{
  std::set<std::string> names;
  FILE* p = popen(("nm -D --defined-only '" + path + "' 2>/dev/null").c_str(), "r");
  if (!p)
    return names;
  char line[1024];
  while (std::fgets(line, sizeof line, p)) {
    std::string s(line);
    while (!s.empty() && (s.back() == '\n' || s.back() == '\r'))
      s.pop_back();
    const size_t sp = s.rfind(' ');
    if (sp != std::string::npos)
      names.insert(s.substr(sp + 1));
  }
  pclose(p);
  return names;
}

void ExpectOnlyPrefixed(const std::set<std::string>& names,
                        std::initializer_list<const char*> prefixes)
{
  for (const std::string& n : names) {
    bool ok = false;
    for (const char* p : prefixes)
      ok = ok || n.compare(0, std::strlen(p), p) == 0;
    EXPECT_TRUE(ok) << "leaked symbol " << n;
  }
}

} // namespace

TEST(SimExports, EveryTableEntryIsExportedAndNothingElse)
{
  for (const std::string& name : kTable)
    EXPECT_NE(ScanLib().Raw(name.c_str()), nullptr) << name;
  EXPECT_NE(ScanLib().Raw("ftrScanRollStarWithVariableDose"), nullptr)
      << "the library's own spelling";
  const std::set<std::string> names = DynamicSymbols(BinDir() + "/libkxScanAPI.so");
  ASSERT_FALSE(names.empty()) << "nm gave nothing";
  ExpectOnlyPrefixed(names, {"ftr", "kxsim", "kxGetFrameTime"});
  size_t entries = 0;
  for (const std::string& n : names)
    entries += n.compare(0, 3, "ftr") == 0 ? 1 : 0;
  EXPECT_EQ(entries, kTable.size());

  for (const std::string& name : kLiveness)
    EXPECT_NE(LivenessLib().Raw(name.c_str()), nullptr) << name;
  const std::set<std::string> fd =
      DynamicSymbols(BinDir() + "/libveltranofakefingerdetectionkx2.so");
  ASSERT_FALSE(fd.empty());
  ExpectOnlyPrefixed(fd, {"FD_KX2", "kxsimfd"});
}

TEST(SimExports, VariantsLackExactlyTheirEntries)
{
  struct ClVariant
  {
    const char* szDir;
    std::vector<std::string> aMissing;
  } variants[] = {
      {"no-getframe", {"ftrScanGetFrame"}},
      {"no-lasterror", {"ftrScanGetLastError"}},
      {"no-version", {"ftrScanGetVersion"}},
      {"no-controlbytes", {"ftrScanSave7ControlBytes", "ftrScanRestore7ControlBytes"}},
      {"no-iocontext", {"ftrScanOpenDeviceWithIoContext"}},
      {"v9", {}},
      {"v10", {}},
  };
  for (const ClVariant& v : variants) {
    ClLib lib(BinDir() + "/variants/" + v.szDir + "/libkxScanAPI.so");
    for (const std::string& name : kTable) {
      const bool missing =
          std::find(v.aMissing.begin(), v.aMissing.end(), name) != v.aMissing.end();
      EXPECT_EQ(lib.Raw(name.c_str()) == nullptr, missing) << v.szDir << ": " << name;
    }
  }
  for (int major : {9, 10}) {
    ClLib lib(BinDir() + "/variants/v" + std::to_string(major) + "/libkxScanAPI.so");
    kxsim::ClVersionRecord r = {};
    r.nSize = sizeof r;
    ASSERT_EQ(lib.Fn<FnRecord>("ftrScanGetVersion")(nullptr, &r), 1);
    EXPECT_EQ(r.aLibrary[0], major);
  }
  struct ClFdVariant
  {
    const char* szDir;
    const char* szMissing;
  } fdVariants[] = {{"fd-no-extended", "FD_KX2ExtendedAccess"},
                    {"fd-no-errordescription", "FD_KX2GetErrorDescriptionA"}};
  for (const ClFdVariant& v : fdVariants) {
    ClLib lib(BinDir() + "/variants/" + v.szDir + "/libveltranofakefingerdetectionkx2.so");
    for (const std::string& name : kLiveness)
      EXPECT_EQ(lib.Raw(name.c_str()) == nullptr, name == v.szMissing) << v.szDir << ": " << name;
  }
}

TEST(SimExports, RecordsHaveTheirPackedLayout)
{
  static_assert(sizeof(kxsim::ClDeviceInfoRecord) == 9, "");
  static_assert(offsetof(kxsim::ClDeviceInfoRecord, nCompatibility) == 4, "");
  static_assert(offsetof(kxsim::ClDeviceInfoRecord, nPixelSizeX) == 5, "");
  static_assert(offsetof(kxsim::ClDeviceInfoRecord, nPixelSizeY) == 7, "");
  static_assert(sizeof(kxsim::ClImageSizeRecord) == 12, "");
  static_assert(offsetof(kxsim::ClImageSizeRecord, nImageSize) == 8, "");
  static_assert(sizeof(kxsim::ClVersionRecord) == 28, "");
  static_assert(offsetof(kxsim::ClVersionRecord, aHardware) == 12, "");
  static_assert(offsetof(kxsim::ClVersionRecord, aFirmware) == 20, "");

  // The same seen from outside: bytes at their offsets, nothing written past the record.
  LoadConfig(R"({"devices": [{"interface": 0, "pixel_size": [51, 52],
                 "version": {"lib": [10, 2, 3, 4], "hw": [1, 2, 3, 9], "fw": [4, 5, 6, 9]}}]})");
  void* h = Scan<FnOpen>("ftrScanOpenDeviceOnInterface")(0);
  ASSERT_NE(h, nullptr);
  uint8_t b[64];
  auto u16 = [&](int at) { return int(b[at] | (b[at + 1] << 8)); };
  auto i32 = [&](int at) {
    int32_t v;
    std::memcpy(&v, b + at, 4);
    return v;
  };

  std::memset(b, 0xCC, sizeof b);
  const uint32_t nine = 9;
  std::memcpy(b, &nine, 4);
  ASSERT_EQ(Scan<FnRecord>("ftrScanGetDeviceInfo")(h, b), 1);
  EXPECT_EQ(b[4], 7);
  EXPECT_EQ(u16(5), 51);
  EXPECT_EQ(u16(7), 52);
  EXPECT_EQ(b[9], 0xCC);

  std::memset(b, 0xCC, sizeof b);
  ASSERT_EQ(Scan<FnRecord>("ftrScanGetImageSize")(h, b), 1);
  EXPECT_EQ(i32(0), 800);
  EXPECT_EQ(i32(4), 750);
  EXPECT_EQ(i32(8), 800 * 750);
  EXPECT_EQ(b[12], 0xCC);
  ASSERT_EQ(Scan<FnRecord>("ftrScanGetRawImageSize")(h, b), 1);
  EXPECT_EQ(i32(0), 1600);
  EXPECT_EQ(i32(4), 1500);
  EXPECT_EQ(i32(8), 1600 * 1500);

  std::memset(b, 0, sizeof b);
  const uint32_t size28 = 28;
  std::memcpy(b, &size28, 4);
  b[28] = 0xCC;
  ASSERT_EQ(Scan<FnRecord>("ftrScanGetVersion")(h, b), 1);
  EXPECT_EQ(u16(4), 10);
  EXPECT_EQ(u16(10), 4);
  EXPECT_EQ(u16(12), 1);
  EXPECT_EQ(u16(18), 9);
  EXPECT_EQ(u16(20), 4);
  EXPECT_EQ(u16(26), 9);
  EXPECT_EQ(b[28], 0xCC);
  Scan<FnClose>("ftrScanCloseDevice")(h);

  // The interface list is 128 words.
  uint32_t list[130];
  std::fill(list, list + 130, 0xDEADBEEFu);
  ASSERT_EQ(Scan<FnInterfaces>("ftrScanGetInterfaces")(list), 1);
  EXPECT_EQ(list[0], kxsim::kInterfaceFree);
  for (int i = 1; i < 128; ++i)
    EXPECT_NE(list[i], kxsim::kInterfaceFree) << i;
  EXPECT_EQ(list[128], 0xDEADBEEFu);
  EXPECT_EQ(list[129], 0xDEADBEEFu);
}
