// The exported entry points of the simulated device library and its kxsim inspection
// exports. Compile definitions leave entries out or change the reported version, so that
// the loader's edge cases can be built from the same source:
//   KXSIM_NO_GETFRAME       no ftrScanGetFrame (a mandatory entry missing)
//   KXSIM_NO_LASTERROR      no ftrScanGetLastError
//   KXSIM_NO_VERSION        no ftrScanGetVersion
//   KXSIM_NO_CONTROL_BYTES  no ftrScanSave7ControlBytes, ftrScanRestore7ControlBytes
//   KXSIM_NO_IO_CONTEXT     no ftrScanOpenDeviceWithIoContext
//   KXSIM_LIB_MAJOR=n       library version n.0.0.1 (default 10)
#include "simulator/device/ScanApiRecords.h"
#include "simulator/device/SimLibrary.h"
#include "simulator/device/SimReplay.h"
#include "simulator/kxsim.h"
#include "simulator/render/DisplacementField.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstring>
#include <string>
#include <thread>

#ifndef KXSIM_LIB_MAJOR
#define KXSIM_LIB_MAJOR 10
#endif

#define KXSIM_API extern "C" __attribute__((visibility("default")))

using namespace kxsim;

namespace {

// Static TLS: the library is loaded at run time and may be unloaded again, and a dynamic
// TLS block of an unloaded library trips up leak checkers that scan thread storage.
thread_local uint32_t t_nLastError __attribute__((tls_model("initial-exec"))) = 0;

constexpr std::array<uint16_t, 4> kBuildVersion{{KXSIM_LIB_MAJOR, 0, 0, 1}};
std::atomic<bool> g_bUnloaded{false};

// The state goes with the library, at unloading or at exit, so that nothing it holds is
// left behind.
struct ClLibraryHolder
{
  ClSimLibrary lib{kBuildVersion};
  ~ClLibraryHolder() { g_bUnloaded.store(true); }
};

ClSimLibrary& Lib()
{
  static ClLibraryHolder holder;
  if (!g_bUnloaded.load(std::memory_order_relaxed))
    return holder.lib;
  // Another library's exit handler calling in after ours ran: a fresh state serves it.
  static ClSimLibrary* late = new ClSimLibrary(kBuildVersion);
  return *late;
}

int Fail(uint32_t nError)
{
  t_nLastError = nError;
  return 0;
}

int Succeed()
{
  t_nLastError = kErrNone;
  return 1;
}

// An entry the system never uses: present, and refusing.
int Unsupported(EEntry e)
{
  Lib().CountCall(e);
  return Fail(kErrNotSupported);
}

// A call on an open device: resolves the handle, locks the device, applies scripted
// faults. Error() is 0 when the call may go ahead.
class ClDeviceCall
{
public:
  ClDeviceCall(void* h, EEntry e)
  {
    Lib().CountCall(e);
    m_pDevice = Lib().Resolve(h);
    if (!m_pDevice) {
      m_nError = kErrInvalidHandle;
      return;
    }
    m_Lock = std::unique_lock<std::mutex>(m_pDevice->Mutex());
    const uint32_t fault = m_pDevice->Fault(e);
    if (!m_pDevice->Connected())
      m_nError = kErrBusy;
    else
      m_nError = fault;
  }
  uint32_t Error() const { return m_nError; }
  ClSimDevice& Device() { return *m_pDevice; }
  void Unlock() { m_Lock.unlock(); }

private:
  std::shared_ptr<ClSimDevice> m_pDevice;
  std::unique_lock<std::mutex> m_Lock;
  uint32_t m_nError = 0;
};

void* Open(int nInterface, EEntry e)
{
  Lib().CountCall(e);
  if (nInterface < 0 || nInterface >= kInterfaceCount) {
    Fail(kErrInvalidParameter);
    return nullptr;
  }
  const bool busy = Lib().Busy(nInterface);
  std::shared_ptr<ClSimDevice> d = Lib().DeviceOn(nInterface);
  if (!d) {
    Fail(busy ? kErrBusy : kErrNoDevice);
    return nullptr;
  }
  {
    std::lock_guard<std::mutex> lock(d->Mutex());
    const uint32_t fault = d->Fault(e);
    uint32_t err = 0;
    if (!d->Connected())
      err = kErrNoDevice;
    else if (busy)
      err = kErrBusy;
    else if (fault)
      err = fault;
    else if (d->Config().nOpenError)
      err = d->Config().nOpenError;
    if (err) {
      Fail(err);
      return nullptr;
    }
    d->AddHandle(1);
  }
  void* h = Lib().AddHandle(d);
  Succeed();
  return h;
}

int Image(void* h, int nDose, void* pBuffer, bool bRaw, EEntry e)
{
  const auto start = std::chrono::steady_clock::now();
  const int nIntervalMs = Lib().FrameIntervalMs();
  const bool bAsRecorded = !Lib().FrameIntervalGiven(); // a replay keeps the recorded pace
  std::chrono::steady_clock::time_point due = start;    // when the frame is delivered
  {
    ClDeviceCall call(h, e);
    if (call.Error())
      return Fail(call.Error());
    if (!pBuffer)
      return Fail(kErrInvalidParameter);
    ClSimDevice& d = call.Device();
    const uint32_t err = d.Image(bRaw, nDose & 0xFF, static_cast<uint8_t*>(pBuffer));
    if (err)
      return Fail(err);
    const ClReplayFrame* f = d.Replayed();
    if (f && bAsRecorded) {
      // Frames of a replay come as far apart as they came when recorded.
      auto& last = d.ReplayedAt();
      const auto gap = std::chrono::microseconds(f->nGapUs);
      due = last.time_since_epoch().count() ? std::max(last + gap, start) : start + gap;
      last = due;
    } else {
      // An exposure takes its time; the device lock is not held while waiting.
      due = start + std::chrono::milliseconds(std::max(
                        0, d.Config().script.TimingAt(d.Frames() - 1).IntervalMs(nIntervalMs)));
    }
    // The frame's time; a replay's frames in order have the time the recording was told.
    int64_t t = Lib().ClockMicroseconds(due) + d.ClockOffset();
    if (f && bAsRecorded && d.ReplayedInOrder()) {
      d.ClockOffset() += f->nTimeUs - t;
      t = f->nTimeUs;
    }
    d.FrameTime() = std::max(t, d.FrameTime());
    Lib().SetLastFrameTime(d.FrameTime());
  }
  std::this_thread::sleep_until(due);
  return Succeed();
}

int ImageSize(void* h, void* pRecord, bool bRaw, EEntry e)
{
  ClDeviceCall call(h, e);
  if (call.Error())
    return Fail(call.Error());
  if (!pRecord)
    return Fail(kErrInvalidParameter);
  const ClDeviceConfig& c = call.Device().Config();
  ClImageSizeRecord r;
  r.nWidth = bRaw ? c.nRawWidth : c.nNormalWidth;
  r.nHeight = bRaw ? c.nRawHeight : c.nNormalHeight;
  r.nImageSize = int32_t(call.Device().ImageBytes(bRaw));
  std::memcpy(pRecord, &r, sizeof r);
  return Succeed();
}

int Memory(void* h, void* pBuffer, int nOffset, int nLength, bool bSave, EEntry e)
{
  ClDeviceCall call(h, e);
  if (call.Error())
    return Fail(call.Error());
  if (!call.Device().Config().ext.bPresent)
    return Fail(kErrNotSupported);
  std::vector<uint8_t>& m = call.Device().Memory();
  if (!pBuffer || nOffset < 0 || nLength < 0 || size_t(nOffset) + size_t(nLength) > m.size())
    return Fail(kErrInvalidParameter);
  if (bSave)
    std::memcpy(m.data() + nOffset, pBuffer, size_t(nLength));
  else
    std::memcpy(pBuffer, m.data() + nOffset, size_t(nLength));
  return Succeed();
}

std::shared_ptr<ClSimDevice> Inspect(int nInterface)
{
  return nInterface >= 0 && nInterface < kInterfaceCount ? Lib().DeviceOn(nInterface) : nullptr;
}

} // namespace

