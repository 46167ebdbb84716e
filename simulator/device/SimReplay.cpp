#include "simulator/device/SimReplay.h"

#include "simulator/JsonTree.h"
#include "simulator/device/SimConfig.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>

namespace kxsim {

namespace {

std::vector<kxrec::ClCallRecord> ReadAll(const std::string& sPath, const std::string& sWhere)
{
  std::vector<kxrec::ClCallRecord> calls;
  try {
    kxrec::ClRecordReader reader(sPath);
    kxrec::ClCallRecord r;
    while (reader.Next(r))
      calls.push_back(r);
  } catch (const kxrec::ClRecordError& e) {
    json::Fail(sWhere, sPath + ": " + e.what());
  }
  return calls;
}

int ChooseInterface(const std::vector<kxrec::ClCallRecord>& calls, int nWanted)
{
  int first = -1;
  for (const kxrec::ClCallRecord& r : calls) {
    if (r.nInterface == nWanted)
      return nWanted;
    if (r.nInterface >= 0 && first < 0)
      first = r.nInterface;
  }
  return first;
}

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

void ApplyRecording(const std::string& sPath, const std::string& sWhere, ClDeviceConfig& d,
                    std::vector<ClFault>* pGlobal)
{
  const std::vector<kxrec::ClCallRecord> calls = ReadAll(sPath, sWhere);
  const int iface = ChooseInterface(calls, d.nInterface);
  if (iface < 0)
    json::Fail(sWhere, sPath + ": the recording holds no device");
  auto replay = std::make_shared<ClReplay>();
  d.ext.aContent.clear();
  std::map<EEntry, int64_t> counts, global;
  bool control = false, gone = false;
  int64_t lastEnd = -1;
  try {
    for (const kxrec::ClCallRecord& r : calls) {
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
          std::copy(v.aLibrary, v.aLibrary + 4, d.aLibrary.begin());
          d.bOwnLibraryVersion = true;
        }
        continue;
      }
      if (r.nInterface != iface || gone)
        continue;
      const int64_t index = counts[e]++;
      TakeIdentity(r, d, &control);
      if (IsImage(e) && r.nResult) {
        ClReplayFrame f;
        f.bRaw = e == EEntry::eGetRawImageByVariableDose;
        f.nGapUs = (r.nEndNs - (lastEnd < 0 ? r.nStartNs : lastEnd)) / 1000;
        lastEnd = r.nEndNs;
        f.record = r;
        replay->aFrames.push_back(std::move(f));
      } else if (IsImage(e) && r.nLastError == kErrBusy) {
        // From here on the device was gone: the simulator's own disconnection follows.
        d.nDisconnectAtFrame = int64_t(replay->aFrames.size());
        gone = true;
      } else if (!r.nResult) {
        d.aFaults.push_back(ClFault{e, index, 1, r.nLastError, false});
      }
    }
  } catch (const kxrec::ClRecordError& e) {
    json::Fail(sWhere, sPath + ": " + e.what());
  }
  if (!d.ext.aContent.empty())
    d.ext.nSize = std::max(d.ext.nSize, int(d.ext.aContent.size()));
  d.script.SetLoop(false);
  d.pReplay = replay;
}

} // namespace kxsim
