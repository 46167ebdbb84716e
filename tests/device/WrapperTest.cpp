#include "device/RDKX2ScanAPIWrapper.h"
#include "model/Bitmap.h"

#include "SimControl.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

// One KX2 on interface 0, with the given extra keys of its device record.
std::string OneKX2(const std::string& sExtra = "")
{
  return R"({"devices":[{"interface":0,"compatibility":7,"serial":"21234567")" +
         (sExtra.empty() ? std::string() : "," + sExtra) + "}]}";
}

class WrapperTest : public ::testing::Test
{
protected:
  void Open(const std::string& sConfig)
  {
    Sim().Load(sConfig);
    ASSERT_TRUE(m_Scanner.Open(0));
  }
  void TearDown() override { m_Scanner.Close(); }
  ClSimControl& Sim() { return ClSimControl::Get(); }

  ClRDKX2ScanAPIWrapper m_Scanner;
};

std::string SerialOf(ClRDKXScanAPIWrapper& w)
{
  char buf[32] = {};
  uint64_t n = sizeof(buf);
  w.GetSerialText(buf, &n);
  return buf;
}

} // namespace

TEST_F(WrapperTest, OpenIdentifiesAndSetsUpTheDevice)
{
  Open(OneKX2());
  EXPECT_EQ(SerialOf(m_Scanner), "KX2 21234567");
  EXPECT_EQ(m_Scanner.DeviceType(), 18u);
  EXPECT_EQ(Sim().State(0).nOptions & 1u, 0u) << "the library's fake check is switched off";
  int32_t w = 0, h = 0;
  m_Scanner.GetImageSize(&w, &h);
  EXPECT_EQ(w, 800);
  EXPECT_EQ(h, 750);

  m_Scanner.SetImageMode(21);
  m_Scanner.GetImageSize(&w, &h);
  EXPECT_EQ(w, 1600);
  EXPECT_EQ(h, 1500);
  EXPECT_EQ(CodeOf([&] { m_Scanner.SetImageMode(19); }), -44);
  EXPECT_EQ(CodeOf([&] { m_Scanner.SetImageMode(22); }), -44);
  EXPECT_EQ(m_Scanner.ImageMode(), 21);
  EXPECT_EQ(CodeOf([&] { m_Scanner.GetImageSize(nullptr, &h); }), -701);

  EXPECT_TRUE(m_Scanner.Close());
  EXPECT_EQ(Sim().State(0).nOpenHandles, 0);
  EXPECT_TRUE(m_Scanner.Close()) << "closing twice is harmless";
  ASSERT_TRUE(m_Scanner.Open(0)) << "a wrapper opens again after Close";
}

TEST_F(WrapperTest, OtherModelRefusedAndClosedAgain)
{
  Sim().Load(R"({"devices":[{"interface":0,"compatibility":1,"serial":"21234567"}]})");
  EXPECT_CL_THROW(m_Scanner.Open(0), -103, nullptr);
  EXPECT_EQ(Sim().State(0).nOpenHandles, 0);

  // A failing info query leaves the device open for the owner's Close.
  Sim().Load(OneKX2(R"("fail_info":31)"));
  EXPECT_CL_THROW(m_Scanner.Open(0), -101, "KXScanAPI - Unable to get device info:31\n");
  EXPECT_EQ(Sim().State(0).nOpenHandles, 1);
  m_Scanner.Close();
  EXPECT_EQ(Sim().State(0).nOpenHandles, 0);
}

TEST_F(WrapperTest, TextGettersTestSizeBeforeBuffer)
{
  Open(OneKX2(R"("version":{"hw":[1,2,3,9],"fw":[4,5,6,9]})"));
  const std::string version = " HW: 1.2.3 FW: 4.5.6 LIB: 10.0.0.1 FPGA: 0.0.0.0";
  char buf[64];
  uint64_t n = 10;
  EXPECT_EQ(CodeOf([&] { m_Scanner.GetVersionText(nullptr, nullptr); }), -701);
  EXPECT_EQ(CodeOf([&] { m_Scanner.GetVersionText(buf, &n); }), -702);
  EXPECT_EQ(n, version.size());
  EXPECT_EQ(CodeOf([&] { m_Scanner.GetVersionText(nullptr, &n); }), -701);
  EXPECT_EQ(n, version.size());
  // Room for exactly the count passes; the terminator lands one byte beyond it.
  std::memset(buf, 'x', sizeof(buf));
  m_Scanner.GetVersionText(buf, &n);
  EXPECT_EQ(std::string(buf), version);

  n = 3;
  EXPECT_EQ(CodeOf([&] { m_Scanner.GetApiVersionText(buf, &n); }), -702);
  EXPECT_EQ(n, 8u);
  m_Scanner.GetApiVersionText(buf, &n);
  EXPECT_STREQ(buf, "10.0.0.1");

  n = 11;
  EXPECT_EQ(CodeOf([&] { m_Scanner.GetSerialText(buf, &n); }), -702);
  EXPECT_EQ(n, 12u);
  EXPECT_EQ(CodeOf([&] { m_Scanner.GetSerialText(nullptr, &n); }), -701);
  EXPECT_EQ(CodeOf([&] { m_Scanner.GetSerialText(buf, nullptr); }), -701);
  EXPECT_EQ(CodeOf([&] { m_Scanner.GetVersionRecord(nullptr); }), -701);
}