// ---- Mandatory entries ----------------------------------------------------------------

KXSIM_API void* ftrScanOpenDevice()
{
  Unsupported(EEntry::eOpenDevice);
  return nullptr;
}

KXSIM_API void* ftrScanOpenDeviceOnInterface(int nInterface)
{
  return Open(nInterface, EEntry::eOpenDeviceOnInterface);
}

KXSIM_API int ftrScanCloseDevice(void* h)
{
  Lib().CountCall(EEntry::eCloseDevice);
  std::shared_ptr<ClSimDevice> d = Lib().RemoveHandle(h);
  if (!d)
    return Fail(kErrInvalidHandle);
  std::lock_guard<std::mutex> lock(d->Mutex());
  d->AddHandle(-1);
  return Succeed();
}

KXSIM_API int ftrScanSetOptions(void* h, uint32_t nMask, uint32_t nFlags)
{
  ClDeviceCall call(h, EEntry::eSetOptions);
  if (call.Error())
    return Fail(call.Error());
  call.Device().SetOptions(nMask, nFlags);
  return Succeed();
}

KXSIM_API int ftrScanGetOptions(void*, uint32_t*) { return Unsupported(EEntry::eGetOptions); }

KXSIM_API int ftrScanGetDeviceInfo(void* h, void* pRecord)
{
  ClDeviceCall call(h, EEntry::eGetDeviceInfo);
  if (call.Error())
    return Fail(call.Error());
  if (!pRecord)
    return Fail(kErrInvalidParameter);
  ClDeviceInfoRecord r;
  std::memcpy(&r.nSize, pRecord, sizeof r.nSize);
  if (r.nSize < sizeof r)
    return Fail(kErrInvalidParameter);
  const ClDeviceConfig& c = call.Device().Config();
  if (c.nInfoError)
    return Fail(c.nInfoError);
  r.nCompatibility = uint8_t(c.nCompatibility);
  r.nPixelSizeX = uint16_t(c.nPixelSizeX);
  r.nPixelSizeY = uint16_t(c.nPixelSizeY);
  std::memcpy(pRecord, &r, sizeof r);
  return Succeed();
}

