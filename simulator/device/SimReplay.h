// A simulated device that answers from a recording: its identity, memory and control
// bytes, its frames in order with their recorded durations, and its recorded failures as
// faults at the same calls.
#pragma once

#include "recorder/RecordFile.h"
#include "simulator/device/ScanApiRecords.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace kxsim {

struct ClFault;
struct ClDeviceConfig;

// A frame of the recording: where it lies, not its pixels, which are read when delivered.
struct ClReplayFrame
{
  bool bRaw = false;
  int64_t nGapUs = 0;   // from the end of the frame before (the first: its call)
  int64_t nTimeUs = 0;  // the frame time the recording's caller was told
  uint64_t nOffset = 0; // its call in the file
};

class ClReplay
{
public:
  explicit ClReplay(std::shared_ptr<const kxrec::ClRecordReader> pReader)
    : m_pReader(std::move(pReader))
  {}

  std::vector<ClReplayFrame> aFrames;

  // The frame for the n-th delivered image of a kind. Beyond the recording it starts over
  // (bLoop) or its last frame stays; frames of the other kind are passed over, and
  // *pnSkipped counts them. Null when the recording has no frame of that kind.
  const ClReplayFrame* Pick(uint64_t n, bool bRaw, bool bLoop, uint64_t* pnSkipped) const;
  // Its pixels, from the file; throws kxrec::ClRecordError. Thread-safe.
  std::vector<uint8_t> Pixels(const ClReplayFrame& f) const;

private:
  std::shared_ptr<const kxrec::ClRecordReader> m_pReader;
};

// Makes d the recorded device on d's interface, or the recording's first device when none
// was recorded there. Calls without a device that failed become pGlobal faults. Throws
// ClSimConfigError naming sWhere and the damage of a broken file.
void ApplyRecording(const std::string& sPath, const std::string& sWhere, ClDeviceConfig& d,
                    std::vector<ClFault>* pGlobal);

} // namespace kxsim
