#include "simulator/device/SimLibrary.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace kxsim {

namespace {
constexpr uint32_t kHandleTag = 0x4B585348; // "KXSH"
}

ClSimLibrary::ClSimLibrary(const std::array<uint16_t, 4>& aDefaultLibrary)
  : m_aDefaultLibrary(aDefaultLibrary)
{}

int64_t ClSimLibrary::ClockMicroseconds(std::chrono::steady_clock::time_point t) const
{
  return std::chrono::duration_cast<std::chrono::microseconds>(t - m_Started).count();
}

void ClSimLibrary::Broken(const std::string& sMessage)
{
  m_bUsable = false;
  m_sError = sMessage;
  m_Config = ClSimConfig();
  m_Config.aLibrary = m_aDefaultLibrary;
  m_aDevices.clear();
  m_Handles.clear();
  std::fprintf(stderr, "kxScanAPI simulator: unusable configuration: %s\n", sMessage.c_str());
  std::fflush(stderr);
}

void ClSimLibrary::Install(const ClSimConfig& config)
{
  m_Config = config;
  m_bUsable = true;
  m_sError.clear();
  m_Handles.clear();
  m_aDevices.clear();
  for (const ClDeviceConfig& d : m_Config.aDevices)
    m_aDevices.push_back(std::make_shared<ClSimDevice>(d));
  for (auto& c : m_aCalls)
    c.store(0);
  m_aGlobalCalls.fill(0);
  m_bGlobalOption = false;
}

static bool ReadFile(const char* szPath, std::string& text)
{
  std::ifstream in(szPath, std::ios::binary);
  if (!in)
    return false;
  std::ostringstream s;
  s << in.rdbuf();
  text = s.str();
  return true;
}

void ClSimLibrary::EnsureLoaded()
{
  if (m_bLoaded)
    return;
  m_bLoaded = true;
  const char* env = std::getenv("KXSIM_CONFIG");
  if (env && *env) {
    std::string text;
    if (!ReadFile(env, text)) {
      Broken(std::string(env) + ": cannot be read");
      return;
    }
    try {
      Install(ParseConfig(text, env, m_aDefaultLibrary));
    } catch (const ClSimConfigError& e) {
      Broken(e.what());
    }
  } else {
    Install(DefaultConfig(m_aDefaultLibrary));
  }
}

bool ClSimLibrary::Usable()
{
  std::lock_guard<std::mutex> lock(m_Mutex);
  EnsureLoaded();
  return m_bUsable;
}

std::string ClSimLibrary::ConfigError()
{
  std::lock_guard<std::mutex> lock(m_Mutex);
  EnsureLoaded();
  return m_sError;
}

bool ClSimLibrary::Load(const char* szText, const std::string& sSource)
{
  std::lock_guard<std::mutex> lock(m_Mutex);
  if (!szText) {
    m_bLoaded = false;
    EnsureLoaded();
    return m_bUsable;
  }
  m_bLoaded = true;
  try {
    Install(ParseConfig(szText, sSource, m_aDefaultLibrary));
  } catch (const ClSimConfigError& e) {
    Broken(e.what());
  }
  return m_bUsable;
}

bool ClSimLibrary::LoadFile(const char* szPath)
{
  std::string text;
  if (!szPath || !ReadFile(szPath, text)) {
    std::lock_guard<std::mutex> lock(m_Mutex);
    m_bLoaded = true;
    Broken(std::string(szPath ? szPath : "(null)") + ": cannot be read");
    return false;
  }
  return Load(text.c_str(), szPath);
}

void ClSimLibrary::Reset()
{
  std::lock_guard<std::mutex> lock(m_Mutex);
  EnsureLoaded();
  if (m_bUsable)
    Install(ClSimConfig(m_Config));
}

int ClSimLibrary::FrameIntervalMs()
{
  std::lock_guard<std::mutex> lock(m_Mutex);
  EnsureLoaded();
  if (m_nIntervalOverride >= 0)
    return m_nIntervalOverride;
  if (const char* env = std::getenv("KXSIM_FRAME_INTERVAL_MS")) {
    char* end = nullptr;
    const long v = std::strtol(env, &end, 10);
    if (end != env && *end == '\0' && v >= 0 && v <= 60000)
      return int(v);
  }
  return m_Config.nFrameIntervalMs;
}