KXSIM_API int ftrScanGetInterfaces(uint32_t* pList)
{
  Lib().CountCall(EEntry::eGetInterfaces);
  if (!Lib().Usable())
    return Fail(kErrInvalidData);
  if (const uint32_t fault = Lib().GlobalFault(EEntry::eGetInterfaces))
    return Fail(fault);
  if (!pList)
    return Fail(kErrInvalidParameter);
  Lib().Interfaces(pList);
  return Succeed();
}

KXSIM_API int ftrSetBaseInterface(int) { return Unsupported(EEntry::eSetBaseInterface); }
KXSIM_API int ftrGetBaseInterfaceNumber() { return Unsupported(EEntry::eGetBaseInterfaceNumber); }
KXSIM_API int ftrScanGetFakeReplicaInterval(uint64_t*, uint64_t*)
{
  return Unsupported(EEntry::eGetFakeReplicaInterval);
}
KXSIM_API int ftrScanSetFakeReplicaInterval(uint64_t, uint64_t)
{
  return Unsupported(EEntry::eSetFakeReplicaInterval);
}
KXSIM_API int ftrScanGetLFDParameters(void*) { return Unsupported(EEntry::eGetLFDParameters); }
KXSIM_API int ftrScanSetLFDParameters(void*) { return Unsupported(EEntry::eSetLFDParameters); }

KXSIM_API int ftrScanGetImageSize(void* h, void* pRecord)
{
  return ImageSize(h, pRecord, false, EEntry::eGetImageSize);
}

KXSIM_API int ftrScanGetImage(void* h, int nDose, void* pBuffer)
{
  return Image(h, nDose, pBuffer, false, EEntry::eGetImage);
}

KXSIM_API int ftrScanGetFuzzyImage(void*, void*) { return Unsupported(EEntry::eGetFuzzyImage); }
KXSIM_API int ftrScanGetBacklightImage(void*, void*)
{
  return Unsupported(EEntry::eGetBacklightImage);
}
KXSIM_API int ftrScanGetDarkImage(void*, void*) { return Unsupported(EEntry::eGetDarkImage); }
KXSIM_API int ftrScanGetImageByVariableDose(void*, int, void*)
{
  return Unsupported(EEntry::eGetImageByVariableDose);
}
KXSIM_API int ftrScanIsFingerPresent(void*, void*) { return Unsupported(EEntry::eIsFingerPresent); }
#ifndef KXSIM_NO_GETFRAME
KXSIM_API int ftrScanGetFrame(void*, void*, void*) { return Unsupported(EEntry::eGetFrame); }
#endif

