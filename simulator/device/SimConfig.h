// Configuration of the simulated device library: which scanners hang on which interfaces,
// what they report, how they fail, and what their platens see. Read from JSON (format in
// simulator/README.md) or built in.
#pragma once

#include "simulator/device/ScanApiRecords.h"
#include "simulator/render/Script.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace kxsim {

// A call of an entry point that fails: calls nAt .. nAt + nCount - 1 (0-based, counted per
// device, or per process for calls without a device) answer false with nError.
struct ClFault
{
  EEntry eCall = EEntry::eGetImage;
  int64_t nAt = 0;
  int64_t nCount = 1; // -1: from nAt on, for ever
  uint32_t nError = kErrTimeout;
  bool bBadAlloc = false; // the call throws std::bad_alloc instead of failing
  bool Hits(int64_t nIndex) const { return nIndex >= nAt && (nCount < 0 || nIndex < nAt + nCount); }
};

struct ClExtMemoryConfig
{
  bool bPresent = true; // false: the size query fails with kErrNotSupported
  int nSize = 2048;
  bool bCalibration = true; // calibration marker "CAL\0GEO\0" at byte nMarkerOffset + 25
  int nMarkerOffset = 3;    // stored in byte 20
  bool bReportSize = false; // the size query reports nReportedSize, not the real size
  int32_t nReportedSize = 0;
  std::vector<uint8_t> aContent; // recorded contents, laid in before the marker
};

class ClReplay;

struct ClDeviceConfig
{
  int nInterface = 0;
  int nCompatibility = 7;
  std::vector<uint8_t> aSerial; // bytes the serial query writes (8, or up to 12 as a fault)
  int nNormalWidth = 800, nNormalHeight = 750;
  int nRawWidth = 1600, nRawHeight = 1500;
  int nPixelSizeX = 50, nPixelSizeY = 50;
  bool bOwnLibraryVersion = false;
  std::array<uint16_t, 4> aLibrary{{10, 0, 0, 1}};
  std::array<uint16_t, 4> aHardware{{1, 2, 3, 0}};
  std::array<uint16_t, 4> aFirmware{{4, 5, 6, 0}};
  ClExtMemoryConfig ext;
  std::vector<ClFault> aFaults;
  int64_t nDisconnectAtFrame = -1; // frames delivered before the device goes away
  uint32_t nOpenError = 0;         // opening fails with this error (0: it works)
  uint32_t nInfoError = 0;         // the info query fails with this error
  // Bytes the image size records report and the image calls write; -1: width times height.
  int64_t nNormalBytes = -1, nRawBytes = -1;
  std::array<uint8_t, kControlBytes> aControl{{0x35, 0x00, 0x08, 0x40, 0x11, 0x22, 0x33}};
  uint32_t nPlatenSeed = 1;
  ClScript script;
  std::shared_ptr<const ClReplay> pReplay; // frames of a recording instead of the script

  ClDeviceConfig(); // the built-in scanner with the demo script
};

struct ClSimConfig
{
  int nFrameIntervalMs = 30;
  bool bIntervalGiven = false; // replays keep their recorded pace unless it is given
  std::array<uint16_t, 4> aLibrary{{10, 0, 0, 1}};
  std::vector<ClDeviceConfig> aDevices;
  std::vector<int> aBusy;       // interfaces shown busy
  std::vector<ClFault> aFaults; // calls that have no device
  std::string sSource;          // where it came from, for messages
};

// The built-in configuration: one KX2 scanner "21234567" on interface 0, demo script.
ClSimConfig DefaultConfig(const std::array<uint16_t, 4>& aLibrary);
// Parses a configuration text; throws ClSimConfigError naming the source and the place.
ClSimConfig ParseConfig(const std::string& sText, const std::string& sSource,
                        const std::array<uint16_t, 4>& aDefaultLibrary);

} // namespace kxsim
