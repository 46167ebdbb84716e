#include "device/RDKXScanAPIWrapper.h"
#include "device/VeltranoKX1Wrapper.h"
#include "livescannerkx2.h"

#include "SimControl.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

std::string Device(int nInterface, int nCompatibility, const std::string& sRest)
{
  return R"({"interface":)" + std::to_string(nInterface) + R"(,"compatibility":)" +
         std::to_string(nCompatibility) + (sRest.empty() ? "" : "," + sRest) + "}";
}

std::string Config(const std::vector<std::string>& devices, const std::string& sExtra = "")
{
  std::string s = R"({"devices":[)";
  for (size_t i = 0; i < devices.size(); ++i)
    s += (i ? "," : "") + devices[i];
  return s + "]" + (sExtra.empty() ? "" : "," + sExtra) + "}";
}

// "name|interface|type" per entry.
std::vector<std::string> Query(uint32_t nWanted, bool bCalibration = true)
{
  std::list<ScannerEntry> list;
  ClRDKXScanAPIWrapper::QueryScanners(list, nWanted, bCalibration);
  std::vector<std::string> out;
  for (const ScannerEntry& e : list)
    out.push_back(e.sName + "|" + std::to_string(e.nInterface) + "|" + std::to_string(e.nType));
  return out;
}

ClSimControl& Sim() { return ClSimControl::Get(); }

const char szFw[] = R"("version":{"fw":[%d,%d,%d,0]})";
std::string Firmware(int a, int b, int c)
{
  char buf[64];
  std::snprintf(buf, sizeof(buf), szFw, a, b, c);
  return buf;
}

} // namespace

TEST(Enumeration, NamesForEveryModelAndFirmware)
{
  ClVeltranoKX1Wrapper::Start();
  Sim().Load(
      Config({Device(0, 7, R"("serial":"21234567")"), Device(1, 1, R"("serial":"31234567")"),
              Device(2, 4, R"("serial":"41234567",)" + Firmware(17, 0, 9)),
              Device(3, 4, R"("serial":"51234567",)" + Firmware(17, 0, 10)),
              Device(4, 13, R"("serial":"61234567",)" + Firmware(18, 0, 77)),
              Device(5, 13, R"("serial":"71234567",)" + Firmware(18, 1, 0)),
              Device(6, 15, R"("serial":"81234567")"), Device(7, 99, R"("serial":"91234567")"),
              Device(9, 7, R"("serial":"22222222")")}));
  std::vector<std::string> expected = {
      "KX2 21234567|0|18", "KX1 31234567|1|19", "KX1 41234567|2|19",  "Q7 51234567|3|19",
      "Q7 61234567|4|19",  "KX1 71234567|5|19", "KX10 81234567|6|38", "KX2 22222222|9|18"};
  EXPECT_EQ(Query(0), expected);
  EXPECT_EQ(Query(18), (std::vector<std::string>{expected[0], expected[7]}));
  EXPECT_EQ(Query(38), (std::vector<std::string>{expected[6]}));
  // Every device was opened, and every one closed again, the unknown model too.
  for (int i : {0, 1, 2, 3, 4, 5, 6, 7, 9})
    EXPECT_EQ(Sim().State(i).nOpenHandles, 0) << "interface " << i;
  EXPECT_EQ(Sim().Calls("ftrScanOpenDeviceOnInterface"), 27);
  EXPECT_EQ(Sim().Calls("ftrScanCloseDevice"), 27);
}

TEST(Enumeration, SerialForms)
{
  Sim().Load(Config({Device(0, 7, R"("serial":"unprogrammed")"),
                     Device(1, 7, R"("serial":"A1234567")"), Device(2, 7, R"("serial":"2123A567")"),
                     Device(3, 1, R"("serial":"1234567")"), Device(4, 1, R"("serial":"123456")"),
                     Device(5, 1, R"("serial_bytes":[49,50,51,52,53,54,55,56,57])"),
                     Device(6, 7, R"("serial_bytes":[50,49,50,51,52,53,54,55,56])"),
                     Device(7, 15, R"("serial":"unprogrammed")")}));
  // The KX2 drops the first byte in every case: 9 digits leave 8 that pass.
  EXPECT_EQ(Query(0),
            (std::vector<std::string>{"KX2 20000000|0|18", "KX2 21234567|1|18", "KX1 1234567|3|19",
                                      "KX2 212345678|6|18", "KX10 00000000|7|38"}));
}

TEST(Enumeration, SerialFormIsSevenOrEightDigits)
{
  const std::pair<const char*, bool> cases[] = {{"1234567", true},
                                                {"12345678", true},
                                                {"00000000", true},
                                                {"123456", false},
                                                {"123456789", false},
                                                {"", false},
                                                {"1234567a", false},
                                                {" 1234567", false},
                                                {"1234567\n", false},
                                                {"12345-67", false},
                                                {"\xd9\xa1"
                                                 "234567",
                                                 false}};
  for (const auto& c : cases)
    EXPECT_EQ(ClRDKXScanAPIWrapper::IsSerialForm(c.first), c.second) << c.first;
}

