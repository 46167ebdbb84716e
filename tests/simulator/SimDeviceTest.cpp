// The simulated device library through its entry points, as the SDK drives it.
#include "simulator/device/ScanApiRecords.h"
#include "tests/simulator/SimLib.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

using namespace kxsimtest;
using kxsim::ClDeviceInfoRecord;
using kxsim::ClVersionRecord;

namespace {

class SimDevice : public ::testing::Test
{
protected:
  void SetUp() override
  {
    LoadConfig(R"({"devices": [{"interface": 0}]})"); // the built-in scanner, fresh
    m_h = Scan<FnOpen>("ftrScanOpenDeviceOnInterface")(0);
    ASSERT_NE(m_h, nullptr);
  }
  void TearDown() override
  {
    if (m_h)
      Scan<FnClose>("ftrScanCloseDevice")(m_h);
  }
  kxsimDeviceState State()
  {
    kxsimDeviceState s = {};
    s.nSize = sizeof s;
    EXPECT_EQ(ScanLib().Fn<KXSIM_GETDEVICESTATE>("kxsimGetDeviceState")(0, &s), 1);
    return s;
  }
  void* m_h = nullptr;
};

} // namespace

TEST_F(SimDevice, ReportsAndKeepsWhatTheSdkSetsUp)
{
  uint8_t serial[12] = {};
  ASSERT_EQ(Scan<FnRecord>("ftrScanGetSerialNumber")(m_h, serial), 1);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(serial), 8), "21234567");
  EXPECT_EQ(serial[8], 0);

  EXPECT_EQ(State().nOptions & 1u, 1u);
  ASSERT_EQ(Scan<FnOptions>("ftrScanSetOptions")(m_h, 1, 0), 1);
  EXPECT_EQ(State().nOptions & 1u, 0u) << "the fake replica check switched off";

  ASSERT_EQ(Scan<FnDiodes>("ftrScanSetDiodesStatus")(m_h, 255, 0), 1);
  EXPECT_EQ(State().aDiodes[0], 255);
  EXPECT_EQ(State().aDiodes[1], 0);

  uint8_t block[7];
  ASSERT_EQ(Scan<FnRecord>("ftrScanRestore7ControlBytes")(m_h, block), 1);
  block[0] = 0x35, block[1] = 0, block[2] = 0x67;
  ASSERT_EQ(Scan<FnSaveControl>("ftrScanSave7ControlBytes")(m_h, block, 0), 1);
  uint8_t back[7] = {};
  ASSERT_EQ(Scan<FnRecord>("ftrScanRestore7ControlBytes")(m_h, back), 1);
  EXPECT_EQ(std::memcmp(block, back, 7), 0);
  EXPECT_EQ(State().nControlFlag, 0);

  // User memory with the calibration marker behind byte 20's length.
  int32_t size = 0;
  ASSERT_EQ(Scan<FnMemSize>("ftrScanGetExtMemorySize")(m_h, &size), 1);
  EXPECT_EQ(size, 2048);
  std::vector<uint8_t> m(1291);
  ASSERT_EQ(Scan<FnMemory>("ftrScanRestoreExtMemory")(m_h, m.data(), 0, 1291), 1);
  const int n = m[20];
  EXPECT_EQ(std::memcmp(&m[size_t(n) + 25], "CAL\0GEO\0", 8), 0);
  const uint8_t word[4] = {1, 2, 3, 4};
  ASSERT_EQ(Scan<FnMemory>("ftrScanSaveExtMemory")(m_h, const_cast<uint8_t*>(word), 2044, 4), 1);
  uint8_t read[4] = {};
  ASSERT_EQ(Scan<FnMemory>("ftrScanRestoreExtMemory")(m_h, read, 2044, 4), 1);
  EXPECT_EQ(std::memcmp(word, read, 4), 0);
  EXPECT_EQ(Scan<FnMemory>("ftrScanRestoreExtMemory")(m_h, read, 2045, 4), 0) << "past the end";
  EXPECT_EQ(LastError(), kxsim::kErrInvalidParameter);

  uint32_t zero = 0;
  ASSERT_EQ(Scan<FnGlobalOptions>("ftrScanGlobalSetOptions")(1, &zero), 1);
  int32_t option = -1;
  uint32_t value = 7;
  EXPECT_EQ(ScanLib().Fn<KXSIM_GETGLOBALOPTION>("kxsimGetGlobalOption")(&option, &value), 1);
  EXPECT_EQ(option, 1);
  EXPECT_EQ(value, 0u);

  // The library alone answers a version query without a handle.
  ClVersionRecord v = {};
  v.nSize = sizeof v;
  ASSERT_EQ(Scan<FnRecord>("ftrScanGetVersion")(nullptr, &v), 1);
  EXPECT_EQ(v.aLibrary[0], 10);
  EXPECT_EQ(v.aHardware[0], 0);
}