KXSIM_API int ftrScanSetDiodesStatus(void* h, uint8_t nStatus1, uint8_t nStatus2)
{
  ClDeviceCall call(h, EEntry::eSetDiodesStatus);
  if (call.Error())
    return Fail(call.Error());
  call.Device().SetDiodes(nStatus1, nStatus2);
  return Succeed();
}

KXSIM_API int ftrScanGetSerialNumber(void* h, void* pBuffer)
{
  ClDeviceCall call(h, EEntry::eGetSerialNumber);
  if (call.Error())
    return Fail(call.Error());
  if (!pBuffer)
    return Fail(kErrInvalidParameter);
  const std::vector<uint8_t>& s = call.Device().Config().aSerial;
  std::memcpy(pBuffer, s.data(), s.size());
  return Succeed();
}

// ---- Optional entries -----------------------------------------------------------------

#ifndef KXSIM_NO_VERSION
KXSIM_API int ftrScanGetVersion(void* h, void* pRecord)
{
  ClVersionRecord r;
  std::memset(&r, 0, sizeof r);
  if (!h) {
    // The library alone.
    Lib().CountCall(EEntry::eGetVersion);
    if (const uint32_t fault = Lib().GlobalFault(EEntry::eGetVersion))
      return Fail(fault);
    if (!pRecord)
      return Fail(kErrInvalidParameter);
    std::memcpy(&r.nSize, pRecord, sizeof r.nSize);
    if (r.nSize < sizeof r)
      return Fail(kErrInvalidParameter);
    const std::array<uint16_t, 4> lib = Lib().LibraryVersion();
    std::memcpy(r.aLibrary, lib.data(), sizeof r.aLibrary);
    std::memcpy(pRecord, &r, sizeof r);
    return Succeed();
  }
  ClDeviceCall call(h, EEntry::eGetVersion);
  if (call.Error())
    return Fail(call.Error());
  if (!pRecord)
    return Fail(kErrInvalidParameter);
  std::memcpy(&r.nSize, pRecord, sizeof r.nSize);
  if (r.nSize < sizeof r)
    return Fail(kErrInvalidParameter);
  const ClDeviceConfig& c = call.Device().Config();
  std::memcpy(r.aLibrary, c.aLibrary.data(), sizeof r.aLibrary);
  std::memcpy(r.aHardware, c.aHardware.data(), sizeof r.aHardware);
  std::memcpy(r.aFirmware, c.aFirmware.data(), sizeof r.aFirmware);
  std::memcpy(pRecord, &r, sizeof r);
  return Succeed();
}
#endif

KXSIM_API int ftrScanGetExtMemorySize(void* h, int32_t* pnSize)
{
  ClDeviceCall call(h, EEntry::eGetExtMemorySize);
  if (call.Error())
    return Fail(call.Error());
  if (!pnSize)
    return Fail(kErrInvalidParameter);
  const ClExtMemoryConfig& ext = call.Device().Config().ext;
  if (!ext.bPresent)
    return Fail(kErrNotSupported);
  *pnSize = ext.bReportSize ? ext.nReportedSize : int32_t(call.Device().Memory().size());
  return Succeed();
}

KXSIM_API int ftrScanSaveExtMemory(void* h, void* pBuffer, int nOffset, int nLength)
{
  return Memory(h, pBuffer, nOffset, nLength, true, EEntry::eSaveExtMemory);
}

KXSIM_API int ftrScanRestoreExtMemory(void* h, void* pBuffer, int nOffset, int nLength)
{
  return Memory(h, pBuffer, nOffset, nLength, false, EEntry::eRestoreExtMemory);
}

#ifndef KXSIM_NO_LASTERROR
KXSIM_API uint32_t ftrScanGetLastError()
{
  Lib().CountCall(EEntry::eGetLastError);
  return t_nLastError;
}
#endif

KXSIM_API int ftrSetLoggingFacilityLevel(uint32_t)
{
  return Unsupported(EEntry::eSetLoggingFacilityLevel);
}

KXSIM_API int ftrScanGetRawImageSize(void* h, void* pRecord)
{
  return ImageSize(h, pRecord, true, EEntry::eGetRawImageSize);
}

KXSIM_API int ftrScanGetRawImageByVariableDose(void* h, int nDose, void* pBuffer)
{
  return Image(h, nDose, pBuffer, true, EEntry::eGetRawImageByVariableDose);
}

