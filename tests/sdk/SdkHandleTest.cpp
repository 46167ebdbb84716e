// Handle creation and the generic property table, on a small handle with a table of
// every kind and an SDK object of its own. Bad handles are tried through the exports.
#include "sdk/SDKHandleBase.h"
#include "base/TpSingleton.h"
#include "tests/common/TestFailure.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

struct ClTestSDK : TpSingleton<ClTestSDK>
{
  void OnCreated() {}
  void OnFirstUse() {}
  void OnLastUse() {}
};

class ClTestHandle : public TSDKHandleBase<ClTestHandle, ClTestSDK>
{
public:
  static inline int s_nAlive = 0;
  ClTestHandle() { ++s_nAlive; }
  ~ClTestHandle() override { --s_nAlive; }

  bool HasTable() const { return m_pParameters != nullptr; }

  void RegisterParameters(ClParameterContainer* pTable) override
  {
    auto* pCount = pTable->CreateNumeric<int>("nCount");
    pCount->Bind(&m_nCount, eParamRead | eParamWrite | eParamStrict);
    pCount->SetMin(0);
    pCount->SetMax(10);
    auto* pGain = pTable->CreateNumeric<double>("dGain");
    pGain->Bind(&m_dGain, eParamRead | eParamWrite);
    pGain->SetMin(0.5);
    pGain->SetMax(4.0);
    pTable->CreateNumeric<unsigned int>("nFixed")->Bind(&m_nFixed, eParamRead);
    auto* pColour = pTable->CreateEnum<int>("eColour");
    pColour->Bind(&m_nColour, eParamRead | eParamWrite);
    pColour->AddEntry(0, "red");
    pColour->AddEntry(1, "green");
    pColour->AddEntry(2, "blue");
    pTable->CreateContainer("Sub")->CreateNumeric<int>("nDepth")->Bind(&m_nDepth, eParamWrite);
  }

  int m_nCount = 5;
  double m_dGain = 1.5;
  unsigned int m_nFixed = 7;
  int m_nColour = 1;
  int m_nDepth = 0;
};

class SdkHandle : public ::testing::Test
{
protected:
  void SetUp() override
  {
    ClTestSDK::Acquire();
    ClTestHandle::CreateHandle(&m_h);
    m_p = ClTestHandle::ResolveHandle(m_h);
  }
  void TearDown() override
  {
    if (ClTestSDK::Exists()) {
      if (m_h)
        ClTestHandle::DestroyHandle(&m_h);
      ClTestSDK::Release();
    }
  }

  LS_KX2_HANDLE m_h = nullptr;
  ClTestHandle* m_p = nullptr;
};

// Walks the names from the start: every full path, then what the end leaves behind.
std::vector<std::string> Names(ClTestHandle& h)
{
  std::vector<std::string> names;
  char buf[64];
  uint64_t n = sizeof(buf);
  h.GetFirstName(buf, &n);
  while (n) {
    EXPECT_EQ(n, std::strlen(buf) + 1);
    names.push_back(buf);
    n = sizeof(buf);
    h.GetNextName(buf, &n);
  }
  EXPECT_STREQ(buf, "");
  return names;
}

} // namespace

TEST(SdkHandleLife, CreateRefusedWithoutSdkOrReference)
{
  LS_KX2_HANDLE h = reinterpret_cast<LS_KX2_HANDLE>(&h);
  EXPECT_CL_THROW(ClTestHandle::CreateHandle(&h), -2, nullptr);
  EXPECT_CL_THROW(ClTestHandle::ResolveHandle(nullptr), -2, nullptr);
  ClTestSDK::Acquire();
  EXPECT_CL_THROW(ClTestHandle::CreateHandle(nullptr), -701, nullptr);
  EXPECT_CL_THROW(ClTestHandle::DestroyHandle(nullptr), -44, nullptr);
  LS_KX2_HANDLE hNull = nullptr;
  EXPECT_CL_THROW(ClTestHandle::DestroyHandle(&hNull), -42, nullptr);
  ClTestSDK::Release();
}