TEST(Enumeration, CalibrationMemory)
{
  Sim().Load(Config({Device(0, 1, R"("serial":"11111111","ext_memory":{"size":1290})"),
                     Device(1, 1, R"("serial":"11111112","ext_memory":{"size":1291})"),
                     Device(2, 1, R"("serial":"11111113","ext_memory":{"calibration":false})"),
                     Device(3, 1, R"("serial":"11111114","ext_memory":null)"),
                     Device(4, 1, R"("serial":"11111115","ext_memory":{"marker_offset":255})")}));
  ClVeltranoKX1Wrapper::Start();
  auto* open = g_KXScanAPI.ftrScanOpenDeviceOnInterface;
  KXDeviceHandle h0 = open(0);
  EXPECT_FALSE(ClRDKXScanAPIWrapper::HasCalibrationData(h0));
  EXPECT_EQ(Sim().Calls("ftrScanRestoreExtMemory"), 0) << "1290 bytes are not read";
  KXDeviceHandle h1 = open(1);
  EXPECT_TRUE(ClRDKXScanAPIWrapper::HasCalibrationData(h1));
  EXPECT_EQ(Sim().Calls("ftrScanRestoreExtMemory"), 1);
  EXPECT_FALSE(ClRDKXScanAPIWrapper::HasCalibrationData(nullptr));
  g_KXScanAPI.ftrScanCloseDevice(h0);
  g_KXScanAPI.ftrScanCloseDevice(h1);

  EXPECT_EQ(Query(0), (std::vector<std::string>{"KX1 11111112|1|19", "KX1 11111115|4|19"}));
  EXPECT_EQ(Query(0, false).size(), 5u);
  // Wanting KX2 only, the KX1 devices are still tested, and dropped before the filter.
  int64_t before = Sim().Calls("ftrScanGetExtMemorySize");
  EXPECT_TRUE(Query(18).empty());
  EXPECT_EQ(Sim().Calls("ftrScanGetExtMemorySize"), before + 5);
}

TEST(Enumeration, BadDeviceSkippedOthersListed)
{
  Sim().Load(Config(
      {Device(0, 7, R"("serial":"20000001")"),
       Device(1, 7, R"("serial":"20000002","fail_open":31)"),
       Device(2, 7, R"("serial":"20000003","fail_info":31)"), Device(3, 7, R"("serial":"20000004",
                       "faults":[{"call":"ftrScanGetSerialNumber","error":31}])"),
       Device(4, 4, R"("serial":"20000005",
                       "faults":[{"call":"ftrScanGetVersion","error":31}])"),
       Device(5, 7, R"("serial":"20000006")"), Device(6, 7, R"("serial":"20000007")")},
      R"("interfaces_busy":[6])"));
  EXPECT_EQ(Query(0), (std::vector<std::string>{"KX2 20000001|0|18", "KX2 20000006|5|18"}));
  for (int i : {0, 2, 3, 4, 5})
    EXPECT_EQ(Sim().State(i).nOpenHandles, 0) << "interface " << i;
  // A busy interface is passed over without an attempt.
  EXPECT_EQ(Sim().Calls("ftrScanOpenDeviceOnInterface"), 6);

  Sim().Load(Config({}));
  EXPECT_TRUE(Query(0).empty());
  Sim().Load(
      Config({Device(0, 7, "")}, R"("faults":[{"call":"ftrScanGetInterfaces","error":31}])"));
  EXPECT_CL_THROW(Query(0), -101, "KXScanAPI - Unable to scan interfaces:31\n");
}

TEST(Enumeration, AllocationFailureWhileNamingClosesTheDevice)
{
  const std::string config =
      Config({Device(0, 7, R"("serial":"20000001")"), Device(1, 7, R"("serial":"20000002",
                "faults":[{"call":"ftrScanGetSerialNumber","bad_alloc":true}])"),
              Device(2, 7, R"("serial":"20000003")")});
  Sim().Load(config);
  EXPECT_CL_THROW(Query(0), -102, nullptr);
  for (int i : {0, 1, 2})
    EXPECT_EQ(Sim().State(i).nOpenHandles, 0) << "interface " << i;
  EXPECT_EQ(Query(0).size(), 3u) << "the interface is free for the next enumeration";

  Sim().Load(config);
  uint64_t n = 0;
  EXPECT_EQ(LS_KX2QueryScanners(nullptr, &n), -102);
  EXPECT_EQ(Sim().State(1).nOpenHandles, 0);
}

TEST(Enumeration, ConcurrentQueriesSeeEveryScanner)
{
  Sim().Load(
      Config({Device(0, 7, R"("serial":"20000001")"), Device(3, 7, R"("serial":"20000002")")}));
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < 8; ++i)
        if (Query(18).size() != 2)
          ++wrong;
    });
  for (auto& t : threads)
    t.join();
  EXPECT_EQ(wrong.load(), 0);
  EXPECT_EQ(Sim().State(0).nOpenHandles, 0);
}

TEST(Enumeration, ExportCountsAndRecords)
{
  Sim().Load(Config({Device(0, 7, R"("serial":"21234567")"), Device(1, 1, R"("serial":"31234567")"),
                     Device(2, 7, R"("serial":"unprogrammed")")}));
  uint64_t n = 0;
  EXPECT_EQ(LS_KX2QueryScanners(nullptr, nullptr), -701);
  EXPECT_EQ(LS_KX2QueryScanners(nullptr, &n), -702);
  EXPECT_EQ(n, 2u);
  EXPECT_EQ(LS_KX2QueryScanners(nullptr, &n), -701);
  n = 1;
  char records[4 * 16];
  EXPECT_EQ(LS_KX2QueryScanners(records, &n), -702);
  EXPECT_EQ(n, 2u);
  std::memset(records, 'x', sizeof(records));
  n = 4;
  ASSERT_EQ(LS_KX2QueryScanners(records, &n), 0);
  EXPECT_EQ(n, 2u);
  const char expected[2 * 16 + 1] = "KX2 21234567\0\0\0\0KX2 20000000\0\0\0";
  EXPECT_EQ(std::memcmp(records, expected, 32), 0);
  EXPECT_EQ(records[32], 'x') << "only the records found are written";

  Sim().Load(Config({Device(1, 1, R"("serial":"31234567")")}));
  n = 0;
  EXPECT_EQ(LS_KX2QueryScanners(nullptr, &n), 0);
  EXPECT_EQ(n, 0u);
}
