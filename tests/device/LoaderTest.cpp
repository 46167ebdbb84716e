#include "device/DynamicLibraryLoader.h"
#include "sdk/Exceptions.h"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <string>

namespace {

const char szLoadee[] = "libdevice_loadee.so";
const std::string sLoadeeDir = LSKX2_LOADEE_DIR;

template <class TpFn>
ClException Raised(TpFn fn)
{
  try {
    fn();
  } catch (const ClException& e) {
    return e;
  }
  return ClException("nothing raised", 0);
}

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
  ClException e = Raised([&] { loader.LoadSymbol("NoSuchEntry"); });
  EXPECT_EQ(e.GetCode(), -206);
  EXPECT_NE(std::string(e.GetMessage()).find("NoSuchEntry"), std::string::npos);

  loader.Unload();
  EXPECT_FALSE(loader.IsLoaded());
  EXPECT_FALSE(IsInProcess(sLoadeeDir + "/" + szLoadee));
  EXPECT_EQ(Raised([&] { loader.LoadSymbol("LoadeeAnswer"); }).GetCode(), -206);
}

TEST(Loader, MissingLibraryRaises200)
{
  ClDynamicLibraryLoader loader;
  // Outside the search path the loadee is beyond the system's reach.
  ClException e = Raised([&] { loader.Load(nullptr, szLoadee); });
  EXPECT_EQ(e.GetCode(), -200);
  EXPECT_NE(std::string(e.GetMessage()).find(szLoadee), std::string::npos);
  EXPECT_FALSE(loader.IsLoaded());
  EXPECT_EQ(Raised([&] { loader.Load("", nullptr); }).GetCode(), -200);
}
