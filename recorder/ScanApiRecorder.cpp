// The recording device library: every entry point of the device library's table, each
// forwarding to the real library and writing the call to the recording file. Nothing the
// caller sees changes, except that an entry the real library lacks answers false with
// error 50 instead of being absent.
//   KXREC_DEVICE_LIBRARY  the real library (default: the next libkxScanAPI.so on the
//                         loader's path that is not this file)
//   KXREC_FILE            the recording (default: kxrec-PID.kxrec in the working folder)
//   KXREC_ZSTD_LEVEL      compression level of the frames (default 1)
#include "recorder/RecordFile.h"
#include "simulator/device/ScanApiRecords.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <dlfcn.h>
#include <map>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

#define KXREC_API extern "C" __attribute__((visibility("default")))

using kxsim::EEntry;

namespace {

thread_local bool t_bOwnError __attribute__((tls_model("initial-exec"))) = false;

int64_t NowNs()
{
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

bool SameFile(const std::string& a, const std::string& b)
{
  struct stat sa, sb;
  return ::stat(a.c_str(), &sa) == 0 && ::stat(b.c_str(), &sb) == 0 && sa.st_dev == sb.st_dev &&
         sa.st_ino == sb.st_ino;
}

std::string SelfPath()
{
  Dl_info info{};
  return dladdr(reinterpret_cast<void*>(&SelfPath), &info) && info.dli_fname ? info.dli_fname : "";
}

// The next libkxScanAPI.so on LD_LIBRARY_PATH and the system folders that is not us.
std::string FindRealLibrary()
{
  const std::string self = SelfPath();
  std::string dirs = std::getenv("LD_LIBRARY_PATH") ? std::getenv("LD_LIBRARY_PATH") : "";
  dirs += ":/usr/local/lib:/lib/x86_64-linux-gnu:/usr/lib/x86_64-linux-gnu:/lib:/usr/lib";
  std::stringstream in(dirs);
  std::string dir;
  while (std::getline(in, dir, ':')) {
    const std::string path = (dir.empty() ? "." : dir) + "/libkxScanAPI.so";
    if (::access(path.c_str(), R_OK) == 0 && !SameFile(path, self))
      return path;
  }
  return "";
}

class ClRecorder
{
public:
  ClRecorder()
  {
    const char* env = std::getenv("KXREC_DEVICE_LIBRARY");
    m_sLibrary = env && *env ? env : FindRealLibrary();
    if (m_sLibrary.empty() || SameFile(m_sLibrary, SelfPath())) {
      Say("no device library to record: set KXREC_DEVICE_LIBRARY");
      return;
    }
    m_pLibrary = dlopen(m_sLibrary.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!m_pLibrary) {
      Say(std::string("cannot load the device library: ") + dlerror());
      return;
    }
    for (int i = 0; i < kxsim::kEntryCount; ++i)
      m_apEntries[i] = dlsym(m_pLibrary, kxsim::EntryName(EEntry(i)));
    m_pfnFrameTime =
        reinterpret_cast<int (*)(void*, int64_t*)>(dlsym(m_pLibrary, "kxGetFrameTime"));
    OpenFile();
  }

  void* Entry(EEntry e) const { return m_apEntries[int(e)]; }

  uint32_t LastError() const
  {
    auto fn = reinterpret_cast<uint32_t (*)()>(Entry(EEntry::eGetLastError));
    return fn ? fn() : 0;
  }

  int Interface(void* h)
  {
    std::lock_guard<std::mutex> lock(m_Mutex);
    auto it = m_Handles.find(h);
    return it == m_Handles.end() ? -1 : it->second;
  }
  void Opened(void* h, int nInterface)
  {
    std::lock_guard<std::mutex> lock(m_Mutex);
    m_Handles[h] = nInterface;
  }
  void Closed(void* h)
  {
    std::lock_guard<std::mutex> lock(m_Mutex);
    m_Handles.erase(h);
    m_FrameTimes.erase(h);
  }
  // A frame was delivered on h at nEndNs: its time is the library's when it tells one,
  // else the end of the call, in microseconds since the recorder started.
  int64_t FrameDelivered(void* h, int64_t nEndNs)
  {
    int64_t t = -1;
    if (m_pfnFrameTime && !m_pfnFrameTime(h, &t))
      t = -1;
    if (t < 0)
      t = (nEndNs - m_nStartedNs) / 1000;
    std::lock_guard<std::mutex> lock(m_Mutex);
    m_FrameTimes[h] = t;
    m_nLastFrameTime = t;
    return t;
  }
  // The time of the last frame on h (null: on any device), 0 before the first; -1 for a
  // handle not open.
  int64_t FrameTime(void* h)
  {
    std::lock_guard<std::mutex> lock(m_Mutex);
    if (!h)
      return m_nLastFrameTime;
    if (!m_Handles.count(h))
      return -1;
    auto it = m_FrameTimes.find(h);
    return it == m_FrameTimes.end() ? 0 : it->second;
  }
  // Pixels of the frames of a device, from the size records it reported.
  void SetFrameBytes(int nInterface, bool bRaw, size_t n)
  {
    std::lock_guard<std::mutex> lock(m_Mutex);
    m_FrameBytes[{nInterface, bRaw}] = n;
  }
  size_t FrameBytes(int nInterface, bool bRaw)
  {
    std::lock_guard<std::mutex> lock(m_Mutex);
    auto it = m_FrameBytes.find({nInterface, bRaw});
    return it == m_FrameBytes.end() ? 0 : it->second;
  }

  void Write(const kxrec::ClCallRecord& r, const void* pData, size_t n, bool bCompress)
  {
    if (m_pWriter)
      m_pWriter->Write(r, static_cast<const uint8_t*>(pData), n, bCompress);
  }
  void Flush()
  {
    if (m_pWriter)
      m_pWriter->Flush();
  }

private:
  void Say(const std::string& s)
  {
    std::fprintf(stderr, "kxScanAPI recorder: %s\n", s.c_str());
    std::fflush(stderr);
  }

  void OpenFile()
  {
    const char* env = std::getenv("KXREC_FILE");
    const std::string path = env && *env ? env : "kxrec-" + std::to_string(::getpid()) + ".kxrec";
    const char* level = std::getenv("KXREC_ZSTD_LEVEL");
    std::ostringstream info;
    info << "{\"writer\": \"kxScanAPI recorder\", \"device_library\": \"" << m_sLibrary
         << "\", \"pid\": " << ::getpid() << ", \"started_unix\": " << std::time(nullptr) << "}";
    try {
      m_pWriter =
          std::make_unique<kxrec::ClRecordWriter>(path, info.str(), level ? std::atoi(level) : 1);
      if (!env || !*env)
        Say("recording to " + path);
    } catch (const std::exception& e) {
      Say(std::string("not recording: ") + e.what());
    }
  }

  std::string m_sLibrary;
  void* m_pLibrary = nullptr;
  void* m_apEntries[kxsim::kEntryCount] = {};
  std::unique_ptr<kxrec::ClRecordWriter> m_pWriter;
  std::mutex m_Mutex;
  std::map<void*, int> m_Handles;
  int (*m_pfnFrameTime)(void*, int64_t*) = nullptr;
  const int64_t m_nStartedNs = NowNs();
  std::map<void*, int64_t> m_FrameTimes;
  int64_t m_nLastFrameTime = 0;
  std::map<std::pair<int, bool>, size_t> m_FrameBytes;
};

std::atomic<ClRecorder*> g_pRecorder{nullptr};

ClRecorder& Rec()
{
  // Never destroyed: the caller may still call in from its own exit handlers.
  static ClRecorder* recorder = new ClRecorder;
  g_pRecorder.store(recorder);
  return *recorder;
}

// What the writer's thread still holds goes to the file before the process ends.
struct ClFlushAtExit
{
  ~ClFlushAtExit()
  {
    if (ClRecorder* r = g_pRecorder.load())
      r->Flush();
  }
} g_FlushAtExit;

template <class Fn>
Fn Real(EEntry e)
{
  return reinterpret_cast<Fn>(Rec().Entry(e));
}

// One call being recorded: the start time now, the rest when it returns.
class ClCall
{
public:
  explicit ClCall(EEntry e, void* h = nullptr)
  {
    m_Record.nEntry = uint16_t(e);
    m_Record.nInterface = h ? Rec().Interface(h) : -1;
    m_Record.nStartNs = NowNs();
  }
  ClCall& Arg(int i, int64_t n)
  {
    m_Record.aArgs[i] = n;
    return *this;
  }
  int Interface() const { return m_Record.nInterface; }
  void SetInterface(int n) { m_Record.nInterface = n; }

  // The call has returned: its end time.
  int64_t End()
  {
    if (!m_Record.nEndNs)
      m_Record.nEndNs = NowNs();
    return m_Record.nEndNs;
  }

  // Records the result and, for a success, the bytes the call exchanged.
  int Done(int nResult, const void* pData = nullptr, size_t n = 0, bool bCompress = false)
  {
    End();
    t_bOwnError = false;
    m_Record.nResult = nResult ? 1 : 0;
    if (!nResult) {
      m_Record.nLastError = Rec().LastError();
      pData = nullptr;
      n = 0;
    }
    Rec().Write(m_Record, pData, pData ? n : 0, bCompress);
    return nResult;
  }
  // The real library lacks the entry.
  int Absent()
  {
    m_Record.nEndNs = NowNs();
    m_Record.nLastError = kxsim::kErrNotSupported;
    Rec().Write(m_Record, nullptr, 0, false);
    t_bOwnError = true;
    return 0;
  }

private:
  kxrec::ClCallRecord m_Record;
};

// An entry the system does not call: forwarded and recorded without its data.
template <class... A>
int Pass(EEntry e, void* h, A... a)
{
  ClCall call(e, h);
  auto fn = Real<int (*)(A...)>(e);
  return fn ? call.Done(fn(a...)) : call.Absent();
}

template <class... A>
int Out(EEntry e, void* h, const void* pOut, size_t n, A... a)
{
  ClCall call(e, h);
  auto fn = Real<int (*)(A...)>(e);
  return fn ? call.Done(fn(a...), pOut, n) : call.Absent();
}

template <class A>
void* Open(EEntry e, int nInterface, A arg)
{
  ClCall call(e);
  call.SetInterface(nInterface);
  call.Arg(0, nInterface);
  auto fn = Real<void* (*)(A)>(e);
  if (!fn) {
    call.Absent();
    return nullptr;
  }
  void* h = fn(arg);
  if (h)
    Rec().Opened(h, nInterface);
  call.Done(h ? 1 : 0);
  return h;
}

int ImageSize(EEntry e, void* h, void* pRecord, bool bRaw)
{
  ClCall call(e, h);
  auto fn = Real<int (*)(void*, void*)>(e);
  if (!fn)
    return call.Absent();
  const int rc = fn(h, pRecord);
  if (rc && pRecord) {
    kxsim::ClImageSizeRecord r;
    std::memcpy(&r, pRecord, sizeof r);
    if (r.nWidth > 0 && r.nHeight > 0)
      Rec().SetFrameBytes(call.Interface(), bRaw, size_t(r.nWidth) * size_t(r.nHeight));
  }
  return call.Done(rc, pRecord, sizeof(kxsim::ClImageSizeRecord));
}

int Image(EEntry e, void* h, int nDose, void* pBuffer, bool bRaw)
{
  ClCall call(e, h);
  call.Arg(0, nDose).Arg(1, bRaw ? 1 : 0);
  auto fn = Real<int (*)(void*, int, void*)>(e);
  if (!fn)
    return call.Absent();
  const int rc = fn(h, nDose, pBuffer);
  if (rc)
    call.Arg(2, Rec().FrameDelivered(h, call.End()));
  return call.Done(rc, pBuffer, Rec().FrameBytes(call.Interface(), bRaw), true);
}

int Memory(EEntry e, void* h, void* pBuffer, int nOffset, int nLength, bool bSave)
{
  ClCall call(e, h);
  call.Arg(0, nOffset).Arg(1, nLength);
  auto fn = Real<int (*)(void*, void*, int, int)>(e);
  if (!fn)
    return call.Absent();
  std::vector<uint8_t> before;
  if (bSave && pBuffer && nLength > 0)
    before.assign(static_cast<uint8_t*>(pBuffer), static_cast<uint8_t*>(pBuffer) + nLength);
  const int rc = fn(h, pBuffer, nOffset, nLength);
  const size_t n = nLength > 0 ? size_t(nLength) : 0;
  return call.Done(rc, bSave ? static_cast<void*>(before.data()) : pBuffer, n);
}

} // namespace

// ---- Mandatory entries ----------------------------------------------------------------

KXREC_API void* ftrScanOpenDevice()
{
  ClCall call(EEntry::eOpenDevice);
  auto fn = Real<void* (*)()>(EEntry::eOpenDevice);
  if (!fn) {
    call.Absent();
    return nullptr;
  }
  void* h = fn();
  call.Done(h ? 1 : 0);
  return h;
}

KXREC_API void* ftrScanOpenDeviceOnInterface(int nInterface)
{
  return Open(EEntry::eOpenDeviceOnInterface, nInterface, nInterface);
}

KXREC_API int ftrScanCloseDevice(void* h)
{
  ClCall call(EEntry::eCloseDevice, h);
  auto fn = Real<int (*)(void*)>(EEntry::eCloseDevice);
  if (!fn)
    return call.Absent();
  const int rc = fn(h);
  Rec().Closed(h);
  return call.Done(rc);
}

KXREC_API int ftrScanSetOptions(void* h, uint32_t nMask, uint32_t nFlags)
{
  ClCall call(EEntry::eSetOptions, h);
  call.Arg(0, nMask).Arg(1, nFlags);
  auto fn = Real<int (*)(void*, uint32_t, uint32_t)>(EEntry::eSetOptions);
  return fn ? call.Done(fn(h, nMask, nFlags)) : call.Absent();
}

KXREC_API int ftrScanGetOptions(void* h, uint32_t* p)
{
  return Out(EEntry::eGetOptions, h, p, 4, h, p);
}

KXREC_API int ftrScanGetDeviceInfo(void* h, void* pRecord)
{
  return Out(EEntry::eGetDeviceInfo, h, pRecord, sizeof(kxsim::ClDeviceInfoRecord), h, pRecord);
}

KXREC_API int ftrScanGetInterfaces(uint32_t* pList)
{
  return Out(EEntry::eGetInterfaces, nullptr, pList, 4 * kxsim::kInterfaceCount, pList);
}

KXREC_API int ftrSetBaseInterface(int n) { return Pass(EEntry::eSetBaseInterface, nullptr, n); }
KXREC_API int ftrGetBaseInterfaceNumber() { return Pass(EEntry::eGetBaseInterfaceNumber, nullptr); }
KXREC_API int ftrScanGetFakeReplicaInterval(uint64_t* a, uint64_t* b)
{
  return Pass(EEntry::eGetFakeReplicaInterval, nullptr, a, b);
}
KXREC_API int ftrScanSetFakeReplicaInterval(uint64_t a, uint64_t b)
{
  return Pass(EEntry::eSetFakeReplicaInterval, nullptr, a, b);
}
KXREC_API int ftrScanGetLFDParameters(void* p)
{
  return Pass(EEntry::eGetLFDParameters, nullptr, p);
}
KXREC_API int ftrScanSetLFDParameters(void* p)
{
  return Pass(EEntry::eSetLFDParameters, nullptr, p);
}

KXREC_API int ftrScanGetImageSize(void* h, void* pRecord)
{
  return ImageSize(EEntry::eGetImageSize, h, pRecord, false);
}

KXREC_API int ftrScanGetImage(void* h, int nDose, void* pBuffer)
{
  return Image(EEntry::eGetImage, h, nDose, pBuffer, false);
}

KXREC_API int ftrScanGetFuzzyImage(void* h, void* p)
{
  return Pass(EEntry::eGetFuzzyImage, h, h, p);
}
KXREC_API int ftrScanGetBacklightImage(void* h, void* p)
{
  return Pass(EEntry::eGetBacklightImage, h, h, p);
}
KXREC_API int ftrScanGetDarkImage(void* h, void* p) { return Pass(EEntry::eGetDarkImage, h, h, p); }
KXREC_API int ftrScanGetImageByVariableDose(void* h, int d, void* p)
{
  return Pass(EEntry::eGetImageByVariableDose, h, h, d, p);
}
KXREC_API int ftrScanIsFingerPresent(void* h, void* p)
{
  return Pass(EEntry::eIsFingerPresent, h, h, p);
}
KXREC_API int ftrScanGetFrame(void* h, void* a, void* b)
{
  return Pass(EEntry::eGetFrame, h, h, a, b);
}

KXREC_API int ftrScanSetDiodesStatus(void* h, uint8_t n1, uint8_t n2)
{
  ClCall call(EEntry::eSetDiodesStatus, h);
  call.Arg(0, n1).Arg(1, n2);
  auto fn = Real<int (*)(void*, uint8_t, uint8_t)>(EEntry::eSetDiodesStatus);
  return fn ? call.Done(fn(h, n1, n2)) : call.Absent();
}

// The library writes 8 bytes of a serial, and a caller's buffer may hold no more.
KXREC_API int ftrScanGetSerialNumber(void* h, void* p)
{
  return Out(EEntry::eGetSerialNumber, h, p, kxsim::kSerialBytes, h, p);
}

// ---- Optional entries -----------------------------------------------------------------

KXREC_API int ftrScanGetVersion(void* h, void* pRecord)
{
  return Out(EEntry::eGetVersion, h, pRecord, sizeof(kxsim::ClVersionRecord), h, pRecord);
}

KXREC_API int ftrScanGetExtMemorySize(void* h, int32_t* pn)
{
  return Out(EEntry::eGetExtMemorySize, h, pn, 4, h, pn);
}

KXREC_API int ftrScanSaveExtMemory(void* h, void* p, int nOffset, int nLength)
{
  return Memory(EEntry::eSaveExtMemory, h, p, nOffset, nLength, true);
}

KXREC_API int ftrScanRestoreExtMemory(void* h, void* p, int nOffset, int nLength)
{
  return Memory(EEntry::eRestoreExtMemory, h, p, nOffset, nLength, false);
}

// Not recorded: its answer is part of the record of the call that failed.
KXREC_API uint32_t ftrScanGetLastError()
{
  if (t_bOwnError)
    return kxsim::kErrNotSupported;
  return Rec().LastError();
}

KXREC_API int ftrSetLoggingFacilityLevel(uint32_t n)
{
  return Pass(EEntry::eSetLoggingFacilityLevel, nullptr, n);
}

KXREC_API int ftrScanGetRawImageSize(void* h, void* pRecord)
{
  return ImageSize(EEntry::eGetRawImageSize, h, pRecord, true);
}

KXREC_API int ftrScanGetRawImageByVariableDose(void* h, int nDose, void* pBuffer)
{
  return Image(EEntry::eGetRawImageByVariableDose, h, nDose, pBuffer, true);
}

KXREC_API int ftrScanRollStart(void* h) { return Pass(EEntry::eRollStart, h, h); }
KXREC_API int ftrScanRollStarWithVariableDose(void* h, int d)
{
  return Pass(EEntry::eRollStarWithVariableDose, h, h, d);
}
KXREC_API int ftrScanRollAbort(void* h, int n) { return Pass(EEntry::eRollAbort, h, h, n); }
KXREC_API int ftrScanRollGetImage(void* h, void* p, uint32_t n)
{
  return Pass(EEntry::eRollGetImage, h, h, p, n);
}
KXREC_API int ftrScanRollGetFrameParameters(void* h, void* p, uint32_t n)
{
  return Pass(EEntry::eRollGetFrameParameters, h, h, p, n);
}
KXREC_API int ftrScanGetImage2(void* h, int d, void* p)
{
  return Pass(EEntry::eGetImage2, h, h, d, p);
}

KXREC_API int ftrScanSave7ControlBytes(void* h, void* pBlock, int nFlag)
{
  ClCall call(EEntry::eSave7ControlBytes, h);
  call.Arg(0, nFlag);
  auto fn = Real<int (*)(void*, void*, int)>(EEntry::eSave7ControlBytes);
  if (!fn)
    return call.Absent();
  uint8_t block[kxsim::kControlBytes] = {};
  if (pBlock)
    std::memcpy(block, pBlock, sizeof block);
  return call.Done(fn(h, pBlock, nFlag), pBlock ? block : nullptr, sizeof block);
}

KXREC_API int ftrScanRestore7ControlBytes(void* h, void* pBlock)
{
  return Out(EEntry::eRestore7ControlBytes, h, pBlock, kxsim::kControlBytes, h, pBlock);
}

KXREC_API int ftrScanChangeSystemNotification(uint32_t a, uint32_t b)
{
  ClCall call(EEntry::eChangeSystemNotification);
  call.Arg(0, a).Arg(1, b);
  auto fn = Real<int (*)(uint32_t, uint32_t)>(EEntry::eChangeSystemNotification);
  return fn ? call.Done(fn(a, b)) : call.Absent();
}

KXREC_API int ftrScanControlPin3(void* h, void* a, void* b)
{
  return Pass(EEntry::eControlPin3, h, h, a, b);
}

KXREC_API int ftrScanGlobalSetOptions(int32_t nOption, void* pValue)
{
  ClCall call(EEntry::eGlobalSetOptions);
  uint32_t value = 0;
  if (pValue)
    std::memcpy(&value, pValue, sizeof value);
  call.Arg(0, nOption).Arg(1, value);
  auto fn = Real<int (*)(int32_t, void*)>(EEntry::eGlobalSetOptions);
  return fn ? call.Done(fn(nOption, pValue)) : call.Absent();
}

KXREC_API int ftrScanSaveSerialNumber(void* h, void* p)
{
  return Pass(EEntry::eSaveSerialNumber, h, h, p);
}
KXREC_API int ftrScanGetImageSizes(void* h, void* a, void* b)
{
  return Pass(EEntry::eGetImageSizes, h, h, a, b);
}
KXREC_API int ftrScanGetImageOfSpecificSize(void* h, int d, void* a, void* b)
{
  return Pass(EEntry::eGetImageOfSpecificSize, h, h, d, a, b);
}
KXREC_API int ftrScanGetImageOfSpecificSize2(void* h, int d, void* a, void* b)
{
  return Pass(EEntry::eGetImageOfSpecificSize2, h, h, d, a, b);
}

// The context names the interface, as the simulator takes it: a 32-bit number.
KXREC_API void* ftrScanOpenDeviceWithIoContext(void* pContext)
{
  int32_t n = -1;
  if (pContext)
    std::memcpy(&n, pContext, sizeof n);
  return Open(EEntry::eOpenDeviceWithIoContext, n, pContext);
}

// ---- Our own ------------------------------------------------------------------------

// The frame time as the recording keeps it (the real library's, or the end of the image
// call), so that a replay tells the caller the same. Not recorded: the image calls hold it.
KXREC_API int kxGetFrameTime(void* h, int64_t* pnMicroseconds)
{
  const int64_t t = pnMicroseconds ? Rec().FrameTime(h) : -1;
  t_bOwnError = t < 0;
  if (t < 0)
    return 0;
  *pnMicroseconds = t;
  return 1;
}
