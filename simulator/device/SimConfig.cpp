#include "simulator/device/SimConfig.h"

#include "simulator/JsonTree.h"
#include "simulator/device/SimReplay.h"

#include <algorithm>
#include <cstring>
#include <set>

namespace kxsim {

using json::Key;
using json::Tree;

namespace {

const char* const kEntryNames[kEntryCount] = {
#define KXSIM_ENTRY_NAME(entry, name) #name,
    KXSIM_ENTRY_POINTS(KXSIM_ENTRY_NAME)
#undef KXSIM_ENTRY_NAME
};

std::array<uint16_t, 4> Version(const Tree& node, const std::string& where)
{
  const std::vector<long long> v = json::Integers(node, where, 0, 65535);
  if (v.size() != 4)
    json::Fail(where, "a version is four numbers");
  return {{uint16_t(v[0]), uint16_t(v[1]), uint16_t(v[2]), uint16_t(v[3])}};
}

void Size(const Tree& node, const std::string& where, int& w, int& h)
{
  const std::vector<long long> v = json::Integers(node, where, 1, 4096);
  if (v.size() != 2)
    json::Fail(where, "a size is [width, height]");
  if (v[0] * v[1] > 4000000)
    json::Fail(where, "at most 4000000 pixels");
  w = int(v[0]);
  h = int(v[1]);
}

uint32_t Error(const Tree& node, const std::string& where)
{
  return uint32_t(json::Integer(node, where, 0, 0xFFFFFFFFll));
}

std::vector<ClFault> Faults(const Tree& node, const std::string& where, int64_t* pDisconnect)
{
  if (!json::IsArray(node))
    json::Fail(where, "expected an array of faults");
  std::vector<ClFault> faults;
  size_t i = 0;
  for (const auto& child : node) {
    const std::string w = json::Item(where, i++);
    const Tree& f = child.second;
    if (auto v = f.get_child_optional("disconnect_at_frame")) {
      if (!pDisconnect)
        json::Fail(w, "disconnection belongs to a device");
      json::CheckKeys(f, w, {"disconnect_at_frame"});
      *pDisconnect = json::Integer(*v, Key(w, "disconnect_at_frame"), 0, 1ll << 60);
      continue;
    }
    json::CheckKeys(f, w, {"call", "at", "error", "count", "bad_alloc"});
    ClFault fault;
    const auto call = f.get_child_optional("call");
    if (!call)
      json::Fail(w, "a fault needs \"call\" (an entry point name) or \"disconnect_at_frame\"");
    const std::string name = json::Text(*call, Key(w, "call"));
    fault.eCall = EntryByName(name.c_str());
    if (fault.eCall == EEntry::eCount)
      json::Fail(Key(w, "call"), "no entry point is called \"" + name + "\"");
    if (auto v = f.get_child_optional("at"))
      fault.nAt = json::Integer(*v, Key(w, "at"), 0, 1ll << 60);
    if (auto v = f.get_child_optional("error"))
      fault.nError = Error(*v, Key(w, "error"));
    if (auto v = f.get_child_optional("count"))
      fault.nCount = json::Integer(*v, Key(w, "count"), -1, 1ll << 60);
    if (auto v = f.get_child_optional("bad_alloc"))
      fault.bBadAlloc = json::Boolean(*v, Key(w, "bad_alloc"));
    faults.push_back(fault);
  }
  return faults;
}

void Serial(ClDeviceConfig& d, const Tree& node, const std::string& where)
{
  const std::string s = json::Text(node, where);
  d.aSerial.assign(kSerialBytes, 0);
  if (s == "unprogrammed") {
    std::fill(d.aSerial.begin(), d.aSerial.end(), uint8_t(255));
    return;
  }
  if (s.size() > size_t(kSerialBytes))
    json::Fail(where, "a serial text has at most 8 characters (use serial_bytes for longer forms)");
  std::memcpy(d.aSerial.data(), s.data(), s.size());
}

ClDeviceConfig Device(const Tree& node, const std::string& where, std::vector<ClFault>& global)
{
  json::CheckKeys(node, where,
                  {"interface", "compatibility", "serial", "serial_bytes", "normal_size",
                   "raw_size", "pixel_size", "version", "ext_memory", "faults", "fail_open",
                   "fail_info", "control_bytes", "platen_seed", "loop", "script", "image_bytes",
                   "replay"});
  ClDeviceConfig d;
  // A recording sets the device up first; the other keys may still change it.
  if (auto r = node.get_child_optional("replay")) {
    if (auto v = node.get_child_optional("interface"))
      d.nInterface = int(json::Integer(*v, Key(where, "interface"), 0, kInterfaceCount - 1));
    ApplyRecording(json::Text(*r, Key(where, "replay")), Key(where, "replay"), d, &global);
  }
  for (const auto& kv : node) {
    const std::string& k = kv.first;
    const std::string w = Key(where, k);
    const Tree& v = kv.second;
    if (k == "interface") {
      d.nInterface = int(json::Integer(v, w, 0, kInterfaceCount - 1));
    } else if (k == "compatibility") {
      d.nCompatibility = int(json::Integer(v, w, 0, 255));
    } else if (k == "serial") {
      Serial(d, v, w);
    } else if (k == "serial_bytes") {
      const std::vector<long long> b = json::Integers(v, w, 0, 255);
      if (b.empty() || b.size() > size_t(kSerialBytesMax))
        json::Fail(w, "1 to 12 bytes");
      d.aSerial.assign(b.begin(), b.end());
    } else if (k == "normal_size") {
      Size(v, w, d.nNormalWidth, d.nNormalHeight);
    } else if (k == "raw_size") {
      Size(v, w, d.nRawWidth, d.nRawHeight);
    } else if (k == "pixel_size") {
      const std::vector<long long> p = json::Integers(v, w, 0, 65535);
      if (p.size() != 2)
        json::Fail(w, "expected [x, y]");
      d.nPixelSizeX = int(p[0]);
      d.nPixelSizeY = int(p[1]);
    } else if (k == "version") {
      json::CheckKeys(v, w, {"lib", "hw", "fw"});
      if (auto l = v.get_child_optional("lib")) {
        d.aLibrary = Version(*l, Key(w, "lib"));
        d.bOwnLibraryVersion = true;
      }
      if (auto h = v.get_child_optional("hw"))
        d.aHardware = Version(*h, Key(w, "hw"));
      if (auto f = v.get_child_optional("fw"))
        d.aFirmware = Version(*f, Key(w, "fw"));
    } else if (k == "ext_memory") {
      if (v.empty() && (v.data() == "null" || v.data() == "false")) {
        d.ext.bPresent = false;
        continue;
      }
      json::CheckKeys(v, w, {"size", "calibration", "marker_offset", "reported_size"});
      if (auto s = v.get_child_optional("size"))
        d.ext.nSize = int(json::Integer(*s, Key(w, "size"), 0, 1 << 20));
      if (auto c = v.get_child_optional("calibration"))
        d.ext.bCalibration = json::Boolean(*c, Key(w, "calibration"));
      if (auto o = v.get_child_optional("marker_offset"))
        d.ext.nMarkerOffset = int(json::Integer(*o, Key(w, "marker_offset"), 0, 255));
      if (auto r = v.get_child_optional("reported_size")) {
        d.ext.bReportSize = true;
        d.ext.nReportedSize =
            int32_t(json::Integer(*r, Key(w, "reported_size"), INT32_MIN, INT32_MAX));
      }
    } else if (k == "faults") {
      const std::vector<ClFault> f = Faults(v, w, &d.nDisconnectAtFrame);
      d.aFaults.insert(d.aFaults.end(), f.begin(), f.end());
    } else if (k == "fail_open") {
      d.nOpenError = Error(v, w);
    } else if (k == "fail_info") {
      d.nInfoError = Error(v, w);
    } else if (k == "control_bytes") {
      const std::vector<long long> b = json::Integers(v, w, 0, 255);
      if (b.size() != size_t(kControlBytes))
        json::Fail(w, "seven bytes");
      for (int i = 0; i < kControlBytes; ++i)
        d.aControl[size_t(i)] = uint8_t(b[size_t(i)]);
    } else if (k == "image_bytes") {
      const std::vector<long long> b = json::Integers(v, w, 0, 1 << 24);
      if (b.size() != 2)
        json::Fail(w, "expected [normal, raw]");
      d.nNormalBytes = b[0];
      d.nRawBytes = b[1];
    } else if (k == "platen_seed") {
      d.nPlatenSeed = uint32_t(json::Integer(v, w, 0, 0xFFFFFFFFll));
    } else if (k == "script") {
      const bool loop = d.script.Loop();
      d.script = ParseScript(v, w);
      d.script.SetLoop(loop);
    }
  }
  if (auto l = node.get_child_optional("loop"))
    d.script.SetLoop(json::Boolean(*l, Key(where, "loop")));
  return d;
}

} // namespace

const char* EntryName(EEntry e)
{
  const int i = int(e);
  return i >= 0 && i < kEntryCount ? kEntryNames[i] : "";
}

EEntry EntryByName(const char* szName)
{
  if (!szName)
    return EEntry::eCount;
  for (int i = 0; i < kEntryCount; ++i)
    if (std::strcmp(kEntryNames[i], szName) == 0)
      return EEntry(i);
  return EEntry::eCount;
}

ClDeviceConfig::ClDeviceConfig()
  : aSerial{'2', '1', '2', '3', '4', '5', '6', '7'}, script(ClScript::Demo())
{}

ClSimConfig DefaultConfig(const std::array<uint16_t, 4>& aLibrary)
{
  ClSimConfig c;
  c.aLibrary = aLibrary;
  c.aDevices.emplace_back();
  c.aDevices.back().aLibrary = aLibrary;
  c.sSource = "built-in configuration";
  return c;
}

ClSimConfig ParseConfig(const std::string& sText, const std::string& sSource,
                        const std::array<uint16_t, 4>& aDefaultLibrary)
{
  const Tree tree = json::Parse(sText, sSource);
  try {
    json::CheckKeys(
        tree, "", {"frame_interval_ms", "library_version", "devices", "interfaces_busy", "faults"});
    ClSimConfig c;
    c.sSource = sSource;
    c.aLibrary = aDefaultLibrary;
    bool library = false;
    if (auto v = tree.get_child_optional("frame_interval_ms")) {
      c.nFrameIntervalMs = int(json::Integer(*v, "frame_interval_ms", 0, 60000));
      c.bIntervalGiven = true;
    }
    if (auto v = tree.get_child_optional("library_version")) {
      c.aLibrary = Version(*v, "library_version");
      library = true;
    }
    if (auto v = tree.get_child_optional("devices")) {
      if (!json::IsArray(*v))
        json::Fail("devices", "expected an array of devices");
      std::set<int> seen;
      size_t i = 0;
      for (const auto& child : *v) {
        const std::string w = json::Item("devices", i++);
        c.aDevices.push_back(Device(child.second, w, c.aFaults));
        if (!seen.insert(c.aDevices.back().nInterface).second)
          json::Fail(w, "interface " + std::to_string(c.aDevices.back().nInterface) +
                            " is used twice");
      }
    }
    // The library reports one version; a device's own "lib" stands in when none is given.
    if (!library)
      for (const ClDeviceConfig& d : c.aDevices)
        if (d.bOwnLibraryVersion) {
          c.aLibrary = d.aLibrary;
          break;
        }
    for (ClDeviceConfig& d : c.aDevices)
      if (!d.bOwnLibraryVersion)
        d.aLibrary = c.aLibrary;
    if (auto v = tree.get_child_optional("interfaces_busy")) {
      for (long long n : json::Integers(*v, "interfaces_busy", 0, kInterfaceCount - 1))
        c.aBusy.push_back(int(n));
    }
    if (auto v = tree.get_child_optional("faults")) {
      const std::vector<ClFault> f = Faults(*v, "faults", nullptr);
      c.aFaults.insert(c.aFaults.end(), f.begin(), f.end());
    }
    return c;
  } catch (const ClSimConfigError& e) {
    throw ClSimConfigError(sSource + ": " + e.what());
  }
}

} // namespace kxsim
