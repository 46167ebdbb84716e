// One simulated scanner: its state between calls (frames delivered, diodes, control bytes,
// options, user memory, connection) and its platen. Handles share it; every operation
// expects the caller to hold Mutex().
#pragma once

#include "simulator/device/SimConfig.h"
#include "simulator/render/FrameRenderer.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <vector>

namespace kxsim {

struct ClReplayFrame;

class ClSimDevice
{
public:
  explicit ClSimDevice(const ClDeviceConfig& config);

  const ClDeviceConfig& Config() const { return m_Config; }
  std::mutex& Mutex() { return m_Mutex; }

  // Counts a call of an entry on this device and answers the error of a scripted fault
  // for it, 0 when the call is to go through; a bad_alloc fault throws.
  uint32_t Fault(EEntry eEntry);
  // What the image size record reports as the image size, and an image call writes.
  int64_t ImageBytes(bool bRaw) const;
  int64_t Calls(EEntry eEntry) const { return m_aCalls[size_t(eEntry)]; }

  bool Connected() const { return m_bConnected; }
  void SetConnected(bool b) { m_bConnected = b; }

  // Renders the next frame into pOut (normal or raw size). Fails with kErrBusy, and
  // disconnects, once the scripted number of frames has been delivered.
  uint32_t Image(bool bRaw, int nDose, uint8_t* pOut);
  uint64_t Frames() const { return m_nFrames; }
  void SetFrames(uint64_t n) { m_nFrames = n; }
  // A frame of the script rendered without touching the device's state.
  void Peek(uint64_t nFrame, bool bRaw, int nDose, EOrientation eOrientation, uint8_t* pOut);
  ClFrameRenderer& Renderer() { return m_Renderer; }
  int LastDose() const { return m_nLastDose; }
  int LastMode() const { return m_nLastMode; }
  // The recorded frame the last image came from, null when it was rendered.
  const ClReplayFrame* Replayed() const { return m_pReplayed; }
  // Whether that frame is the recording's next one rather than one delivered again.
  bool ReplayedInOrder() const { return m_bReplayedInOrder; }
  // When the last replayed frame was handed out, as the pace of a replay counts it.
  std::chrono::steady_clock::time_point& ReplayedAt() { return m_ReplayedAt; }
  // The device's frame clock, in microseconds of the library's: when its last frame was
  // delivered (0 before the first), and how far a replay has set it from the library's.
  int64_t& FrameTime() { return m_nFrameTime; }
  int64_t& ClockOffset() { return m_nClockOffset; }

  void SetDiodes(uint8_t n1, uint8_t n2) { m_aDiodes = {{n1, n2}}; }
  const std::array<uint8_t, 2>& Diodes() const { return m_aDiodes; }
  void SetOptions(uint32_t nMask, uint32_t nFlags)
  {
    m_nOptions = (m_nOptions & ~nMask) | (nFlags & nMask);
  }
  uint32_t Options() const { return m_nOptions; }
  std::array<uint8_t, kControlBytes>& Control() { return m_aControl; }
  int ControlFlag() const { return m_nControlFlag; }
  void SetControlFlag(int n) { m_nControlFlag = n; }
  std::vector<uint8_t>& Memory() { return m_aMemory; }

  int OpenHandles() const { return m_nOpenHandles; }
  void AddHandle(int n) { m_nOpenHandles += n; }

private:
  ClDeviceConfig m_Config;
  std::mutex m_Mutex;
  ClFrameRenderer m_Renderer;
  std::array<int64_t, kEntryCount> m_aCalls{};
  bool m_bConnected = true;
  uint64_t m_nFrames = 0;
  int m_nLastDose = -1;
  int m_nLastMode = 0; // 0 none yet, 1 normal, 2 raw
  std::array<uint8_t, 2> m_aDiodes{{0, 0}};
  uint32_t m_nOptions = 1; // the fake replica check is on until switched off
  std::array<uint8_t, kControlBytes> m_aControl;
  int m_nControlFlag = -1;
  std::vector<uint8_t> m_aMemory;
  int m_nOpenHandles = 0;
  const ClReplayFrame* m_pReplayed = nullptr;
  bool m_bReplayedInOrder = false;
  int64_t m_nReplayedUpTo = -1; // the last frame of the recording delivered in order
  int64_t m_nFrameTime = 0;
  int64_t m_nClockOffset = 0;
  std::chrono::steady_clock::time_point m_ReplayedAt{};
};

} // namespace kxsim