TEST_F(SimDevice, ImagesFollowTheScriptAndCountFrames)
{
  std::vector<uint8_t> a(800 * 750), b(800 * 750), raw(1600 * 1500);
  for (int k = 0; k < 3; ++k)
    ASSERT_EQ(Scan<FnImage>("ftrScanGetImage")(m_h, 2, a.data()), 1);
  EXPECT_EQ(State().nFrames, 3u);
  EXPECT_EQ(State().nLastMode, 1);
  // What the device delivered is what the script renders for that frame.
  ASSERT_EQ(ScanLib().Fn<KXSIM_RENDERFRAME>("kxsimRenderFrame")(0, 2, 0, 2, 0, b.data(), b.size()),
            1);
  EXPECT_EQ(a, b);
  ASSERT_EQ(Scan<FnImage>("ftrScanGetRawImageByVariableDose")(m_h, 9, raw.data()), 1);
  EXPECT_EQ(State().nLastDose, 9);
  EXPECT_EQ(State().nLastMode, 2);
  EXPECT_EQ(State().nFrames, 4u);

  kxsimFrameInfo info = {};
  info.nSize = sizeof info;
  ASSERT_EQ(ScanLib().Fn<KXSIM_GETFRAMEINFO>("kxsimGetFrameInfo")(0, 20, &info), 1);
  EXPECT_EQ(info.nStepKind, 2);
  EXPECT_EQ(info.nContact, 1);
  EXPECT_GT(info.nContactPixels, 60000);
  ASSERT_EQ(ScanLib().Fn<KXSIM_GETFRAMEINFO>("kxsimGetFrameInfo")(0, 70, &info), 1);
  EXPECT_EQ(info.nStepKind, 4);
  EXPECT_EQ(info.nContact, 2);

  int32_t w = 0, h = 0;
  std::vector<uint8_t> truth(800 * 750), mask(800 * 750);
  auto gt = ScanLib().Fn<KXSIM_GETGROUNDTRUTH>("kxsimGetGroundTruth");
  ASSERT_EQ(gt(0, 0, 0, 1, nullptr, nullptr, 0, &w, &h), 1) << "sizes alone";
  EXPECT_EQ(w, 800);
  EXPECT_EQ(h, 750);
  ASSERT_EQ(gt(0, 0, 0, 1, truth.data(), mask.data(), truth.size(), &w, &h), 1);
  EXPECT_GT(std::count(mask.begin(), mask.end(), 255), 150000);
  EXPECT_EQ(gt(0, 0, 1, 1, truth.data(), mask.data(), truth.size(), &w, &h), 0) << "one roll only";
  EXPECT_EQ(gt(0, 1, 0, 1, truth.data(), mask.data(), truth.size() - 1, &w, &h), 0)
      << "buffer too small";
  EXPECT_EQ(gt(0, 1, 0, 1, truth.data(), mask.data(), truth.size(), &w, &h), 1);
}