KXSIM_API int ftrScanRollStart(void*) { return Unsupported(EEntry::eRollStart); }
KXSIM_API int ftrScanRollStarWithVariableDose(void*, int)
{
  return Unsupported(EEntry::eRollStarWithVariableDose);
}
KXSIM_API int ftrScanRollAbort(void*, int) { return Unsupported(EEntry::eRollAbort); }
KXSIM_API int ftrScanRollGetImage(void*, void*, uint32_t)
{
  return Unsupported(EEntry::eRollGetImage);
}
KXSIM_API int ftrScanRollGetFrameParameters(void*, void*, uint32_t)
{
  return Unsupported(EEntry::eRollGetFrameParameters);
}
KXSIM_API int ftrScanGetImage2(void*, int, void*) { return Unsupported(EEntry::eGetImage2); }

#ifndef KXSIM_NO_CONTROL_BYTES
KXSIM_API int ftrScanSave7ControlBytes(void* h, void* pBlock, int nFlag)
{
  ClDeviceCall call(h, EEntry::eSave7ControlBytes);
  if (call.Error())
    return Fail(call.Error());
  if (!pBlock)
    return Fail(kErrInvalidParameter);
  std::memcpy(call.Device().Control().data(), pBlock, kControlBytes);
  call.Device().SetControlFlag(nFlag);
  return Succeed();
}

KXSIM_API int ftrScanRestore7ControlBytes(void* h, void* pBlock)
{
  ClDeviceCall call(h, EEntry::eRestore7ControlBytes);
  if (call.Error())
    return Fail(call.Error());
  if (!pBlock)
    return Fail(kErrInvalidParameter);
  std::memcpy(pBlock, call.Device().Control().data(), kControlBytes);
  return Succeed();
}
#endif

KXSIM_API int ftrScanChangeSystemNotification(uint32_t, uint32_t)
{
  Lib().CountCall(EEntry::eChangeSystemNotification);
  if (const uint32_t fault = Lib().GlobalFault(EEntry::eChangeSystemNotification))
    return Fail(fault);
  return Succeed();
}

KXSIM_API int ftrScanControlPin3(void*, void*, void*) { return Unsupported(EEntry::eControlPin3); }

KXSIM_API int ftrScanGlobalSetOptions(int32_t nOption, void* pValue)
{
  Lib().CountCall(EEntry::eGlobalSetOptions);
  if (const uint32_t fault = Lib().GlobalFault(EEntry::eGlobalSetOptions))
    return Fail(fault);
  if (!pValue)
    return Fail(kErrInvalidParameter);
  uint32_t value;
  std::memcpy(&value, pValue, sizeof value);
  Lib().SetGlobalOption(nOption, value);
  return Succeed();
}

KXSIM_API int ftrScanSaveSerialNumber(void*, void*)
{
  return Unsupported(EEntry::eSaveSerialNumber);
}
KXSIM_API int ftrScanGetImageSizes(void*, void*, void*)
{
  return Unsupported(EEntry::eGetImageSizes);
}
KXSIM_API int ftrScanGetImageOfSpecificSize(void*, int, void*, void*)
{
  return Unsupported(EEntry::eGetImageOfSpecificSize);
}
KXSIM_API int ftrScanGetImageOfSpecificSize2(void*, int, void*, void*)
{
  return Unsupported(EEntry::eGetImageOfSpecificSize2);
}

#ifndef KXSIM_NO_IO_CONTEXT
// The context names the interface: a pointer to its 32-bit number.
KXSIM_API void* ftrScanOpenDeviceWithIoContext(void* pContext)
{
  if (!pContext) {
    Lib().CountCall(EEntry::eOpenDeviceWithIoContext);
    Fail(kErrInvalidParameter);
    return nullptr;
  }
  int32_t n;
  std::memcpy(&n, pContext, sizeof n);
  return Open(n, EEntry::eOpenDeviceWithIoContext);
}
#endif

// ---- Our own ------------------------------------------------------------------------