TEST_F(SdkHandle, TableIsBuiltAtFirstPropertyAccess)
{
  EXPECT_FALSE(m_p->HasTable());
  EXPECT_CL_THROW(m_p->GetPropertyLong(nullptr, nullptr), -44, nullptr);
  EXPECT_TRUE(m_p->HasTable());
}

TEST_F(SdkHandle, TextAccessAndItsFailureOrder)
{
  char buf[32];
  uint64_t n = sizeof(buf);
  m_p->GetProperty("version", buf, &n);
  EXPECT_STREQ(buf, "1.8.1.1822");
  EXPECT_EQ(n, 11u);
  EXPECT_CL_THROW(m_p->SetProperty("Version", "2"), -47, nullptr);

  EXPECT_CL_THROW(m_p->GetProperty(nullptr, buf, nullptr), -44, nullptr);
  EXPECT_CL_THROW(m_p->GetProperty("nope", buf, nullptr), -206, nullptr);
  EXPECT_CL_THROW(m_p->GetProperty("nCount", buf, nullptr), -24, nullptr);
  // Too small: the size needed is stored; two bytes or more are cleared first, one is not.
  std::strcpy(buf, "xy");
  n = 2;
  EXPECT_CL_THROW(m_p->GetProperty("Version", buf, &n), -21, nullptr);
  EXPECT_EQ(n, 11u);
  EXPECT_STREQ(buf, "");
  std::strcpy(buf, "xy");
  n = 1;
  EXPECT_CL_THROW(m_p->GetProperty("Version", buf, &n), -21, nullptr);
  EXPECT_STREQ(buf, "xy");

  m_p->SetProperty("nCount", "0x9");
  n = sizeof(buf);
  m_p->GetProperty("Sub.nDepth", buf, &n);
  EXPECT_STREQ(buf, "0");
  m_p->GetProperty("nCount", buf, &n);
  EXPECT_STREQ(buf, "9");
  m_p->SetProperty("ecolour", "BLUE");
  EXPECT_EQ(m_p->m_nColour, 2);
  EXPECT_CL_THROW(m_p->SetProperty("nCount", "11"), -35, nullptr);
  EXPECT_EQ(m_p->m_nCount, 9);
  EXPECT_CL_THROW(m_p->SetProperty(nullptr, "1"), -44, nullptr);
  EXPECT_CL_THROW(m_p->SetProperty("nope", "1"), -206, nullptr);
  EXPECT_CL_THROW(m_p->SetProperty("nFixed", "1"), -47, nullptr);
}

TEST_F(SdkHandle, NumericAccessByKind)
{
  int32_t n = 0;
  double d = 0;
  m_p->GetPropertyLong("nCount", &n);
  EXPECT_EQ(n, 5);
  m_p->GetPropertyLong("eColour", &n);
  EXPECT_EQ(n, 1);
  m_p->SetPropertyLong("eColour", 0);
  EXPECT_EQ(m_p->m_nColour, 0);
  EXPECT_CL_THROW(m_p->SetPropertyLong("eColour", 7), -35, nullptr);
  m_p->GetPropertyDouble("dGain", &d);
  EXPECT_EQ(d, 1.5);
  m_p->SetPropertyDouble("dGain", 2.25);
  EXPECT_EQ(m_p->m_dGain, 2.25);

  // Long: name, unknown, wrong kind, then the writable bit.
  EXPECT_CL_THROW(m_p->GetPropertyLong(nullptr, &n), -44, nullptr);
  EXPECT_CL_THROW(m_p->GetPropertyLong("nope", &n), -206, nullptr);
  EXPECT_CL_THROW(m_p->GetPropertyLong("dGain", &n), -44, nullptr);
  EXPECT_CL_THROW(m_p->GetPropertyLong("Version", &n), -44, nullptr);
  EXPECT_CL_THROW(m_p->GetPropertyLong("nCount", nullptr), -701, nullptr);
  EXPECT_CL_THROW(m_p->SetPropertyLong("nope", 1), -206, nullptr);
  EXPECT_CL_THROW(m_p->SetPropertyLong("dGain", 1), -44, nullptr);
  EXPECT_CL_THROW(m_p->SetPropertyLong("Version", 1), -44, nullptr);
  EXPECT_CL_THROW(m_p->SetPropertyLong("nFixed", 1), -47, nullptr);
  // Reading does not look at the readable bit.
  m_p->GetPropertyLong("Sub.nDepth", &n);
  EXPECT_EQ(n, 0);

  // Double: name, unknown, not numeric, not floating, then the writable bit.
  EXPECT_CL_THROW(m_p->GetPropertyDouble(nullptr, &d), -44, nullptr);
  EXPECT_CL_THROW(m_p->GetPropertyDouble("nope", &d), -206, nullptr);
  EXPECT_CL_THROW(m_p->GetPropertyDouble("eColour", &d), -44, nullptr);
  EXPECT_CL_THROW(m_p->GetPropertyDouble("nCount", &d), -44, nullptr);
  EXPECT_CL_THROW(m_p->GetPropertyDouble("dGain", nullptr), -701, nullptr);
  EXPECT_CL_THROW(m_p->SetPropertyDouble("Version", 1), -44, nullptr);
  EXPECT_CL_THROW(m_p->SetPropertyDouble("nFixed", 1), -44, nullptr);
}

