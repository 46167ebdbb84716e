#include "device/DynamicLibraryLoader.h"

#include "base/Exceptions.h"
#include "base/RDLogging.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <unistd.h>

namespace {

// The folder of the module that holds this code: the shared library, or the program
// that links the loader statically.
std::string OwnDirectory()
{
  Dl_info info;
  if (!dladdr(reinterpret_cast<void*>(&OwnDirectory), &info) || !info.dli_fname)
    return std::string();
  char buf[PATH_MAX];
  std::string path = info.dli_fname;
  if (path.empty() || path[0] != '/') {
    // The main program is named as it was started; its real place is known to the kernel.
    if (realpath(path.c_str(), buf))
      path = buf;
    else {
      ssize_t n = readlink("/proc/self/exe", buf, sizeof(buf) - 1);
      if (n <= 0)
        return std::string();
      path.assign(buf, static_cast<size_t>(n));
    }
  }
  return path.substr(0, path.rfind('/'));
}

} // namespace

ClDynamicLibrary::~ClDynamicLibrary()
{
  // A raise from a destructor would end the process: the failure is logged instead.
  try {
    Unload();
  } catch (const ClException& e) {
    try {
      RDDebugOut(e.GetMessage());
    } catch (...) {
    }
  }
  // A module the system would not close stays with it; the name goes in any case.
  std::free(m_szFile);
}

void ClDynamicLibrary::Unload()
{
  if (!m_hModule)
    return;
  if (dlclose(m_hModule) != 0)
    LSKX2_THROW_AS(ClExDynamicLibraryLoadFail, m_szFile, eErrIo);
  m_hModule = nullptr;
  std::free(m_szFile);
  m_szFile = nullptr;
}

void ClDynamicLibrary::SetFile(const char* szFile)
{
  size_t n = std::strlen(szFile) + 1;
  char* p = static_cast<char*>(std::malloc(n));
  if (!p)
    throw ClExBadAlloc();
  std::memcpy(p, szFile, n);
  std::free(m_szFile);
  m_szFile = p;
}

ClDynamicLibraryLoader::~ClDynamicLibraryLoader() = default;

std::string ClDynamicLibraryLoader::SearchPath(const char* szSearchPath, const char* szFile)
{
  if (!szSearchPath || !szFile || !*szFile)
    return std::string();
  const char* p = szSearchPath;
  for (;;) {
    const char* end = std::strchr(p, ';');
    std::string dir(p, end ? static_cast<size_t>(end - p) : std::strlen(p));
    if (!dir.empty()) {
      std::string path = dir + '/' + szFile;
      if (path[0] != '/') {
        char cwd[4096];
        if (getcwd(cwd, sizeof(cwd)))
          path = std::string(cwd) + '/' + path;
      }
      // The list is tried in order; the first directory that holds the file wins.
      if (access(path.c_str(), F_OK) == 0)
        return path.size() < kMaxSearchResult ? path : std::string();
    }
    if (!end)
      return std::string();
    p = end + 1;
  }
}

void ClDynamicLibraryLoader::Load(const char* szSearchPath, const char* szFile)
{
  if (!szFile)
    LSKX2_THROW_AS(ClExDynamicLibraryLoadFail, "", eErrFileOpenFail);
  std::string found = SearchPath(szSearchPath, szFile);
  const char* name = found.empty() ? szFile : found.c_str();

  std::lock_guard<std::mutex> lock(m_Mutex);
  dlerror();
  void* h = dlopen(name, RTLD_NOW | RTLD_LOCAL);
  std::string loaded = name;
  if (!h && !std::strchr(name, '/')) {
    // Sanitizer runtimes interpose dlopen and so hide this module's RUNPATH ($ORIGIN)
    // from the loader; the module's own folder is what that entry would have given.
    std::string dir = OwnDirectory();
    if (!dir.empty()) {
      std::string beside = dir + '/' + name;
      if (access(beside.c_str(), F_OK) == 0 && (h = dlopen(beside.c_str(), RTLD_NOW | RTLD_LOCAL)))
        loaded = beside;
    }
  }
  if (!h)
    LSKX2_THROW_AS(ClExDynamicLibraryLoadFail, name, eErrFileOpenFail);
  m_hModule = h;
  SetFile(loaded.c_str());
  m_sLoadedName = loaded;
}

void ClDynamicLibraryLoader::Unload()
{
  std::lock_guard<std::mutex> lock(m_Mutex);
  ClDynamicLibrary::Unload();
  m_sLoadedName.clear();
}

void* ClDynamicLibraryLoader::LoadSymbol(const char* szName, bool bMandatory)
{
  dlerror();
  void* p = m_hModule ? dlsym(m_hModule, szName) : nullptr;
  if (!p && bMandatory)
    LSKX2_THROW_AS(ClExDynamicLibraryLoadFail, szName, eErrUnknownParameter);
  return p;
}

std::string ClDynamicLibraryLoader::LoadedName() const
{
  std::lock_guard<std::mutex> lock(m_Mutex);
  return m_sLoadedName;
}
