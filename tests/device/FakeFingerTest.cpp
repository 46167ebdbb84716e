#include "device/VeltranoFakeFingerDetectionKX2Wrapper.h"
#include "base/RDLogging.h"
#include "simulator/kxsim.h"
#include "tests/common/SharedLibrary.h"

#include "ProbeRunner.h"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

typedef ClVeltranoFakeFingerDetectionKX2Wrapper ClFD;

// The stub's settings live in its file; this handle keeps them loaded between starts.
void Configure(const char* szJson)
{
  static ClLib lib(BinDir() + "/" + ClFD::szLibraryFile);
  ASSERT_EQ(lib.Fn<KXSIMFD_CONFIGURE>("kxsimfdConfigure")(szJson), 1);
}

struct ClBinding
{
  ClFD* pWrapper = nullptr;
  FDHandle hHandle = nullptr;
  bool bAverage = false;

  void Start(const char* szPath = ClFD::szSearchPath, const char* szFile = ClFD::szLibraryFile)
  {
    ClFD::Start(pWrapper, hHandle, bAverage, szPath, szFile);
  }
  // The search path is relative to the working directory.
  void StartIn(const std::string& sDir)
  {
    char old[4096];
    ASSERT_NE(getcwd(old, sizeof(old)), nullptr);
    ASSERT_EQ(chdir(sDir.c_str()), 0);
    Start();
    ASSERT_EQ(chdir(old), 0);
  }
  ~ClBinding() { ClFD::End(pWrapper, hHandle); }
};

} // namespace

TEST(FakeFinger, StartReadsAveragingOverFiveBytes)
{
  const struct
  {
    const char* szText;
    bool bOn;
  } cases[] = {{"True", true},  {"true", true},   {"TRUE", true},
               {"TRue", false}, {"True ", false}, {"False", false}};
  for (const auto& c : cases) {
    Configure((std::string(R"({"average_text":")") + c.szText + "\"}").c_str());
    ClBinding b;
    b.bAverage = !c.bOn;
    b.Start();
    ASSERT_NE(b.pWrapper, nullptr);
    EXPECT_TRUE(b.pWrapper->IsLoaded());
    EXPECT_NE(b.hHandle, nullptr) << c.szText;
    EXPECT_EQ(b.bAverage, c.bOn) << c.szText;
    EXPECT_NE(b.pWrapper->FD_KX2ExtendedAccess, nullptr);
    EXPECT_EQ(b.pWrapper->FD_KX2SetPropertyA(b.hHandle, ClFD::szAverageProperty, "True"), 0);
    EXPECT_TRUE(b.pWrapper->ReadAverageLiveness(b.hHandle));
    ClFD::End(b.pWrapper, b.hHandle);
    EXPECT_EQ(b.pWrapper, nullptr);
    EXPECT_EQ(b.hHandle, nullptr);
  }
  Configure(nullptr);
}

TEST(FakeFinger, FailuresLeaveEngineWithoutHandle)
{
  Configure(R"({"init_error":-5})");
  {
    ClBinding b;
    b.Start();
    EXPECT_NE(b.pWrapper, nullptr) << "the wrapper stays for the engine to delete";
    EXPECT_EQ(b.hHandle, nullptr);
  }
  Configure(R"({"create_error":-7})");
  {
    ClBinding b;
    b.Start();
    EXPECT_EQ(b.hHandle, nullptr);
  }
  Configure(nullptr);
  ClBinding missing;
  missing.Start(ClFD::szSearchPath, "libno_such_liveness.so");
  ASSERT_NE(missing.pWrapper, nullptr);
  EXPECT_FALSE(missing.pWrapper->IsLoaded());
  EXPECT_EQ(missing.hHandle, nullptr);
  EXPECT_FALSE(missing.bAverage);
}

TEST(FakeFinger, SearchPathAndVariants)
{
  {
    // Not along the search path from there: the system's search finds it beside the tests.
    ClBinding b;
    b.StartIn("/");
    std::string name = b.pWrapper->LoadedName();
    EXPECT_TRUE(name == ClFD::szLibraryFile || name == BinDir() + "/" + ClFD::szLibraryFile)
        << name;
    EXPECT_NE(b.hHandle, nullptr);
  }
  {
    ClBinding b;
    b.StartIn(BinDir());
    EXPECT_EQ(b.pWrapper->LoadedName(), BinDir() + "/./" + ClFD::szLibraryFile);
    EXPECT_NE(b.hHandle, nullptr);
  }
  {
    std::string dir = BinDir() + "/variants/fd-no-extended";
    ClBinding b;
    b.Start(dir.c_str());
    EXPECT_EQ(b.pWrapper->LoadedName(), dir + "/" + ClFD::szLibraryFile);
    EXPECT_NE(b.hHandle, nullptr);
    EXPECT_EQ(b.pWrapper->FD_KX2ExtendedAccess, nullptr) << "optional";
  }
  {
    std::string dir = BinDir() + "/variants/fd-no-errordescription";
    ClBinding b;
    b.Start(dir.c_str());
    EXPECT_EQ(b.hHandle, nullptr) << "a required entry is missing";
    EXPECT_FALSE(b.pWrapper->IsLoaded());
    void* h = dlopen((dir + "/" + ClFD::szLibraryFile).c_str(), RTLD_NOW | RTLD_NOLOAD);
    EXPECT_EQ(h, nullptr) << "and the library did not stay";
  }
}

namespace {
std::vector<std::string> g_DebugLines;
void CaptureDebug(const char* szLine) { g_DebugLines.push_back(szLine); }
} // namespace

TEST(FakeFinger, NonAsciiPathKeepsItsDebugLine)
{
  // A UTF-8 path in the loader's message must reach the debug output whole.
  const std::string file = "libkein_lebendtest_\xC3\xBC\xE2\x82\xAC.so";
  bool bWasEnabled = ClSDKLoggingLayers::m_bEnabled;
  ClSDKLoggingLayers::m_bEnabled = true;
  ClSDKLoggingLayers::m_pfnOutputDebugString = CaptureDebug;
  g_DebugLines.clear();
  {
    ClBinding b;
    b.Start(ClFD::szSearchPath, file.c_str());
    EXPECT_EQ(b.hHandle, nullptr);
  }
  ClSDKLoggingLayers::m_pfnOutputDebugString = nullptr;
  ClSDKLoggingLayers::m_bEnabled = bWasEnabled;
  bool bFound = false;
  for (const std::string& line : g_DebugLines)
    bFound = bFound || line.find(file) != std::string::npos;
  EXPECT_TRUE(bFound) << g_DebugLines.size() << " lines";
}