TEST_F(SdkHandle, BlobsReachOnlyTheirFailures)
{
  uint64_t n = 8;
  char buf[8];
  EXPECT_CL_THROW(m_p->GetBlob(nullptr, buf, &n), -44, nullptr);
  EXPECT_CL_THROW(m_p->GetBlob("nope", buf, &n), -206, nullptr);
  EXPECT_CL_THROW(m_p->GetBlob("nCount", buf, nullptr), -24, nullptr);
  EXPECT_CL_THROW(m_p->GetBlob("nCount", buf, &n), -44, nullptr);
  EXPECT_CL_THROW(m_p->SetBlob("nope", buf, n), -206, nullptr);
  EXPECT_CL_THROW(m_p->SetBlob("Version", buf, n), -44, nullptr);
}

TEST_F(SdkHandle, KindAccessAndRanges)
{
  uint32_t k = 9;
  const std::vector<std::pair<const char*, uint32_t>> kinds = {
      {"Version", 2}, {"nCount", 0}, {"dGain", 1}, {"nFixed", 0}, {"eColour", 2}, {"Sub", 2}};
  for (const auto& [szName, nKind] : kinds) {
    m_p->GetKind(szName, &k);
    EXPECT_EQ(k, nKind) << szName;
  }
  m_p->GetAccess("Version", &k);
  EXPECT_EQ(k, 2u);
  m_p->GetAccess("nCount", &k);
  EXPECT_EQ(k, 3u);
  m_p->GetAccess("Sub.nDepth", &k);
  EXPECT_EQ(k, 1u);
  EXPECT_CL_THROW(m_p->GetKind(nullptr, &k), -44, nullptr);
  EXPECT_CL_THROW(m_p->GetKind("nope", &k), -206, nullptr);
  EXPECT_CL_THROW(m_p->GetKind("nCount", nullptr), -23, nullptr);
  EXPECT_CL_THROW(m_p->GetAccess("nCount", nullptr), -23, nullptr);

  int32_t nMin = -1, nMax = -1;
  m_p->GetRangeLong("nCount", &nMin, &nMax);
  EXPECT_EQ(nMin, 0);
  EXPECT_EQ(nMax, 10);
  nMin = -1;
  m_p->GetRangeLong("nCount", nullptr, &nMax);
  EXPECT_EQ(nMin, -1);
  double dMin = 0, dMax = 0;
  m_p->GetRangeDouble("dGain", &dMin, nullptr);
  EXPECT_EQ(dMin, 0.5);
  EXPECT_CL_THROW(m_p->GetRangeLong(nullptr, &nMin, &nMax), -44, nullptr);
  EXPECT_CL_THROW(m_p->GetRangeLong("nope", &nMin, &nMax), -206, nullptr);
  EXPECT_CL_THROW(m_p->GetRangeLong("eColour", &nMin, &nMax), -103, nullptr);
  EXPECT_CL_THROW(m_p->GetRangeLong("nFixed", &nMin, &nMax), -103, nullptr);
  EXPECT_CL_THROW(m_p->GetRangeLong("dGain", &nMin, &nMax), -44, nullptr);
  EXPECT_CL_THROW(m_p->GetRangeLong("nCount", nullptr, nullptr), -23, nullptr);
  EXPECT_CL_THROW(m_p->GetRangeDouble("nCount", &dMin, &dMax), -44, nullptr);
  EXPECT_CL_THROW(m_p->GetRangeDouble("dGain", nullptr, nullptr), -23, nullptr);
}

