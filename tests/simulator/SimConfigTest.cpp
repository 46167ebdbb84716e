// Everything a configuration can make the simulated library do, and its refusals.
#include "simulator/device/ScanApiRecords.h"
#include "tests/simulator/SimLib.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <unistd.h>
#include <vector>

using namespace kxsimtest;
using kxsim::ClDeviceInfoRecord;
using kxsim::ClVersionRecord;

namespace {

void* Open(int n) { return Scan<FnOpen>("ftrScanOpenDeviceOnInterface")(n); }
void Close(void* h) { Scan<FnClose>("ftrScanCloseDevice")(h); }
int Image(void* h, std::vector<uint8_t>& f)
{
  return Scan<FnImage>("ftrScanGetImage")(h, 2, f.data());
}

class SimConfig : public ::testing::Test
{
protected:
  void TearDown() override { ScanLib().Fn<KXSIM_LOADCONFIG>("kxsimLoadConfig")(nullptr); }
};

} // namespace

TEST_F(SimConfig, FaultsHitTheScriptedCallsAndReportTheirError)
{
  LoadConfig(R"({"devices": [{"interface": 0, "faults": [
      {"call": "ftrScanGetImage", "at": 2, "error": 121, "count": 1},
      {"call": "ftrScanSetDiodesStatus", "at": 0, "error": 31, "count": 2},
      {"call": "ftrScanGetSerialNumber", "at": 1, "error": 19, "count": -1}]}],
    "faults": [{"call": "ftrScanGetInterfaces", "at": 1, "error": 536870918}]})");
  uint32_t list[128];
  EXPECT_EQ(Scan<FnInterfaces>("ftrScanGetInterfaces")(list), 1);
  EXPECT_EQ(Scan<FnInterfaces>("ftrScanGetInterfaces")(list), 0);
  EXPECT_EQ(LastError(), 0x20000006u);
  EXPECT_EQ(Scan<FnInterfaces>("ftrScanGetInterfaces")(list), 1);

  void* h = Open(0);
  ASSERT_NE(h, nullptr);
  std::vector<uint8_t> f(800 * 750);
  EXPECT_EQ(Image(h, f), 1);
  EXPECT_EQ(Image(h, f), 1);
  EXPECT_EQ(Image(h, f), 0);
  EXPECT_EQ(LastError(), 121u);
  EXPECT_EQ(Image(h, f), 1) << "the retry gets the frame";
  kxsimDeviceState s = {};
  s.nSize = sizeof s;
  ScanLib().Fn<KXSIM_GETDEVICESTATE>("kxsimGetDeviceState")(0, &s);
  EXPECT_EQ(s.nFrames, 3u) << "a failed call delivers no frame";

  EXPECT_EQ(Scan<FnDiodes>("ftrScanSetDiodesStatus")(h, 255, 255), 0);
  EXPECT_EQ(LastError(), 31u);
  EXPECT_EQ(Scan<FnDiodes>("ftrScanSetDiodesStatus")(h, 255, 255), 0);
  EXPECT_EQ(Scan<FnDiodes>("ftrScanSetDiodesStatus")(h, 255, 255), 1);

  uint8_t serial[12];
  EXPECT_EQ(Scan<FnRecord>("ftrScanGetSerialNumber")(h, serial), 1);
  for (int k = 0; k < 3; ++k) {
    EXPECT_EQ(Scan<FnRecord>("ftrScanGetSerialNumber")(h, serial), 0);
    EXPECT_EQ(LastError(), 19u);
  }
  EXPECT_EQ(ScanLib().Fn<KXSIM_GETCALLCOUNT>("kxsimGetCallCount")("ftrScanGetImage"), 4);
  EXPECT_EQ(ScanLib().Fn<KXSIM_GETCALLCOUNT>("kxsimGetCallCount")("ftrScanNoSuchEntry"), -1);
  Close(h);
}

TEST_F(SimConfig, DisconnectionFromAFrameOn)
{
  LoadConfig(R"({"devices": [{"interface": 3, "faults": [{"disconnect_at_frame": 2}]}]})");
  void* h = Open(3);
  ASSERT_NE(h, nullptr);
  std::vector<uint8_t> f(800 * 750);
  EXPECT_EQ(Image(h, f), 1);
  EXPECT_EQ(Image(h, f), 1);
  EXPECT_EQ(Image(h, f), 0);
  EXPECT_EQ(LastError(), 170u);
  EXPECT_EQ(Scan<FnDiodes>("ftrScanSetDiodesStatus")(h, 0, 0), 0);
  EXPECT_EQ(LastError(), 170u);
  uint32_t list[128];
  ASSERT_EQ(Scan<FnInterfaces>("ftrScanGetInterfaces")(list), 1);
  EXPECT_EQ(list[3], kxsim::kInterfaceEmpty) << "gone from the list";
  EXPECT_EQ(Open(3), nullptr);
  EXPECT_EQ(LastError(), kxsim::kErrNoDevice);
  EXPECT_EQ(Scan<FnClose>("ftrScanCloseDevice")(h), 1) << "closing still works";

  ScanLib().Fn<KXSIM_RESET>("kxsimReset")();
  h = Open(3);
  ASSERT_NE(h, nullptr) << "plugged in again";
  EXPECT_EQ(Image(h, f), 1);
  Close(h);
}

