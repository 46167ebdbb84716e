#pragma once
// A built library opened by path, as the SDK's loader would, its entry points reached by
// name. By full path: sanitizer runtimes hide the test's RUNPATH from dlopen.
#include <dlfcn.h>

#include <stdexcept>
#include <string>

class ClLib
{
public:
  explicit ClLib(const std::string& sPath) : m_hLib(dlopen(sPath.c_str(), RTLD_NOW | RTLD_LOCAL))
  {
    if (!m_hLib)
      throw std::runtime_error(dlerror());
  }
  ~ClLib() { dlclose(m_hLib); }
  ClLib(const ClLib&) = delete;
  ClLib& operator=(const ClLib&) = delete;

  void* Raw(const char* szName) const { return dlsym(m_hLib, szName); }
  template <class TpFn>
  TpFn Fn(const char* szName) const
  {
    void* p = dlsym(m_hLib, szName);
    if (!p)
      throw std::runtime_error(std::string("missing entry ") + szName);
    return reinterpret_cast<TpFn>(p);
  }

private:
  void* m_hLib;
};