// When the last frame of the device (null: of any device) was delivered, in microseconds
// since the library started; the SDK times a roll by it.
KXSIM_API int kxGetFrameTime(void* h, int64_t* pnMicroseconds)
{
  if (!pnMicroseconds)
    return Fail(kErrInvalidParameter);
  if (!h) {
    *pnMicroseconds = Lib().LastFrameTime();
    return Succeed();
  }
  std::shared_ptr<ClSimDevice> d = Lib().Resolve(h);
  if (!d)
    return Fail(kErrInvalidHandle);
  std::lock_guard<std::mutex> lock(d->Mutex());
  *pnMicroseconds = d->FrameTime();
  return Succeed();
}

// ---- Inspection and control -----------------------------------------------------------

KXSIM_API int kxsimLoadConfig(const char* szJson)
{
  return Lib().Load(szJson, "configuration text") ? 1 : 0;
}

KXSIM_API int kxsimLoadConfigFile(const char* szPath) { return Lib().LoadFile(szPath) ? 1 : 0; }

KXSIM_API const char* kxsimGetConfigError()
{
  static std::mutex mutex;
  static std::string text;
  std::lock_guard<std::mutex> lock(mutex);
  text = Lib().ConfigError();
  return text.c_str();
}

KXSIM_API void kxsimReset() { Lib().Reset(); }

KXSIM_API int64_t kxsimGetCallCount(const char* szEntry)
{
  const EEntry e = EntryByName(szEntry);
  return e == EEntry::eCount ? -1 : int64_t(Lib().CallCount(e));
}

KXSIM_API int kxsimSetFrameInterval(int nMs)
{
  Lib().SetFrameIntervalMs(nMs);
  return 1;
}

KXSIM_API int kxsimGetDeviceState(int nInterface, kxsimDeviceState* p)
{
  std::shared_ptr<ClSimDevice> d = Inspect(nInterface);
  if (!d || !p || p->nSize < sizeof(kxsimDeviceState))
    return 0;
  std::lock_guard<std::mutex> lock(d->Mutex());
  p->bConnected = d->Connected() ? 1 : 0;
  p->nOpenHandles = d->OpenHandles();
  p->nFrames = d->Frames();
  std::memcpy(p->aDiodes, d->Diodes().data(), 2);
  std::memcpy(p->aControl, d->Control().data(), kControlBytes);
  p->nControlFlag = int8_t(d->ControlFlag());
  p->nOptions = d->Options();
  p->nLastDose = d->LastDose();
  p->nLastMode = d->LastMode();
  return 1;
}

KXSIM_API int kxsimSetFrameCounter(int nInterface, uint64_t nFrame)
{
  std::shared_ptr<ClSimDevice> d = Inspect(nInterface);
  if (!d)
    return 0;
  std::lock_guard<std::mutex> lock(d->Mutex());
  d->SetFrames(nFrame);
  return 1;
}

KXSIM_API int kxsimSetConnected(int nInterface, int bConnected)
{
  std::shared_ptr<ClSimDevice> d = Inspect(nInterface);
  if (!d)
    return 0;
  std::lock_guard<std::mutex> lock(d->Mutex());
  d->SetConnected(bConnected != 0);
  return 1;
}

KXSIM_API int kxsimGetFrameInfo(int nInterface, uint64_t nFrame, kxsimFrameInfo* p)
{
  std::shared_ptr<ClSimDevice> d = Inspect(nInterface);
  if (!d || !p || p->nSize < sizeof(kxsimFrameInfo))
    return 0;
  std::lock_guard<std::mutex> lock(d->Mutex());
  const ClScript& script = d->Config().script;
  const ClFrameInfo info = script.InfoAt(nFrame);
  const ClScene scene = script.SceneAt(nFrame);
  p->nStep = info.nStep;
  p->nStepKind = int32_t(info.eKind);
  p->nFrameInStep = info.nFrameInStep;
  p->nKindIndex = info.nKindIndex;
  p->nContact = int32_t(scene.eContact);
  p->bFake = scene.eContact != EContact::eNone && scene.finger.bFake ? 1 : 0;
  p->nContactPixels = d->Renderer().ContactPixels(scene);
  p->dPlaced = scene.eContact == EContact::eNone ? 0.0 : scene.dPlaced;
  p->dPatchX = scene.dPatchX;
  p->dResidue = scene.dResidue;
  p->dPressure = scene.finger.dPressure;
  p->nShiftX = scene.nShiftX;
  p->nShiftY = scene.nShiftY;
  return 1;
}

