#include "device/VeltranoKX1Wrapper.h"

#include "base/Exceptions.h"
#include "base/RDLogging.h"

#include <chrono>
#include <dlfcn.h>
#include <memory>
#include <mutex>
#include <thread>

ClKXScanAPITable g_KXScanAPI = {};
std::atomic<bool> g_bKXDebugTrail{false};

std::atomic<ClVeltranoKX1Wrapper*> ClVeltranoKX1Wrapper::s_pInstance{nullptr};
std::atomic<void*> ClVeltranoKX1Wrapper::s_hPinned{nullptr};

namespace {

// Serialises creation and end; once published the binding is read without a lock.
std::mutex s_StartMutex;
// How long End waits for calls still inside the library.
constexpr int32_t kEndWaitMs = 5000;
bool s_bEnded = false;

// The binding lives until the process ends.
struct ClBindingOwner
{
  ~ClBindingOwner() { ClVeltranoKX1Wrapper::End(); }
} s_BindingOwner;

std::atomic<int32_t> s_nCallsInside{0};

} // namespace

// The count goes up before the binding is looked at, and End clears the binding before it
// reads the count (both sequentially consistent): a call either sees no binding or is
// waited for.
ClKXCall::ClKXCall()
{
  s_nCallsInside.fetch_add(1);
  if (ClVeltranoKX1Wrapper::s_pInstance.load())
    m_pTable = &g_KXScanAPI;
}

ClKXCall::~ClKXCall() { s_nCallsInside.fetch_sub(1); }

bool ClKXCall::WaitIdle(int32_t nMs)
{
  for (int32_t i = 0; s_nCallsInside.load() != 0; ++i) {
    if (i >= nMs)
      return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

void KXRaiseUnbound()
{
  LSKX2_THROW_MSG("KXScanAPI - device library not loaded", eErrNotInitialized);
}

void KXTrail(const char* szText)
{
  if (g_bKXDebugTrail.load(std::memory_order_relaxed))
    RDDebugOut(szText);
}

std::string KXJoinNumbers(const uint16_t* pNumbers, int nCount)
{
  if (nCount < 1 || nCount > 4)
    LSKX2_THROW(eErrParamOutOfRange);
  std::string s;
  for (int i = 0; i < nCount; ++i) {
    if (i)
      s += '.';
    s += std::to_string(pNumbers[i]);
  }
  return s;
}

ClVeltranoKX1Wrapper::ClVeltranoKX1Wrapper(const char* szSearchPath, const char* szFile)
{
  Load(szSearchPath, szFile);
  ResolveTable();
  if (g_KXScanAPI.ftrScanGlobalSetOptions) {
    uint32_t nZero = 0;
    g_KXScanAPI.ftrScanGlobalSetOptions(1, &nZero);
  }
  Pin();
}

ClVeltranoKX1Wrapper::~ClVeltranoKX1Wrapper() = default;

void ClVeltranoKX1Wrapper::ResolveTable()
{
  ClKXScanAPITable& t = g_KXScanAPI;
#define LSKX2_KX_BIND(name, mandatory, result, args) BindSymbol(t.name, #name, mandatory);
  LSKX2_KX_ENTRY_POINTS(LSKX2_KX_BIND)
#undef LSKX2_KX_BIND
}

void ClVeltranoKX1Wrapper::Pin()
{
  if (s_hPinned.load(std::memory_order_acquire))
    return;
  if (g_KXScanAPI.ftrScanGetVersion) {
    KXVersionInfo v = {};
    v.nStructSize = sizeof(v);
    if (g_KXScanAPI.ftrScanGetVersion(nullptr, &v) && v.Library.aNumber[0] >= 10)
      return;
  }
  // Older libraries must never leave the process once loaded; this handle is never
  // released. Its result is not tested: the wrapper's own load stands either way.
  s_hPinned.store(dlopen(LoadedName().c_str(), RTLD_NOW | RTLD_LOCAL), std::memory_order_release);
}

void ClVeltranoKX1Wrapper::Start()
{
  if (Instance())
    return;
  std::lock_guard<std::mutex> lock(s_StartMutex);
  if (Instance())
    return;
  if (s_bEnded)
    KXRaiseUnbound();
  std::unique_ptr<ClVeltranoKX1Wrapper> p(new ClVeltranoKX1Wrapper(nullptr, szLibraryFile));
  // No embedded edition of the system exists here, so the library's power event handling
  // (ftrScanChangeSystemNotification) is left as it is.
  if (g_bKXDebugTrail.load(std::memory_order_relaxed) && g_KXScanAPI.ftrScanGetVersion) {
    KXVersionInfo v = {};
    v.nStructSize = sizeof(v);
    g_KXScanAPI.ftrScanGetVersion(nullptr, &v);
    KXTrail(("KXScanAPI: " + KXJoinNumbers(v.Library.aNumber, 4) + "\n").c_str());
  }
  s_pInstance.store(p.release(), std::memory_order_release);
}

void ClVeltranoKX1Wrapper::End()
{
  std::lock_guard<std::mutex> lock(s_StartMutex);
  s_bEnded = true;
  ClVeltranoKX1Wrapper* p = s_pInstance.exchange(nullptr);
  // A call stuck in the library keeps it loaded for good: better than unmapping code
  // under a running thread at exit.
  if (!ClKXCall::WaitIdle(kEndWaitMs))
    return;
  g_KXScanAPI = ClKXScanAPITable{};
  delete p;
}
