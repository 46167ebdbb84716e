#include "device/VeltranoKX1Wrapper.h"

#include "sdk/base/Exceptions.h"
#include "sdk/base/RDLogging.h"

#include <dlfcn.h>
#include <memory>
#include <mutex>

ClKXScanAPITable g_KXScanAPI = {};
std::atomic<bool> g_bKXDebugTrail{false};

std::atomic<ClVeltranoKX1Wrapper*> ClVeltranoKX1Wrapper::s_pInstance{nullptr};
std::atomic<void*> ClVeltranoKX1Wrapper::s_hPinned{nullptr};

namespace {

// Serialises creation and end; once published the binding is read without a lock.
std::mutex s_StartMutex;
bool s_bEnded = false;

// The binding lives until the process ends.
struct ClBindingOwner
{
  ~ClBindingOwner() { ClVeltranoKX1Wrapper::End(); }
} s_BindingOwner;

} // namespace

void KXRaiseUnbound()
{
  LSKX2_THROW_MSG("KXScanAPI - device library not loaded", -2);
}

void KXTrail(const char* szText)
{
  if (g_bKXDebugTrail.load(std::memory_order_relaxed))
    RDDebugOut(szText);
}

std::string KXJoinNumbers(const uint16_t* pNumbers, int nCount)
{
  if (nCount < 1 || nCount > 4)
    LSKX2_THROW(-35);
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

namespace {
template <class TpEntry>
void Bind(ClDynamicLibraryLoader& loader, TpEntry& slot, const char* szName, bool bMandatory)
{
  slot = reinterpret_cast<TpEntry>(loader.LoadSymbol(szName, bMandatory));
}
} // namespace

void ClVeltranoKX1Wrapper::ResolveTable()
{
  ClKXScanAPITable& t = g_KXScanAPI;
  // Entries nothing calls still refuse the library when absent: they mark the oldest
  // library version this system works with.
  Bind(*this, t.ftrScanOpenDevice, "ftrScanOpenDevice", true);
  Bind(*this, t.ftrScanOpenDeviceOnInterface, "ftrScanOpenDeviceOnInterface", true);
  Bind(*this, t.ftrScanCloseDevice, "ftrScanCloseDevice", true);
  Bind(*this, t.ftrScanSetOptions, "ftrScanSetOptions", true);
  Bind(*this, t.ftrScanGetOptions, "ftrScanGetOptions", true);
  Bind(*this, t.ftrScanGetDeviceInfo, "ftrScanGetDeviceInfo", true);
  Bind(*this, t.ftrScanGetInterfaces, "ftrScanGetInterfaces", true);
  Bind(*this, t.ftrSetBaseInterface, "ftrSetBaseInterface", true);
  Bind(*this, t.ftrGetBaseInterfaceNumber, "ftrGetBaseInterfaceNumber", true);
  Bind(*this, t.ftrScanGetFakeReplicaInterval, "ftrScanGetFakeReplicaInterval", true);
  Bind(*this, t.ftrScanSetFakeReplicaInterval, "ftrScanSetFakeReplicaInterval", true);
  Bind(*this, t.ftrScanGetLFDParameters, "ftrScanGetLFDParameters", true);
  Bind(*this, t.ftrScanSetLFDParameters, "ftrScanSetLFDParameters", true);
  Bind(*this, t.ftrScanGetImageSize, "ftrScanGetImageSize", true);
  Bind(*this, t.ftrScanGetImage, "ftrScanGetImage", true);
  Bind(*this, t.ftrScanGetFuzzyImage, "ftrScanGetFuzzyImage", true);
  Bind(*this, t.ftrScanGetBacklightImage, "ftrScanGetBacklightImage", true);
  Bind(*this, t.ftrScanGetDarkImage, "ftrScanGetDarkImage", true);
  Bind(*this, t.ftrScanGetImageByVariableDose, "ftrScanGetImageByVariableDose", true);
  Bind(*this, t.ftrScanIsFingerPresent, "ftrScanIsFingerPresent", true);
  Bind(*this, t.ftrScanGetFrame, "ftrScanGetFrame", true);
  Bind(*this, t.ftrScanSetDiodesStatus, "ftrScanSetDiodesStatus", true);
  Bind(*this, t.ftrScanGetSerialNumber, "ftrScanGetSerialNumber", true);

  Bind(*this, t.ftrScanGetVersion, "ftrScanGetVersion", false);
  Bind(*this, t.ftrScanGetExtMemorySize, "ftrScanGetExtMemorySize", false);
  Bind(*this, t.ftrScanSaveExtMemory, "ftrScanSaveExtMemory", false);
  Bind(*this, t.ftrScanRestoreExtMemory, "ftrScanRestoreExtMemory", false);
  Bind(*this, t.ftrScanGetLastError, "ftrScanGetLastError", false);
  Bind(*this, t.ftrSetLoggingFacilityLevel, "ftrSetLoggingFacilityLevel", false);
  Bind(*this, t.ftrScanGetRawImageSize, "ftrScanGetRawImageSize", false);
  Bind(*this, t.ftrScanGetRawImageByVariableDose, "ftrScanGetRawImageByVariableDose", false);
  Bind(*this, t.ftrScanRollStart, "ftrScanRollStart", false);
  Bind(*this, t.ftrScanRollStarWithVariableDose, "ftrScanRollStarWithVariableDose", false);
  Bind(*this, t.ftrScanRollAbort, "ftrScanRollAbort", false);
  Bind(*this, t.ftrScanRollGetImage, "ftrScanRollGetImage", false);
  Bind(*this, t.ftrScanRollGetFrameParameters, "ftrScanRollGetFrameParameters", false);
  Bind(*this, t.ftrScanGetImage2, "ftrScanGetImage2", false);
  Bind(*this, t.ftrScanSave7ControlBytes, "ftrScanSave7ControlBytes", false);
  Bind(*this, t.ftrScanRestore7ControlBytes, "ftrScanRestore7ControlBytes", false);
  Bind(*this, t.ftrScanChangeSystemNotification, "ftrScanChangeSystemNotification", false);
  Bind(*this, t.ftrScanControlPin3, "ftrScanControlPin3", false);
  Bind(*this, t.ftrScanGlobalSetOptions, "ftrScanGlobalSetOptions", false);
  Bind(*this, t.ftrScanSaveSerialNumber, "ftrScanSaveSerialNumber", false);
  Bind(*this, t.ftrScanGetImageSizes, "ftrScanGetImageSizes", false);
  Bind(*this, t.ftrScanGetImageOfSpecificSize, "ftrScanGetImageOfSpecificSize", false);
  Bind(*this, t.ftrScanGetImageOfSpecificSize2, "ftrScanGetImageOfSpecificSize2", false);
  Bind(*this, t.ftrScanOpenDeviceWithIoContext, "ftrScanOpenDeviceWithIoContext", false);
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
  s_hPinned.store(dlopen(LoadedName().c_str(), RTLD_NOW | RTLD_LOCAL),
                  std::memory_order_release);
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
  ClVeltranoKX1Wrapper* p = s_pInstance.exchange(nullptr, std::memory_order_acq_rel);
  g_KXScanAPI = ClKXScanAPITable{};
  delete p;
}
