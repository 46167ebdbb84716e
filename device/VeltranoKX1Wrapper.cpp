#include "device/VeltranoKX1Wrapper.h"

#include "base/Exceptions.h"
#include "base/RDLogging.h"

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
  // Entries nothing calls still refuse the library when absent: they mark the oldest
  // library version this system works with.
  BindSymbol(t.ftrScanOpenDevice, "ftrScanOpenDevice");
  BindSymbol(t.ftrScanOpenDeviceOnInterface, "ftrScanOpenDeviceOnInterface");
  BindSymbol(t.ftrScanCloseDevice, "ftrScanCloseDevice");
  BindSymbol(t.ftrScanSetOptions, "ftrScanSetOptions");
  BindSymbol(t.ftrScanGetOptions, "ftrScanGetOptions");
  BindSymbol(t.ftrScanGetDeviceInfo, "ftrScanGetDeviceInfo");
  BindSymbol(t.ftrScanGetInterfaces, "ftrScanGetInterfaces");
  BindSymbol(t.ftrSetBaseInterface, "ftrSetBaseInterface");
  BindSymbol(t.ftrGetBaseInterfaceNumber, "ftrGetBaseInterfaceNumber");
  BindSymbol(t.ftrScanGetFakeReplicaInterval, "ftrScanGetFakeReplicaInterval");
  BindSymbol(t.ftrScanSetFakeReplicaInterval, "ftrScanSetFakeReplicaInterval");
  BindSymbol(t.ftrScanGetLFDParameters, "ftrScanGetLFDParameters");
  BindSymbol(t.ftrScanSetLFDParameters, "ftrScanSetLFDParameters");
  BindSymbol(t.ftrScanGetImageSize, "ftrScanGetImageSize");
  BindSymbol(t.ftrScanGetImage, "ftrScanGetImage");
  BindSymbol(t.ftrScanGetFuzzyImage, "ftrScanGetFuzzyImage");
  BindSymbol(t.ftrScanGetBacklightImage, "ftrScanGetBacklightImage");
  BindSymbol(t.ftrScanGetDarkImage, "ftrScanGetDarkImage");
  BindSymbol(t.ftrScanGetImageByVariableDose, "ftrScanGetImageByVariableDose");
  BindSymbol(t.ftrScanIsFingerPresent, "ftrScanIsFingerPresent");
  BindSymbol(t.ftrScanGetFrame, "ftrScanGetFrame");
  BindSymbol(t.ftrScanSetDiodesStatus, "ftrScanSetDiodesStatus");
  BindSymbol(t.ftrScanGetSerialNumber, "ftrScanGetSerialNumber");

  BindSymbol(t.ftrScanGetVersion, "ftrScanGetVersion", false);
  BindSymbol(t.ftrScanGetExtMemorySize, "ftrScanGetExtMemorySize", false);
  BindSymbol(t.ftrScanSaveExtMemory, "ftrScanSaveExtMemory", false);
  BindSymbol(t.ftrScanRestoreExtMemory, "ftrScanRestoreExtMemory", false);
  BindSymbol(t.ftrScanGetLastError, "ftrScanGetLastError", false);
  BindSymbol(t.ftrSetLoggingFacilityLevel, "ftrSetLoggingFacilityLevel", false);
  BindSymbol(t.ftrScanGetRawImageSize, "ftrScanGetRawImageSize", false);
  BindSymbol(t.ftrScanGetRawImageByVariableDose, "ftrScanGetRawImageByVariableDose", false);
  BindSymbol(t.ftrScanRollStart, "ftrScanRollStart", false);
  BindSymbol(t.ftrScanRollStarWithVariableDose, "ftrScanRollStarWithVariableDose", false);
  BindSymbol(t.ftrScanRollAbort, "ftrScanRollAbort", false);
  BindSymbol(t.ftrScanRollGetImage, "ftrScanRollGetImage", false);
  BindSymbol(t.ftrScanRollGetFrameParameters, "ftrScanRollGetFrameParameters", false);
  BindSymbol(t.ftrScanGetImage2, "ftrScanGetImage2", false);
  BindSymbol(t.ftrScanSave7ControlBytes, "ftrScanSave7ControlBytes", false);
  BindSymbol(t.ftrScanRestore7ControlBytes, "ftrScanRestore7ControlBytes", false);
  BindSymbol(t.ftrScanChangeSystemNotification, "ftrScanChangeSystemNotification", false);
  BindSymbol(t.ftrScanControlPin3, "ftrScanControlPin3", false);
  BindSymbol(t.ftrScanGlobalSetOptions, "ftrScanGlobalSetOptions", false);
  BindSymbol(t.ftrScanSaveSerialNumber, "ftrScanSaveSerialNumber", false);
  BindSymbol(t.ftrScanGetImageSizes, "ftrScanGetImageSizes", false);
  BindSymbol(t.ftrScanGetImageOfSpecificSize, "ftrScanGetImageOfSpecificSize", false);
  BindSymbol(t.ftrScanGetImageOfSpecificSize2, "ftrScanGetImageOfSpecificSize2", false);
  BindSymbol(t.ftrScanOpenDeviceWithIoContext, "ftrScanOpenDeviceWithIoContext", false);
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
  ClVeltranoKX1Wrapper* p = s_pInstance.exchange(nullptr, std::memory_order_acq_rel);
  g_KXScanAPI = ClKXScanAPITable{};
  delete p;
}
