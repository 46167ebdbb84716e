#pragma once
// Run-time loading of closed libraries: a module and its file name, and a loader that
// finds the file along a search path and fetches entry points into a table.
#include <mutex>
#include <string>

class ClDynamicLibrary
{
public:
  ClDynamicLibrary() = default;
  ClDynamicLibrary(const ClDynamicLibrary&) = delete;
  ClDynamicLibrary& operator=(const ClDynamicLibrary&) = delete;
  // Unloads; a failing dlclose is logged, never raised.
  virtual ~ClDynamicLibrary();

protected:
  // Frees the module and forgets the name; -204 if the system refuses.
  void Unload();
  // Keeps an owned copy of the name; -102 if that copy cannot be made.
  void SetFile(const char* szFile);

  void* m_hModule = nullptr;
  char* m_szFile = nullptr;
};

class ClDynamicLibraryLoader : private ClDynamicLibrary
{
public:
  // Longest full path the search may yield; a longer one counts as not found.
  static constexpr int32_t kMaxSearchResult = 260;

  ClDynamicLibraryLoader() = default;
  ~ClDynamicLibraryLoader() override;

  // Finds szFile in the semicolon-separated szSearchPath (null: no search), else leaves
  // it to the system's own search, and loads it: -200 if the system cannot.
  void Load(const char* szSearchPath, const char* szFile);
  void Unload();
  // Mandatory form raises -206 with the entry's name; the optional form gives null.
  void* LoadSymbol(const char* szName, bool bMandatory = true);
  // LoadSymbol into a typed entry of a function table.
  template <class TpEntry>
  void BindSymbol(TpEntry& entry, const char* szName, bool bMandatory = true)
  {
    entry = reinterpret_cast<TpEntry>(LoadSymbol(szName, bMandatory));
  }

  bool IsLoaded() const { return m_hModule != nullptr; }
  // The name the module was loaded by: the search result or the file as given.
  std::string LoadedName() const;

  // The search alone: the full path found in szSearchPath, or an empty text.
  static std::string SearchPath(const char* szSearchPath, const char* szFile);

private:
  mutable std::mutex m_Mutex;
  std::string m_sLoadedName;
};