TEST_F(SimDevice, BadArgumentsFailCleanly)
{
  int junk = 0;
  uint8_t buf[64] = {};
  EXPECT_EQ(Scan<FnHandle>("ftrScanCloseDevice")(&junk), 0);
  EXPECT_EQ(LastError(), kxsim::kErrInvalidHandle);
  EXPECT_EQ(Scan<FnRecord>("ftrScanGetSerialNumber")(&junk, buf), 0);
  EXPECT_EQ(LastError(), kxsim::kErrInvalidHandle);
  EXPECT_EQ(Scan<FnRecord>("ftrScanGetDeviceInfo")(m_h, nullptr), 0);
  EXPECT_EQ(LastError(), kxsim::kErrInvalidParameter);
  ClDeviceInfoRecord info = {};
  info.nSize = 8;
  EXPECT_EQ(Scan<FnRecord>("ftrScanGetDeviceInfo")(m_h, &info), 0) << "record size below 9";
  EXPECT_EQ(Scan<FnImage>("ftrScanGetImage")(m_h, 2, nullptr), 0);
  EXPECT_EQ(Scan<FnInterfaces>("ftrScanGetInterfaces")(nullptr), 0);
  EXPECT_EQ(Scan<FnOpen>("ftrScanOpenDeviceOnInterface")(128), nullptr);
  EXPECT_EQ(LastError(), kxsim::kErrInvalidParameter);
  EXPECT_EQ(Scan<FnOpen>("ftrScanOpenDeviceOnInterface")(5), nullptr);
  EXPECT_EQ(LastError(), kxsim::kErrNoDevice);

  // Entries the SDK never calls refuse with error 50.
  for (const char* name :
       {"ftrScanGetOptions", "ftrScanGetFuzzyImage", "ftrScanGetBacklightImage",
        "ftrScanGetDarkImage", "ftrScanIsFingerPresent", "ftrScanGetFrame", "ftrScanGetImage2",
        "ftrScanRollStart", "ftrScanSaveSerialNumber", "ftrScanGetImageSizes",
        "ftrScanGetFakeReplicaInterval", "ftrScanGetLFDParameters"}) {
    EXPECT_EQ(Scan<FnRecord>(name)(m_h, buf), 0) << name;
    EXPECT_EQ(LastError(), kxsim::kErrNotSupported) << name;
  }
  EXPECT_EQ(Scan<void* (*)()>("ftrScanOpenDevice")(), nullptr);
  EXPECT_EQ(LastError(), kxsim::kErrNotSupported);

  // A closed handle is stale; a second handle on the same device stays good.
  void* second = Scan<FnOpen>("ftrScanOpenDeviceOnInterface")(0);
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(State().nOpenHandles, 2);
  ASSERT_EQ(Scan<FnClose>("ftrScanCloseDevice")(second), 1);
  EXPECT_EQ(Scan<FnClose>("ftrScanCloseDevice")(second), 0);
  EXPECT_EQ(LastError(), kxsim::kErrInvalidHandle);
  EXPECT_EQ(Scan<FnDiodes>("ftrScanSetDiodesStatus")(m_h, 0, 255), 1);
  EXPECT_EQ(LastError(), kxsim::kErrNone);
}

TEST_F(SimDevice, LastErrorIsKeptPerThread)
{
  int junk = 0;
  EXPECT_EQ(Scan<FnHandle>("ftrScanCloseDevice")(&junk), 0);
  uint32_t other = 1;
  std::thread t([&] {
    Scan<FnDiodes>("ftrScanSetDiodesStatus")(m_h, 0, 0);
    other = LastError();
  });
  t.join();
  EXPECT_EQ(other, kxsim::kErrNone);
  EXPECT_EQ(LastError(), kxsim::kErrInvalidHandle);
}

TEST_F(SimDevice, ConcurrentCallersEachGetTheirFrames)
{
  std::vector<std::thread> threads;
  std::vector<int> ok(4, 0);
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      std::vector<uint8_t> frame(800 * 750);
      for (int k = 0; k < 8; ++k) {
        ok[size_t(t)] += Scan<FnImage>("ftrScanGetImage")(m_h, 2, frame.data());
        Scan<FnDiodes>("ftrScanSetDiodesStatus")(m_h, uint8_t(t), 0);
      }
    });
  for (std::thread& t : threads)
    t.join();
  for (int n : ok)
    EXPECT_EQ(n, 8);
  EXPECT_EQ(State().nFrames, 32u);
}

// The frame times, which the SDK times a roll by, follow the pace too.
TEST_F(SimDevice, PacingMakesAnImageCallLastTheFrameInterval)
{
  using FnFrameTime = int (*)(void*, int64_t*);
  const auto frameTime = Scan<FnFrameTime>("kxGetFrameTime");
  int64_t before = -1, last = -1, any = -1;
  ASSERT_EQ(frameTime(m_h, &before), 1);
  EXPECT_EQ(before, 0); // no frame yet
  ScanLib().Fn<KXSIM_SETFRAMEINTERVAL>("kxsimSetFrameInterval")(25);
  std::vector<uint8_t> frame(800 * 750);
  const auto start = std::chrono::steady_clock::now();
  for (int k = 0; k < 3; ++k) {
    ASSERT_EQ(Scan<FnImage>("ftrScanGetImage")(m_h, 2, frame.data()), 1);
    int64_t t = 0;
    ASSERT_EQ(frameTime(m_h, &t), 1);
    EXPECT_GE(t - before, k ? 25000 : 1) << k;
    before = last = t;
  }
  const auto spent = std::chrono::steady_clock::now() - start;
  ASSERT_EQ(frameTime(nullptr, &any), 1);
  EXPECT_EQ(any, last);
  EXPECT_EQ(frameTime(m_h, nullptr), 0);
  ScanLib().Fn<KXSIM_SETFRAMEINTERVAL>("kxsimSetFrameInterval")(0);
  EXPECT_GE(std::chrono::duration_cast<std::chrono::milliseconds>(spent).count(), 75);
}
