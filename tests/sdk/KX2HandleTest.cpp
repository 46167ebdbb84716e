// The scanner handle's property table seen from inside: names, kinds, access, ranges and
// the texts of its refusals, which the exports turn into bare codes.
#include "sdk/KX2Handle.h"
#include "tests/common/TestFailure.h"
#include "tests/device/SimControl.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

class KX2Handle : public ::testing::Test
{
protected:
  void SetUp() override
  {
    ASSERT_EQ(ClLiveScannerKX2::StartUp(), 0);
    ClSimControl::Get().Load(R"({"frame_interval_ms":0,"devices":[{"interface":0}]})");
    ClKX2Handle::CreateHandle(&m_h);
    m_p = ClKX2Handle::ResolveHandle(m_h);
  }
  void TearDown() override
  {
    ClKX2Handle::DestroyHandle(&m_h);
    ClLiveScannerKX2::ShutDown();
  }

  LS_KX2_HANDLE m_h = nullptr;
  ClKX2Handle* m_p = nullptr;
};

const std::vector<std::string> s_Names = {
    "Version",     "nUseFastMask",     "nRolledPostProcess",   "nAverageLivenessScoreMode",
    "nResetImage", "nMaskSensitivity", "nRollFingerStartMode", "nRollMergeMode"};

} // namespace

TEST_F(KX2Handle, PropertiesBeforeOpenAreAStateError)
{
  int32_t n = 0;
  EXPECT_CL_THROW(m_p->GetPropertyLong("nAverageLivenessScoreMode", &n), -2, nullptr);
  EXPECT_CL_THROW(m_p->SetPropertyLong("nAverageLivenessScoreMode", 1), -2, nullptr);
  EXPECT_CL_THROW(m_p->SetPropertyLong("nResetImage", 1), -2, nullptr);
  m_p->GetPropertyLong("nResetImage", &n);
  EXPECT_EQ(n, 0);
  EXPECT_CL_THROW(m_p->SetCaptureMode(0), -2, nullptr);
  // The sensitivity kept for the open has the open handle's range.
  EXPECT_CL_THROW(m_p->SetPropertyLong("nMaskSensitivity", -1), -35, nullptr);
  EXPECT_CL_THROW(m_p->SetPropertyLong("nMaskSensitivity", 6), -35, nullptr);
}

TEST_F(KX2Handle, TableNamesKindsAccessAndRanges)
{
  m_p->Open(0, "KX2 21234567");
  std::vector<std::string> names;
  char buf[64];
  uint64_t n = sizeof(buf);
  for (m_p->GetFirstName(buf, &n); n; m_p->GetNextName(buf, &(n = sizeof(buf))))
    names.push_back(buf);
  EXPECT_EQ(names, s_Names);
  EXPECT_STREQ(buf, "");

  for (const std::string& s : s_Names) {
    SCOPED_TRACE(s);
    uint32_t nKind = 9, nAccess = 9;
    m_p->GetKind(s.c_str(), &nKind);
    m_p->GetAccess(s.c_str(), &nAccess);
    EXPECT_EQ(nKind, s == "Version" ? 2u : 0u);
    EXPECT_EQ(nAccess, s == "Version" ? 2u : s == "nResetImage" ? 1u : 3u);
    // No property is an enumeration.
    EXPECT_CL_THROW(m_p->BeginEnum(s.c_str(), buf, &(n = sizeof(buf))), -103, nullptr);
    int32_t nMin = -9, nMax = -9;
    if (s == "nMaskSensitivity" || s == "nAverageLivenessScoreMode") {
      m_p->GetRangeLong(s.c_str(), &nMin, &nMax);
      EXPECT_EQ(nMin, 0);
      EXPECT_EQ(nMax, s == "nMaskSensitivity" ? 5 : 1);
    } else {
      EXPECT_CL_THROW(m_p->GetRangeLong(s.c_str(), &nMin, &nMax), -103, nullptr);
    }
  }
  m_p->Close();
}

TEST_F(KX2Handle, RefusalsCarryTheirTexts)
{
  m_p->Open(0, "KX2 21234567");
  EXPECT_CL_THROW(m_p->SetPropertyLong("nMaskSensitivity", 6), -35, nullptr);
  int32_t n = 0;
  m_p->GetPropertyLong("nMaskSensitivity", &n);
  EXPECT_EQ(n, 3);
  EXPECT_CL_THROW(m_p->SetCaptureMode(6), -103, nullptr);
  m_p->SetCaptureMode(4);
  uint32_t nMode = 0;
  EXPECT_CL_THROW(m_p->GetCaptureMode(&nMode), -103, nullptr);
  m_p->SetCaptureMode(5);
  EXPECT_CL_THROW(m_p->GetCaptureMode(&nMode), -103, nullptr);
  m_p->SetCaptureMode(0);
  m_p->GetCaptureMode(&nMode);
  EXPECT_EQ(nMode, 0u);
  m_p->Close();
}
