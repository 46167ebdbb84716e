#include "sdk/LiveScannerKX2.h"
#include "base/RDLogging.h"
#include "base/SDKHelper.h"
#include "base/TpSingleton.h"
#include "tests/common/TestFailure.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

struct ClCounted : TpSingleton<ClCounted>
{
  static inline int s_nCreated = 0, s_nDestroyed = 0, s_nFirst = 0, s_nLast = 0;
  static inline bool s_bFailFirstUse = false;
  ClCounted() { ++s_nCreated; }
  ~ClCounted() override { ++s_nDestroyed; }
  void OnCreated() {}
  void OnFirstUse()
  {
    ++s_nFirst;
    if (s_bFailFirstUse)
      LSKX2_THROW_MSG("binding failed", -200);
  }
  void OnLastUse() { ++s_nLast; }
};

} // namespace

TEST(SdkObject, CreatedOnceDestroyedOnce)
{
  ClCounted* a = ClCounted::Acquire();
  ClCounted* b = ClCounted::Acquire();
  ClCounted* c = ClCounted::Acquire();
  EXPECT_EQ(a, b);
  EXPECT_EQ(b, c);
  EXPECT_EQ(ClCounted::s_nCreated, 1);
  EXPECT_EQ(ClCounted::s_nFirst, 1);
  ClCounted::Release();
  ClCounted::Release();
  EXPECT_EQ(ClCounted::s_nDestroyed, 0);
  EXPECT_EQ(ClCounted::Instance(), a);
  ClCounted::Release();
  EXPECT_EQ(ClCounted::s_nDestroyed, 1);
  EXPECT_EQ(ClCounted::s_nLast, 1);
  EXPECT_EQ(CodeOf([] { ClCounted::Release(); }), -2);
  EXPECT_EQ(CodeOf([] { ClCounted::Instance(); }), -2);
  EXPECT_EQ(CodeOf([] { ClCounted::CheckInUse(); }), -2);
}

TEST(SdkObject, FailedFirstUseTakesNoReference)
{
  ClCounted::s_bFailFirstUse = true;
  int created = ClCounted::s_nCreated;
  EXPECT_EQ(CodeOf([] { ClCounted::Acquire(); }), -200);
  ClCounted::s_bFailFirstUse = false;
  EXPECT_FALSE(ClCounted::Exists());
  EXPECT_EQ(ClCounted::s_nCreated, created + 1);
  EXPECT_EQ(ClCounted::s_nDestroyed, ClCounted::s_nCreated);
  EXPECT_EQ(CodeOf([] { ClCounted::Release(); }), -2);
}

TEST(SdkObject, VersionIsTheNumberOfTheSignature)
{
  uint64_t size = 0;
  EXPECT_EQ(CodeOf([] {
              uint64_t s = 0;
              ClLiveScannerKX2::GetVersion(nullptr, &s);
            }),
            -21);
  try {
    ClLiveScannerKX2::GetVersion(nullptr, &size);
  } catch (const ClException&) {
  }
  EXPECT_EQ(size, sizeof("1.8.1.1822"));
  char out[32];
  std::memset(out, 'x', sizeof(out));
  size = sizeof(out);
  ClLiveScannerKX2::GetVersion(out, &size);
  EXPECT_STREQ(out, "1.8.1.1822");
  EXPECT_EQ(size, 11u);
  static const char prefix[] = "SDK: VeltranoLiveScannerKX2 Version: 1.8.1.1822 ";
  EXPECT_EQ(std::strncmp(ClLiveScannerKX2::Signature(), prefix, sizeof(prefix) - 1), 0);
}

TEST(SdkObject, CopyOutRule)
{
  const char src[] = "abcdef";
  char dst[8] = {};
  EXPECT_EQ(CodeOf([] { SDKHelper::CopyOut(nullptr, nullptr, "x", 1); }), -24);
  uint64_t size = 3;
  try {
    SDKHelper::CopyOut(dst, &size, src, 7);
    FAIL();
  } catch (const ClException& e) {
    EXPECT_EQ(e.GetCode(), -21);
  }
  EXPECT_EQ(size, 7u);
  EXPECT_EQ(dst[0], 0);
  // Null destination with enough room is a plain size query.
  size = 100;
  SDKHelper::CopyOut(nullptr, &size, src, 7);
  EXPECT_EQ(size, 7u);
  SDKHelper::CopyOut(dst, &size, src, 7);
  EXPECT_STREQ(dst, "abcdef");
}

namespace {
int32_t g_nHookLevel = -1;
std::string g_sHookText;
void Hook(int32_t nLevel, const char* szText)
{
  g_nHookLevel = nLevel;
  g_sHookText = szText;
}
} // namespace

TEST(SdkObject, LibraryLogLinesReachTheHookFormatted)
{
  const TpLogHook saved = g_pfnLogHook;
  g_pfnLogHook = &Hook;
  RDLog(3, "frame %d of %s", 7, "roll");
  g_pfnLogHook = saved;
  EXPECT_EQ(g_nHookLevel, 3);
  EXPECT_EQ(g_sHookText, "frame 7 of roll");
}