TEST_F(WrapperTest, LedStateCachedAndRetriedOnce)
{
  // Faults count the calls of the entry on the device from 0.
  Open(OneKX2(R"("faults":[{"call":"ftrScanSetDiodesStatus","at":2,"error":121,"count":1},
                           {"call":"ftrScanSetDiodesStatus","at":4,"error":121,"count":2}])"));
  m_Scanner.SetLed(3);
  m_Scanner.SetLed(3);
  EXPECT_EQ(Sim().Calls("ftrScanSetDiodesStatus"), 1);
  EXPECT_EQ(CodeOf([&] { m_Scanner.SetLed(4); }), -35);
  EXPECT_EQ(Sim().Calls("ftrScanSetDiodesStatus"), 1);

  // Bit 1 drives the first status, bit 0 the second.
  m_Scanner.SetLed(2);
  EXPECT_EQ(Sim().State(0).aDiodes[0], 255);
  EXPECT_EQ(Sim().State(0).aDiodes[1], 0);
  EXPECT_EQ(Sim().Calls("ftrScanSetDiodesStatus"), 2);

  // Call 2 fails with 121 once: the repeat (call 3) carries it.
  m_Scanner.SetLed(1);
  EXPECT_EQ(Sim().Calls("ftrScanSetDiodesStatus"), 4);
  EXPECT_EQ(Sim().State(0).aDiodes[1], 255);

  // Calls 4 and 5 fail: one repeat only, then the stored state stays as it was.
  EXPECT_CL_THROW(m_Scanner.SetLed(0), -204, "KXScanAPI - SetDiodesStatus:121\n");
  EXPECT_EQ(Sim().Calls("ftrScanSetDiodesStatus"), 6);
  m_Scanner.SetLed(0);
  EXPECT_EQ(Sim().Calls("ftrScanSetDiodesStatus"), 7) << "a failed change is tried again";
  EXPECT_EQ(Sim().State(0).aDiodes[1], 0);
}

TEST_F(WrapperTest, LibraryErrorsTranslatedByTable)
{
  const struct
  {
    uint32_t nError;
    int32_t nCode;
  } table[] = {{19, -202},         {50, -103},         {121, -204}, {170, -60},
               {0x20000006, -601}, {0x20000010, -701}, {87, -101}};
  for (const auto& row : table) {
    Open(OneKX2(R"("faults":[{"call":"ftrScanGetExtMemorySize","error":)" +
                std::to_string(row.nError) + R"(,"count":-1}])"));
    uint16_t size = 0;
    EXPECT_CL_THROW(
        m_Scanner.GetExtMemorySize(&size), row.nCode,
        ("KXScanAPI - ScanGetExtMemorySize:" + std::to_string(row.nError) + "\n").c_str());
    m_Scanner.Close();
  }
  // The default of the call site gives way to the table: 170 at open is -60, not -101.
  Sim().Load(OneKX2(R"("fail_open":170)"));
  EXPECT_EQ(CodeOf([&] { m_Scanner.Open(0); }), -60);
}