TEST_F(SdkHandle, NameWalkListsEveryLeafAndEnds)
{
  char buf[64];
  uint64_t n = sizeof(buf);
  EXPECT_CL_THROW(m_p->GetNextName(buf, &n), -50, nullptr);
  const std::vector<std::string> expected = {"Version", "nCount",  "dGain",
                                             "nFixed",  "eColour", "Sub.nDepth"};
  EXPECT_EQ(Names(*m_p), expected);
  // The end stays the end, and a buffer without room is left alone.
  std::strcpy(buf, "x");
  n = 0;
  m_p->GetNextName(buf, &n);
  EXPECT_STREQ(buf, "x");
  EXPECT_EQ(n, 0u);
  EXPECT_CL_THROW(m_p->GetNextName(buf, nullptr), -24, nullptr);

  // Too small: the size comes back and the same name is asked again.
  n = sizeof(buf);
  m_p->GetFirstName(buf, &n);
  n = 3;
  EXPECT_CL_THROW(m_p->GetNextName(buf, &n), -21, nullptr);
  EXPECT_EQ(n, 7u);
  m_p->GetNextName(buf, &n);
  EXPECT_STREQ(buf, "nCount");

  // The walk starts on a fresh table; values live in the handle and survive it.
  m_p->SetPropertyLong("nCount", 3);
  EXPECT_EQ(Names(*m_p), expected);
  int32_t v = 0;
  m_p->GetPropertyLong("nCount", &v);
  EXPECT_EQ(v, 3);
}

TEST_F(SdkHandle, EnumerationWalk)
{
  char buf[16];
  uint64_t n = sizeof(buf);
  EXPECT_CL_THROW(m_p->GetNextEnum(buf, &n), -50, nullptr);
  EXPECT_CL_THROW(m_p->BeginEnum(nullptr, buf, &n), -206, nullptr);
  EXPECT_CL_THROW(m_p->BeginEnum("nope", buf, &n), -206, nullptr);
  EXPECT_CL_THROW(m_p->BeginEnum("nCount", buf, &n), -103, nullptr);
  EXPECT_CL_THROW(m_p->BeginEnum("Version", buf, &n), -103, nullptr);

  std::vector<std::string> entries;
  m_p->BeginEnum("ECOLOUR", buf, &n);
  while (n) {
    entries.push_back(buf);
    n = sizeof(buf);
    m_p->GetNextEnum(buf, &n);
  }
  EXPECT_EQ(entries, (std::vector<std::string>{"red", "green", "blue"}));
  EXPECT_STREQ(buf, "");

  n = 2;
  EXPECT_CL_THROW(m_p->BeginEnum("eColour", buf, &n), -21, nullptr);
  EXPECT_EQ(n, 4u);
  m_p->GetNextEnum(buf, &n);
  EXPECT_STREQ(buf, "red");

  // A new name walk drops the table, and with it the enumeration being walked.
  m_p->GetFirstName(buf, &(n = sizeof(buf)));
  EXPECT_CL_THROW(m_p->GetNextEnum(buf, &n), -50, nullptr);
}