bool ClSimLibrary::FrameIntervalGiven()
{
  std::lock_guard<std::mutex> lock(m_Mutex);
  EnsureLoaded();
  return m_nIntervalOverride >= 0 || std::getenv("KXSIM_FRAME_INTERVAL_MS") ||
         m_Config.bIntervalGiven;
}

void ClSimLibrary::SetFrameIntervalMs(int nMs)
{
  std::lock_guard<std::mutex> lock(m_Mutex);
  m_nIntervalOverride = nMs < 0 ? -1 : std::min(nMs, 60000);
}

std::array<uint16_t, 4> ClSimLibrary::LibraryVersion()
{
  std::lock_guard<std::mutex> lock(m_Mutex);
  EnsureLoaded();
  return m_Config.aLibrary;
}

uint32_t ClSimLibrary::GlobalFault(EEntry e)
{
  std::lock_guard<std::mutex> lock(m_Mutex);
  EnsureLoaded();
  const int64_t index = m_aGlobalCalls[size_t(e)]++;
  for (const ClFault& f : m_Config.aFaults)
    if (f.eCall == e && f.Hits(index))
      return f.nError;
  return 0;
}

bool ClSimLibrary::Busy(int nInterface)
{
  std::lock_guard<std::mutex> lock(m_Mutex);
  EnsureLoaded();
  return std::find(m_Config.aBusy.begin(), m_Config.aBusy.end(), nInterface) !=
         m_Config.aBusy.end();
}

void ClSimLibrary::Interfaces(uint32_t* pList)
{
  std::vector<std::shared_ptr<ClSimDevice>> devices;
  std::vector<int> busy;
  {
    std::lock_guard<std::mutex> lock(m_Mutex);
    EnsureLoaded();
    devices = m_aDevices;
    busy = m_Config.aBusy;
  }
  std::fill(pList, pList + kInterfaceCount, kInterfaceEmpty);
  for (const auto& d : devices) {
    std::lock_guard<std::mutex> lock(d->Mutex());
    if (d->Connected())
      pList[d->Config().nInterface] = kInterfaceFree;
  }
  for (int i : busy)
    pList[i] = kInterfaceBusy;
}

std::shared_ptr<ClSimDevice> ClSimLibrary::DeviceOn(int nInterface)
{
  std::lock_guard<std::mutex> lock(m_Mutex);
  EnsureLoaded();
  for (const auto& d : m_aDevices)
    if (d->Config().nInterface == nInterface)
      return d;
  return nullptr;
}

void* ClSimLibrary::AddHandle(const std::shared_ptr<ClSimDevice>& pDevice)
{
  auto h = std::make_unique<ClHandle>();
  h->nTag = kHandleTag;
  h->pDevice = pDevice;
  void* key = h.get();
  std::lock_guard<std::mutex> lock(m_Mutex);
  m_Handles[key] = std::move(h);
  return key;
}

std::shared_ptr<ClSimDevice> ClSimLibrary::Resolve(void* h)
{
  std::lock_guard<std::mutex> lock(m_Mutex);
  // Only pointers we handed out are looked into, so a stale or foreign value cannot crash.
  auto it = m_Handles.find(h);
  if (it == m_Handles.end() || it->second->nTag != kHandleTag)
    return nullptr;
  return it->second->pDevice;
}

std::shared_ptr<ClSimDevice> ClSimLibrary::RemoveHandle(void* h)
{
  std::lock_guard<std::mutex> lock(m_Mutex);
  auto it = m_Handles.find(h);
  if (it == m_Handles.end())
    return nullptr;
  std::shared_ptr<ClSimDevice> d = it->second->pDevice;
  m_Handles.erase(it);
  return d;
}

void ClSimLibrary::SetGlobalOption(int32_t nOption, uint32_t nValue)
{
  std::lock_guard<std::mutex> lock(m_Mutex);
  m_bGlobalOption = true;
  m_nGlobalOption = nOption;
  m_nGlobalValue = nValue;
}

bool ClSimLibrary::GlobalOption(int32_t& nOption, uint32_t& nValue)
{
  std::lock_guard<std::mutex> lock(m_Mutex);
  nOption = m_nGlobalOption;
  nValue = m_nGlobalValue;
  return m_bGlobalOption;
}

} // namespace kxsim
