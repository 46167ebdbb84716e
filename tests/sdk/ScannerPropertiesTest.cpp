// Properties of a scanner handle through the shared library.
#include "ScannerFixture.h"

#include <cstring>
#include <string>
#include <vector>

namespace {

std::string Text(LS_KX2_HANDLE h, const char* szName)
{
  char buf[64];
  uint64_t n = sizeof(buf);
  const int32_t nCode = LS_KX2GetPropertyA(h, szName, buf, &n);
  return nCode ? "error " + std::to_string(nCode) : std::string(buf);
}

int32_t Long(LS_KX2_HANDLE h, const char* szName)
{
  int32_t n = -12345;
  EXPECT_EQ(LS_KX2GetPropertyLongA(h, szName, &n), 0) << szName;
  return n;
}

} // namespace

TEST_F(ScannerExports, VersionPropertyIsReadOnlyText)
{
  char buf[16];
  uint64_t n = sizeof(buf);
  ASSERT_EQ(LS_KX2GetPropertyA(m_h, "Version", buf, &n), 0);
  EXPECT_STREQ(buf, "1.8.1.1822");
  EXPECT_EQ(n, 11u);
  EXPECT_EQ(LS_KX2SetPropertyA(m_h, "Version", "2.0"), -47);
  EXPECT_EQ(Text(m_h, "version"), "1.8.1.1822");
  int32_t v;
  EXPECT_EQ(LS_KX2GetPropertyLongA(m_h, "Version", &v), -44);
  EXPECT_EQ(LS_KX2SetPropertyLongA(m_h, "Version", 1), -44);

  // Size protocol: null size, too small with the size stored, one byte left untouched.
  EXPECT_EQ(LS_KX2GetPropertyA(m_h, "Version", buf, nullptr), -24);
  std::strcpy(buf, "abc");
  n = 4;
  EXPECT_EQ(LS_KX2GetPropertyA(m_h, "Version", buf, &n), -21);
  EXPECT_EQ(n, 11u);
  EXPECT_STREQ(buf, "");
  std::strcpy(buf, "abc");
  n = 1;
  EXPECT_EQ(LS_KX2GetPropertyA(m_h, "Version", buf, &n), -21);
  EXPECT_STREQ(buf, "abc");
  n = 0;
  EXPECT_EQ(LS_KX2GetPropertyA(m_h, "nMaskSensitivity", nullptr, &n), -21);
  EXPECT_EQ(n, 2u);
  EXPECT_EQ(LS_KX2GetPropertyA(m_h, "nMaskSensitivity", nullptr, &n), 0);
}

TEST_F(ScannerExports, HandlePropertiesDefaultsAndWrites)
{
  EXPECT_EQ(Long(m_h, "nUseFastMask"), 0);
  EXPECT_EQ(Long(m_h, "nRolledPostProcess"), 0);
  const int32_t nAverage = Long(m_h, "nAverageLivenessScoreMode");
  EXPECT_TRUE(nAverage == 0 || nAverage == 1) << nAverage;
  EXPECT_EQ(Long(m_h, "nResetImage"), 0);
  EXPECT_EQ(Long(m_h, "nMaskSensitivity"), 3);
  EXPECT_EQ(Long(m_h, "nRollFingerStartMode"), 1);
  EXPECT_EQ(Text(m_h, "NMASKSENSITIVITY"), "3");

  std::vector<const char*> flags = {"nUseFastMask", "nRolledPostProcess",
                                    "nAverageLivenessScoreMode", "nRollFingerStartMode"};
  for (const char* szName : flags) {
    SCOPED_TRACE(szName);
    const int32_t nOld = Long(m_h, szName);
    EXPECT_EQ(LS_KX2SetPropertyLongA(m_h, szName, 1 - nOld), 0);
    EXPECT_EQ(Long(m_h, szName), 1 - nOld);
    EXPECT_EQ(LS_KX2SetPropertyA(m_h, szName, nOld ? "1" : "0"), 0);
    EXPECT_EQ(Long(m_h, szName), nOld);
    // Unsigned: a negative value is refused.
    EXPECT_EQ(LS_KX2SetPropertyLongA(m_h, szName, -1), -35);
    double d;
    EXPECT_EQ(LS_KX2GetPropertyDoubleA(m_h, szName, &d), -44);
    EXPECT_EQ(LS_KX2SetPropertyDoubleA(m_h, szName, 1.0), -44);
  }

  // Mask sensitivity: 0 to 5, refused outside and kept.
  EXPECT_EQ(LS_KX2SetPropertyLongA(m_h, "nMaskSensitivity", 6), -35);
  EXPECT_EQ(LS_KX2SetPropertyA(m_h, "nMaskSensitivity", "6"), -35);
  EXPECT_EQ(LS_KX2SetPropertyLongA(m_h, "nMaskSensitivity", -1), -35);
  EXPECT_EQ(Long(m_h, "nMaskSensitivity"), 3);
  EXPECT_EQ(LS_KX2SetPropertyA(m_h, "nMaskSensitivity", "0x5"), 0);
  EXPECT_EQ(Long(m_h, "nMaskSensitivity"), 5);
  EXPECT_EQ(LS_KX2SetPropertyA(m_h, "nMaskSensitivity", "two"), -44);
  EXPECT_EQ(LS_KX2SetPropertyA(m_h, "nMaskSensitivity", nullptr), -20);

  // Merge mode: 0 or 1, anything else refused and the value kept.
  EXPECT_EQ(Long(m_h, "nRollMergeMode"), 0);
  EXPECT_EQ(LS_KX2SetPropertyLongA(m_h, "nRollMergeMode", 1), 0);
  EXPECT_EQ(Long(m_h, "nRollMergeMode"), 1);
  for (int32_t v : {2, -1, 100})
    EXPECT_EQ(LS_KX2SetPropertyLongA(m_h, "nRollMergeMode", v), -44) << v;
  EXPECT_EQ(LS_KX2SetPropertyA(m_h, "nRollMergeMode", "2"), -44);
  EXPECT_EQ(Text(m_h, "nRollMergeMode"), "1");
  EXPECT_EQ(LS_KX2SetPropertyA(m_h, "nRollMergeMode", "0"), 0);
  EXPECT_EQ(Long(m_h, "nRollMergeMode"), 0);

  // Write-only, yet readable as 0; every write is taken, whatever the value.
  for (int32_t v : {0, 1, 77})
    EXPECT_EQ(LS_KX2SetPropertyLongA(m_h, "nResetImage", v), 0);
  EXPECT_EQ(LS_KX2SetPropertyA(m_h, "nResetImage", "0"), 0);
  EXPECT_EQ(Long(m_h, "nResetImage"), 0);
  EXPECT_EQ(Text(m_h, "nResetImage"), "0");

  int32_t v;
  EXPECT_EQ(LS_KX2GetPropertyLongA(m_h, nullptr, &v), -44);
  EXPECT_EQ(LS_KX2GetPropertyLongA(m_h, "nNoSuchThing", &v), -206);
  EXPECT_EQ(LS_KX2SetPropertyA(m_h, "nNoSuchThing", "1"), -206);
  EXPECT_EQ(LS_KX2SetPropertyDoubleA(m_h, nullptr, 1.0), -44);
}
