// Process-wide state of the simulated device library: the configuration, the devices it
// describes, the open handles and the call counts. All operations are thread-safe.
#pragma once

#include "simulator/device/SimConfig.h"
#include "simulator/device/SimDevice.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace kxsim {

class ClSimLibrary
{
public:
  // aDefaultLibrary: the library version this build reports unless configured otherwise.
  explicit ClSimLibrary(const std::array<uint16_t, 4>& aDefaultLibrary);

  void CountCall(EEntry e) { m_aCalls[size_t(e)].fetch_add(1, std::memory_order_relaxed); }
  uint64_t CallCount(EEntry e) const { return m_aCalls[size_t(e)].load(std::memory_order_relaxed); }

  // Configuration. The first use reads KXSIM_CONFIG (a file) or takes the built-in one.
  // A broken configuration leaves no device and a message, printed once to stderr.
  bool Usable();
  std::string ConfigError();
  // Replaces the configuration by a text (null: back to KXSIM_CONFIG or the built-in one)
  // and resets everything; false with the message when the text is unusable.
  bool Load(const char* szText, const std::string& sSource);
  bool LoadFile(const char* szPath);
  // Devices anew from the present configuration: frames, memory, faults, handles, counts.
  void Reset();

  int FrameIntervalMs();
  // Whether the pace was set (configuration, environment, override) rather than defaulted.
  bool FrameIntervalGiven();
  void SetFrameIntervalMs(int nMs); // negative: the configured value again
  std::array<uint16_t, 4> LibraryVersion();

  // Fault of a call without a device (counted per process).
  uint32_t GlobalFault(EEntry e);

  void Interfaces(uint32_t* pList);
  bool Busy(int nInterface);
  std::shared_ptr<ClSimDevice> DeviceOn(int nInterface);

  void* AddHandle(const std::shared_ptr<ClSimDevice>& pDevice);
  std::shared_ptr<ClSimDevice> Resolve(void* h);
  std::shared_ptr<ClSimDevice> RemoveHandle(void* h);

  // The frame clock: microseconds since the library started, and when the last frame of
  // any device was delivered (0 before the first).
  int64_t ClockMicroseconds(std::chrono::steady_clock::time_point t) const;
  int64_t LastFrameTime() const { return m_nLastFrameTime.load(); }
  void SetLastFrameTime(int64_t n) { m_nLastFrameTime.store(n); }

  void SetGlobalOption(int32_t nOption, uint32_t nValue);
  bool GlobalOption(int32_t& nOption, uint32_t& nValue);

private:
  struct ClHandle
  {
    uint32_t nTag;
    std::shared_ptr<ClSimDevice> pDevice;
  };
  void EnsureLoaded();                      // with m_Mutex held
  void Install(const ClSimConfig& config);  // with m_Mutex held
  void Broken(const std::string& sMessage); // with m_Mutex held

  std::mutex m_Mutex;
  const std::array<uint16_t, 4> m_aDefaultLibrary;
  bool m_bLoaded = false;
  bool m_bUsable = false;
  std::string m_sError;
  ClSimConfig m_Config;
  int m_nIntervalOverride = -1;
  std::vector<std::shared_ptr<ClSimDevice>> m_aDevices;
  std::map<void*, std::unique_ptr<ClHandle>> m_Handles;
  std::array<std::atomic<uint64_t>, kEntryCount> m_aCalls{};
  std::array<int64_t, kEntryCount> m_aGlobalCalls{};
  const std::chrono::steady_clock::time_point m_Started = std::chrono::steady_clock::now();
  std::atomic<int64_t> m_nLastFrameTime{0};
  bool m_bGlobalOption = false;
  int32_t m_nGlobalOption = 0;
  uint32_t m_nGlobalValue = 0;
};

} // namespace kxsim
