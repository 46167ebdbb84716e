#include "device/DynamicLibraryLoader.h"
#include "tests/common/TestFailure.h"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <string>

namespace {

const char szLoadee[] = "libdevice_loadee.so";
const std::string sLoadeeDir = LSKX2_LOADEE_DIR;

bool IsInProcess(const std::string& path)
{
  void* h = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (h)
    dlclose(h);
  return h != nullptr;
}

} // namespace

TEST(Loader, SearchPathTriedInOrder)
{
  std::string path = "/no/such/dir;;" + sLoadeeDir + ";/tmp";
  ClDynamicLibraryLoader loader;
  loader.Load(path.c_str(), szLoadee);
  ASSERT_TRUE(loader.IsLoaded());
  EXPECT_EQ(loader.LoadedName(), sLoadeeDir + "/" + szLoadee);
  auto fn = reinterpret_cast<int (*)()>(loader.LoadSymbol("LoadeeAnswer"));
  ASSERT_NE(fn, nullptr);
  EXPECT_EQ(fn(), 42);
  EXPECT_EQ(loader.LoadSymbol("NoSuchEntry", false), nullptr);
  EXPECT_CL_THROW(loader.LoadSymbol("NoSuchEntry"), -206, nullptr);

  loader.Unload();
  EXPECT_FALSE(loader.IsLoaded());
  EXPECT_FALSE(IsInProcess(sLoadeeDir + "/" + szLoadee));
  EXPECT_CL_THROW(loader.LoadSymbol("LoadeeAnswer"), -206, nullptr);
}

TEST(Loader, MissingLibraryRaises200)
{
  ClDynamicLibraryLoader loader;
  // Outside the search path the loadee is beyond the system's reach.
  EXPECT_CL_THROW(loader.Load(nullptr, szLoadee), -200, nullptr);
  EXPECT_FALSE(loader.IsLoaded());
  EXPECT_CL_THROW(loader.Load("", nullptr), -200, nullptr);
}