TEST_F(SimConfig, BusyInterfacesAndFailingOpenOrInfo)
{
  LoadConfig(R"({"interfaces_busy": [5, 9], "devices": [
      {"interface": 5}, {"interface": 6, "fail_open": 31}, {"interface": 7, "fail_info": 121}]})");
  uint32_t list[128];
  ASSERT_EQ(Scan<FnInterfaces>("ftrScanGetInterfaces")(list), 1);
  EXPECT_EQ(list[5], kxsim::kInterfaceBusy);
  EXPECT_EQ(list[9], kxsim::kInterfaceBusy);
  EXPECT_EQ(list[6], kxsim::kInterfaceFree);
  EXPECT_EQ(Open(5), nullptr);
  EXPECT_EQ(LastError(), kxsim::kErrBusy);
  EXPECT_EQ(Open(9), nullptr);
  EXPECT_EQ(LastError(), kxsim::kErrBusy);
  EXPECT_EQ(Open(6), nullptr);
  EXPECT_EQ(LastError(), 31u);
  void* h = Open(7);
  ASSERT_NE(h, nullptr);
  ClDeviceInfoRecord info = {};
  info.nSize = 9;
  EXPECT_EQ(Scan<FnRecord>("ftrScanGetDeviceInfo")(h, &info), 0);
  EXPECT_EQ(LastError(), 121u);
  Close(h);
}

// Models, serial forms, firmware and calibration memory are read through the device
// layer's enumeration tests; here only what it never asks.
TEST_F(SimConfig, LibraryVersionFromADeviceOrTheConfiguration)
{
  LoadConfig(
      R"({"devices": [{"interface": 1, "compatibility": 4, "version": {"lib": [9, 2, 0, 0]}}]})");
  ClVersionRecord v = {};
  v.nSize = 28;
  ASSERT_EQ(Scan<FnRecord>("ftrScanGetVersion")(nullptr, &v), 1);
  EXPECT_EQ(v.aLibrary[0], 9) << "a device's own library version stands for the library";
  LoadConfig(R"({"library_version": [10, 4, 0, 2], "devices": []})");
  ASSERT_EQ(Scan<FnRecord>("ftrScanGetVersion")(nullptr, &v), 1);
  EXPECT_EQ(v.aLibrary[1], 4);
  uint32_t list[128];
  ASSERT_EQ(Scan<FnInterfaces>("ftrScanGetInterfaces")(list), 1);
  EXPECT_EQ(std::count(list, list + 128, kxsim::kInterfaceFree), 0) << "no scanner attached";
}

TEST_F(SimConfig, BrokenConfigurationIsAClearMessageNotACrash)
{
  struct ClCase
  {
    const char* szText;
    const char* szExpected;
  } cases[] = {
      {R"({"devices": [{"interface": 0,)", "line"},
      {R"({"devices": [{"interface": 0, "faults": [{"call": "ftrScanGetImag"}]}]})",
       "ftrScanGetImag"},
      {R"({"devices": [{"interface": 1}, {"interface": 1}]})", "used twice"},
      {R"({"devices": [{"interface": 128}]})", "devices[0].interface"},
      {R"({"devices": [{"interface": 0, "raw_size": [4000, 4000]}]})", "raw_size"},
      {R"({"devices": [{"interface": 0, "serial": "123456789"}]})", "serial"},
      {R"({"devices": [{"interface": 0, "script": [{"roll": 0}]}]})", "devices[0].script[0].roll"},
      {R"({"frame_interval": 5})", "frame_interval"},
      {R"([1, 2])", "top level"},
  };
  auto load = ScanLib().Fn<KXSIM_LOADCONFIG>("kxsimLoadConfig");
  for (const ClCase& c : cases) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(load(c.szText), 0) << c.szText;
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("unusable configuration"), std::string::npos) << err;
    EXPECT_NE(err.find(c.szExpected), std::string::npos) << c.szText << " gave: " << err;
    EXPECT_NE(std::string(ScanLib().Fn<KXSIM_GETCONFIGERROR>("kxsimGetConfigError")()), "");
    uint32_t list[128];
    EXPECT_EQ(Scan<FnInterfaces>("ftrScanGetInterfaces")(list), 0);
    EXPECT_EQ(LastError(), kxsim::kErrInvalidData);
    EXPECT_EQ(Open(0), nullptr);
  }
}

TEST_F(SimConfig, ConfigurationFileFromTheEnvironment)
{
  char path[] = "/tmp/kxsimconfigXXXXXX";
  const int fd = mkstemp(path);
  ASSERT_GE(fd, 0);
  const std::string text =
      R"({"devices": [{"interface": 2}, {"interface": 4, "compatibility": 15}]})";
  ASSERT_EQ(write(fd, text.data(), text.size()), ssize_t(text.size()));
  close(fd);
  setenv("KXSIM_CONFIG", path, 1);
  auto load = ScanLib().Fn<KXSIM_LOADCONFIG>("kxsimLoadConfig");
  EXPECT_EQ(load(nullptr), 1);
  uint32_t list[128];
  ASSERT_EQ(Scan<FnInterfaces>("ftrScanGetInterfaces")(list), 1);
  EXPECT_EQ(list[0], kxsim::kInterfaceEmpty);
  EXPECT_EQ(list[2], kxsim::kInterfaceFree);
  EXPECT_EQ(list[4], kxsim::kInterfaceFree);
  unlink(path);
  testing::internal::CaptureStderr();
  EXPECT_EQ(load(nullptr), 0) << "the file is gone";
  EXPECT_NE(testing::internal::GetCapturedStderr().find("cannot be read"), std::string::npos);
  unsetenv("KXSIM_CONFIG");
  EXPECT_EQ(load(nullptr), 1) << "the built-in scanner again";
  ASSERT_EQ(Scan<FnInterfaces>("ftrScanGetInterfaces")(list), 1);
  EXPECT_EQ(list[0], kxsim::kInterfaceFree);
}