KXSIM_API int kxsimRenderFrame(int nInterface, uint64_t nFrame, int bRaw, int nDose,
                               int nOrientation, uint8_t* pOut, uint64_t nSize)
{
  std::shared_ptr<ClSimDevice> d = Inspect(nInterface);
  if (!d || !pOut)
    return 0;
  std::lock_guard<std::mutex> lock(d->Mutex());
  const ClDeviceConfig& c = d->Config();
  const uint64_t need = bRaw ? uint64_t(c.nRawWidth) * uint64_t(c.nRawHeight)
                             : uint64_t(c.nNormalWidth) * uint64_t(c.nNormalHeight);
  if (nSize < need)
    return 0;
  if (nDose < 0)
    nDose = bRaw ? 9 : 2;
  d->Peek(nFrame, bRaw != 0, nDose & 0xFF,
          nOrientation ? EOrientation::eDisplay : EOrientation::eDevice, pOut);
  return 1;
}

KXSIM_API int kxsimGetGroundTruth(int nInterface, int nKind, int nIndex, int nOrientation,
                                  uint8_t* pImage, uint8_t* pMask, uint64_t nSize, int32_t* pnWidth,
                                  int32_t* pnHeight)
{
  std::shared_ptr<ClSimDevice> d = Inspect(nInterface);
  if (!d || nKind < 0 || nKind > 2)
    return 0;
  std::lock_guard<std::mutex> lock(d->Mutex());
  const ClDeviceConfig& c = d->Config();
  if (pnWidth)
    *pnWidth = c.nNormalWidth;
  if (pnHeight)
    *pnHeight = c.nNormalHeight;
  const uint64_t need = uint64_t(c.nNormalWidth) * uint64_t(c.nNormalHeight);
  if ((pImage || pMask) && nSize < need)
    return 0;
  const EOrientation o = nOrientation ? EOrientation::eDisplay : EOrientation::eDevice;
  ClGreyImage image, mask;
  // Kind 2: the rolled print as the frames showed it, distortion and drift included.
  const bool ok = nKind != 1 ? c.script.RollTruth(nIndex, d->Renderer(), c.nNormalWidth,
                                                  c.nNormalHeight, 2, o, image, mask, nKind == 2)
                             : c.script.PlainTruth(nIndex, d->Renderer(), c.nNormalWidth,
                                                   c.nNormalHeight, 2, o, image, mask);
  if (!ok)
    return 0;
  if (pImage)
    std::memcpy(pImage, image.aPixels.data(), need);
  if (pMask)
    std::memcpy(pMask, mask.aPixels.data(), need);
  return 1;
}

KXSIM_API int kxsimGetDisplacementField(int nInterface, uint64_t nFrame, int nBlock,
                                        int nOrientation, float* pDx, float* pDy, uint8_t* pTouched,
                                        uint64_t nCount, int32_t* pnCols, int32_t* pnRows)
{
  std::shared_ptr<ClSimDevice> d = Inspect(nInterface);
  if (!d || nBlock < 1)
    return 0;
  std::lock_guard<std::mutex> lock(d->Mutex());
  const ClDeviceConfig& c = d->Config();
  const int32_t cols = c.nNormalWidth / nBlock, rows = c.nNormalHeight / nBlock;
  if (pnCols)
    *pnCols = cols;
  if (pnRows)
    *pnRows = rows;
  if ((pDx || pDy || pTouched) && nCount < uint64_t(cols) * uint64_t(rows))
    return 0;
  const ClDisplacementField f =
      DisplacementField(c.script.SceneAt(nFrame), c.nNormalWidth, c.nNormalHeight, nBlock,
                        nOrientation ? EOrientation::eDisplay : EOrientation::eDevice);
  if (pDx)
    std::memcpy(pDx, f.aDx.data(), f.aDx.size() * sizeof(float));
  if (pDy)
    std::memcpy(pDy, f.aDy.data(), f.aDy.size() * sizeof(float));
  if (pTouched)
    std::memcpy(pTouched, f.aTouched.data(), f.aTouched.size());
  return 1;
}

KXSIM_API int kxsimGetGlobalOption(int32_t* pnOption, uint32_t* pnValue)
{
  int32_t option = 0;
  uint32_t value = 0;
  const bool set = Lib().GlobalOption(option, value);
  if (pnOption)
    *pnOption = option;
  if (pnValue)
    *pnValue = value;
  return set ? 1 : 0;
}
