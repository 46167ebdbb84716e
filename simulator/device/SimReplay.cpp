#include "simulator/device/SimReplay.h"

#include "simulator/JsonTree.h"
#include "simulator/device/SimConfig.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>

namespace kxsim {

namespace {

template <class T>
bool Data(const kxrec::ClCallRecord& r, T& out)
{
  if (!r.nResult || r.nDataBytes < sizeof(T))
    return false;
  const std::vector<uint8_t> d = kxrec::DecodedData(r);
  std::memcpy(&out, d.data(), sizeof(T));
  return true;
}

bool IsImage(EEntry e) { return e == EEntry::eGetImage || e == EEntry::eGetRawImageByVariableDose; }

// What the device reported about itself and kept in its memory.
void TakeIdentity(const kxrec::ClCallRecord& r, ClDeviceConfig& d, bool* pbControl)
{
  const EEntry e = EEntry(r.nEntry);
  ClDeviceInfoRecord info;
  ClImageSizeRecord size;
  ClVersionRecord version;
  int32_t n = 0;
  if (e == EEntry::eGetDeviceInfo && Data(r, info)) {
    d.nCompatibility = info.nCompatibility;
    d.nPixelSizeX = info.nPixelSizeX;
    d.nPixelSizeY = info.nPixelSizeY;
  } else if ((e == EEntry::eGetImageSize || e == EEntry::eGetRawImageSize) && Data(r, size)) {
    const bool raw = e == EEntry::eGetRawImageSize;
    (raw ? d.nRawWidth : d.nNormalWidth) = size.nWidth;
    (raw ? d.nRawHeight : d.nNormalHeight) = size.nHeight;
    (raw ? d.nRawBytes : d.nNormalBytes) = size.nImageSize;
  } else if (e == EEntry::eGetVersion && Data(r, version)) {
    std::copy(version.aLibrary, version.aLibrary + 4, d.aLibrary.begin());
    std::copy(version.aHardware, version.aHardware + 4, d.aHardware.begin());
    std::copy(version.aFirmware, version.aFirmware + 4, d.aFirmware.begin());
    d.bOwnLibraryVersion = true;
  } else if (e == EEntry::eGetSerialNumber && r.nResult) {
    std::vector<uint8_t> s = kxrec::DecodedData(r);
    while (s.size() > size_t(kSerialBytes) && s.back() == 0)
      s.pop_back();
    d.aSerial = s;
  } else if (e == EEntry::eGetExtMemorySize) {
    d.ext.bPresent = r.nResult || r.nLastError != kErrNotSupported;
    if (Data(r, n)) {
      d.ext.nSize = std::clamp(n, 0, 1 << 20);
      d.ext.bReportSize = n != d.ext.nSize;
      d.ext.nReportedSize = n;
    }
  } else if (e == EEntry::eRestoreExtMemory && r.nResult && r.aArgs[0] >= 0) {
    const std::vector<uint8_t> m = kxrec::DecodedData(r);
    const size_t at = size_t(r.aArgs[0]);
    if (d.ext.aContent.size() < at + m.size())
      d.ext.aContent.resize(at + m.size(), 0);
    std::copy(m.begin(), m.end(), d.ext.aContent.begin() + long(at));
  } else if (e == EEntry::eRestore7ControlBytes && r.nResult && !*pbControl) {
    const std::vector<uint8_t> c = kxrec::DecodedData(r);
    std::copy_n(c.begin(), std::min(c.size(), d.aControl.size()), d.aControl.begin());
    *pbControl = true;
  }
}

} // namespace

const ClReplayFrame* ClReplay::Pick(uint64_t n, bool bRaw, bool bLoop, uint64_t* pnSkipped) const
{
  *pnSkipped = 0;
  const uint64_t count = aFrames.size();
  if (count == 0)
    return nullptr;
  for (uint64_t k = 0; k < count; ++k) {
    uint64_t i = n + k;
    i = bLoop ? i % count : std::min(i, count - 1);
    if (aFrames[i].bRaw == bRaw) {
      *pnSkipped = k;
      return &aFrames[i];
    }
  }
  return nullptr;
}

std::vector<uint8_t> ClReplay::Pixels(const ClReplayFrame& f) const
{
  kxrec::ClCallRecord r;
  m_pReader->ReadAt(f.nOffset, r);
  return kxrec::DecodedData(r);
}

namespace {

// What one recorded device comes to, gathered in the one pass over the file.
struct ClRecordedDevice
{
  ClDeviceConfig d;
  std::shared_ptr<ClReplay> pReplay;
  std::map<EEntry, int64_t> counts;
  bool bControl = false, bGone = false;
  int64_t nLastEnd = -1;
};

void TakeCall(const kxrec::ClCallRecord& r, ClRecordedDevice& dev)
{
  const EEntry e = EEntry(r.nEntry);
  const int64_t index = dev.counts[e]++;
  TakeIdentity(r, dev.d, &dev.bControl);
  if (IsImage(e) && r.nResult) {
    ClReplayFrame f;
    f.bRaw = e == EEntry::eGetRawImageByVariableDose;
    f.nGapUs = (r.nEndNs - (dev.nLastEnd < 0 ? r.nStartNs : dev.nLastEnd)) / 1000;
    // Recordings without the frame time told: the end of the call.
    f.nTimeUs = r.aArgs[2] ? r.aArgs[2] : r.nEndNs / 1000;
    f.nOffset = r.nOffset;
    dev.nLastEnd = r.nEndNs;
    dev.pReplay->aFrames.push_back(f);
  } else if (IsImage(e) && r.nLastError == kErrBusy) {
    // From here on the device was gone: the simulator's own disconnection follows.
    dev.d.nDisconnectAtFrame = int64_t(dev.pReplay->aFrames.size());
    dev.bGone = true;
  } else if (!r.nResult) {
    dev.d.aFaults.push_back(ClFault{e, index, 1, r.nLastError, false});
  }
}

} // namespace

void ApplyRecording(const std::string& sPath, const std::string& sWhere, ClDeviceConfig& d,
                    std::vector<ClFault>* pGlobal)
{
  // Every recorded device is gathered, without its frames' pixels, and d becomes the one on
  // its interface or the first.
  ClDeviceConfig base = d;
  base.ext.aContent.clear();
  std::map<int, ClRecordedDevice> devices;
  int first = -1;
  std::map<EEntry, int64_t> global;
  try {
    auto reader = std::make_shared<kxrec::ClRecordReader>(sPath);
    kxrec::ClCallRecord r;
    while (reader->Next(r)) {
      if (r.nEntry >= kEntryCount)
        continue;
      const EEntry e = EEntry(r.nEntry);
      if (r.nInterface < 0) {
        // Calls without a device are counted per process, as the simulator's faults are.
        const int64_t index = global[e]++;
        if (!r.nResult && pGlobal)
          pGlobal->push_back(ClFault{e, index, 1, r.nLastError, false});
        ClVersionRecord v;
        if (e == EEntry::eGetVersion && Data(r, v)) {
          std::copy(v.aLibrary, v.aLibrary + 4, base.aLibrary.begin());
          base.bOwnLibraryVersion = true;
          for (auto& kv : devices) {
            std::copy(v.aLibrary, v.aLibrary + 4, kv.second.d.aLibrary.begin());
            kv.second.d.bOwnLibraryVersion = true;
          }
        }
        continue;
      }
      auto it = devices.find(r.nInterface);
      if (it == devices.end()) {
        ClRecordedDevice dev;
        dev.d = base;
        dev.pReplay = std::make_shared<ClReplay>(reader);
        it = devices.emplace(r.nInterface, std::move(dev)).first;
        first = first < 0 ? r.nInterface : first;
      }
      if (!it->second.bGone)
        TakeCall(r, it->second);
    }
  } catch (const kxrec::ClRecordError& e) {
    json::Fail(sWhere, sPath + ": " + e.what());
  }
  if (first < 0)
    json::Fail(sWhere, sPath + ": the recording holds no device");
  ClRecordedDevice& chosen = devices.count(d.nInterface) ? devices[d.nInterface] : devices[first];
  d = chosen.d;
  if (!d.ext.aContent.empty())
    d.ext.nSize = std::max(d.ext.nSize, int(d.ext.aContent.size()));
  d.script.SetLoop(false);
  d.pReplay = chosen.pReplay;
}

} // namespace kxsim