TEST_F(WrapperTest, DeviceMemoryAndControlBytes)
{
  Open(OneKX2(R"("ext_memory":{"size":65535},"control_bytes":[1,2,3,4,5,6,7])"));
  uint16_t size = 0;
  m_Scanner.GetExtMemorySize(&size);
  EXPECT_EQ(size, 65535);
  const uint8_t data[4] = {9, 8, 7, 6};
  uint8_t back[4] = {};
  m_Scanner.SaveExtMemory(65531, 4, data);
  m_Scanner.RestoreExtMemory(65531, 4, back);
  EXPECT_EQ(std::memcmp(data, back, 4), 0);
  EXPECT_EQ(CodeOf([&] { m_Scanner.RestoreExtMemory(0, 4, nullptr); }), -701);
  EXPECT_EQ(CodeOf([&] { m_Scanner.GetExtMemorySize(nullptr); }), -701);
  EXPECT_CL_THROW(m_Scanner.RestoreExtMemory(65533, 4, back), -101, "ScanRestoreExtMemory:87");

  uint8_t block[7] = {};
  m_Scanner.RestoreControlBytes(block);
  EXPECT_EQ(block[6], 7);
  block[0] = 0x35;
  m_Scanner.SaveControlBytes(block, true);
  EXPECT_EQ(Sim().State(0).aControl[0], 0x35);
  EXPECT_EQ(Sim().State(0).nControlFlag, 1);
  m_Scanner.SaveControlBytes(block, false);
  EXPECT_EQ(Sim().State(0).nControlFlag, 0);
  m_Scanner.Close();

  Open(OneKX2(R"("ext_memory":{"size":65536},
                 "faults":[{"call":"ftrScanRestore7ControlBytes","error":5}])"));
  EXPECT_EQ(CodeOf([&] { m_Scanner.GetExtMemorySize(&size); }), -35);
  EXPECT_CL_THROW(m_Scanner.RestoreControlBytes(block), -60, "Unable to restore control bytes:5");
  m_Scanner.Close();

  // Only sizes above the 16-bit range are refused: a negative one is kept in 16 bits.
  Open(OneKX2(R"("ext_memory":{"reported_size":-2})"));
  m_Scanner.GetExtMemorySize(&size);
  EXPECT_EQ(size, 65534);
}

TEST_F(WrapperTest, UnusableFrameGeometryRefusedAtOpen)
{
  // Rows the bitmap pads, or more bytes than the frame has, would shear or overrun it.
  const struct
  {
    const char* szConfig;
    int32_t nWidth, nHeight;
  } cases[] = {{R"("normal_size":[801,750])", 801, 750},
               {R"("image_bytes":[604096,2400000])", 800, 750},
               {R"("raw_size":[1602,1500])", 800, 750},
               {R"("image_bytes":[600000,2400001])", 800, 750}};
  for (const auto& c : cases) {
    Sim().Load(OneKX2(std::string(c.szConfig) + R"(,"script":[{"empty":4}])"));
    EXPECT_EQ(CodeOf([&] { m_Scanner.Open(0); }), -62) << c.szConfig;
    EXPECT_EQ(Sim().State(0).nOpenHandles, 0) << c.szConfig;
    // No frame can be taken into a bitmap of the size the device reports.
    ClBitmap bmp;
    bmp.Create(c.nWidth, c.nHeight, 8);
    EXPECT_EQ(CodeOf([&] { m_Scanner.GetImage(&bmp, 2, 255); }), -44) << c.szConfig;
    EXPECT_EQ(Sim().Calls("ftrScanGetImage"), 0);
  }
  Sim().Load(OneKX2(R"("normal_size":[801,750])"));
  EXPECT_CL_THROW(m_Scanner.Open(0), -62, nullptr);
}

TEST_F(WrapperTest, FrameIntoBitmapWithOneRetry)
{
  Open(OneKX2(R"("script":[{"empty":4}],
                 "faults":[{"call":"ftrScanGetImage","at":1,"error":121,"count":1},
                           {"call":"ftrScanGetImage","at":3,"error":121,"count":2}])"));
  m_Scanner.SetLed(1);
  ClBitmap bmp;
  bmp.Create(800, 750, 8);
  std::memset(bmp.Bits(), 0, 800 * 750);
  EXPECT_EQ(CodeOf([&] { m_Scanner.GetImage(nullptr, 2, 255); }), -701);

  ASSERT_TRUE(m_Scanner.GetImage(&bmp, 2, 255));
  EXPECT_EQ(bmp.HeaderInfo().biXPelsPerMeter, 19685);
  EXPECT_EQ(bmp.HeaderInfo().biYPelsPerMeter, 19685);
  EXPECT_EQ(Sim().State(0).nLastDose, 2);
  size_t lit = 0;
  for (size_t i = 0; i < 800 * 750; ++i)
    lit += bmp.Bits()[i] != 0;
  EXPECT_GT(lit, 800u * 750 / 2) << "the frame landed in the bitmap";
  // The diodes are set again after every frame.
  EXPECT_EQ(Sim().Calls("ftrScanSetDiodesStatus"), 2);

  // Call 1 fails with 121 and call 2 carries the frame; calls 3 and 4 both fail.
  ASSERT_TRUE(m_Scanner.GetImage(&bmp, 2, 255));
  EXPECT_EQ(Sim().Calls("ftrScanGetImage"), 3);
  EXPECT_CL_THROW(m_Scanner.GetImage(&bmp, 2, 255), -204, "KXScanAPI - GetImage:121\n");
  EXPECT_EQ(Sim().Calls("ftrScanGetImage"), 5);

  ClBitmap shortBmp;
  shortBmp.Create(800, 749, 8);
  EXPECT_EQ(CodeOf([&] { m_Scanner.GetImage(&shortBmp, 2, 255); }), -44);
  EXPECT_EQ(Sim().Calls("ftrScanGetImage"), 5);

  // Raw frames keep the bitmap's resolution and come by the variable-dose entry.
  m_Scanner.SetImageMode(21);
  EXPECT_EQ(CodeOf([&] { m_Scanner.GetImage(&bmp, 9, 255); }), -44);
  ClBitmap raw;
  raw.Create(1600, 1500, 8);
  ASSERT_TRUE(m_Scanner.GetImage(&raw, 9, 255));
  EXPECT_EQ(raw.HeaderInfo().biXPelsPerMeter, 0);
  EXPECT_EQ(Sim().State(0).nLastDose, 9);
  EXPECT_EQ(Sim().State(0).nLastMode, 2);

  Sim().SetConnected(0, false);
  EXPECT_CL_THROW(m_Scanner.GetImage(&raw, 9, 255), -60, "GetImageByVariableDose:170");
}
