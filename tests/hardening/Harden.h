#pragma once
// What the hardening suites share: a short simulator script, the scripted sequence of
// export calls, and the checks that nothing is left behind after a run.
#include "capture/KX2LiveCaptureR2.h"
#include "device/InterprocessLock.h"
#include "livescannerkx2.h"
#include "tests/device/SimControl.h"

#include <dirent.h>

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <mutex>
#include <regex>
#include <set>
#include <string>
#include <vector>

namespace harden {

constexpr const char* szScanner = "KX2 21234567";

// A script short enough to run hundreds of times: a placed, held and lifted finger, then a
// roll, looping.
inline std::string Script()
{
  return R"("script":[{"empty":2},{"place":3,"finger":{"seed":7,"pressure":0.8}},{"still":10},)"
         R"({"lift":2},{"empty":2},{"roll":24,"from_x":260,"to_x":540},{"lift":2},{"empty":2}])";
}

// One device with the script and the given device faults; sTopFaults go to the calls made
// without a device.
inline std::string Config(const std::string& sDeviceFaults = "", const std::string& sTopFaults = "")
{
  return "{\"frame_interval_ms\":0,\"faults\":[" + sTopFaults +
         "],\"devices\":[{\"interface\":0,\"faults\":[" + sDeviceFaults + "]," + Script() + "}]}";
}

// The time limits of the engines opened from now on. The suites link the library's static
// twin to reach them: a wait that fails then fails in a fraction of the product's limits.
inline void Limits(int32_t nPreviewMs, int32_t nResultMs)
{
  ClKX2LiveCaptureR2::StTuning t;
  t.nPreviewMs = nPreviewMs;
  t.nResultMs = nResultMs;
  t.bLowPriority = false;
  ClKX2LiveCaptureR2::SetDefaultTuning(t);
}
// Short, yet far above what a frame takes under a sanitizer on a loaded machine.
inline void ShortLimits() { Limits(1500, 3000); }

inline ClSimControl& Sim() { return ClSimControl::Get(); }

inline int Threads()
{
  int n = 0;
  if (DIR* d = opendir("/proc/self/task")) {
    while (dirent* e = readdir(d))
      n += e->d_name[0] != '.';
    closedir(d);
  }
  return n;
}

// True when no one holds the machine-wide claim of the scanner.
inline bool ClaimFree()
{
  ClInterprocessLock lock(szScanner);
  return lock.TryLock();
}

using FnImage = int32_t (*)(LS_KX2_HANDLE, uint8_t*, double*, uint8_t*, int32_t*);

// Every code each export answered in this process, for the check against the header.
class ClLedger
{
public:
  int32_t Note(const std::string& sExport, int32_t n)
  {
    std::lock_guard<std::mutex> lock(m_Mutex);
    ++m_Codes[sExport][n];
    return n;
  }
  std::map<std::string, std::map<int32_t, int64_t>> Codes()
  {
    std::lock_guard<std::mutex> lock(m_Mutex);
    return m_Codes;
  }

private:
  std::mutex m_Mutex;
  std::map<std::string, std::map<int32_t, int64_t>> m_Codes;
};

inline ClLedger& Ledger()
{
  static ClLedger s;
  return s;
}

// Calls an export and notes its answer by the export's name.
#define HARDEN_CALL(fn, ...) ::harden::Ledger().Note(#fn, fn(__VA_ARGS__))

inline const char* ImageName(FnImage fn)
{
  return fn == LS_KX2GetImage          ? "LS_KX2GetImage"
         : fn == LS_KX2GetPreviewImage ? "LS_KX2GetPreviewImage"
                                       : "LS_KX2GetRollImage";
}

// The codes the public header lists for each export: the \returns lines of the comment
// before it (which a group of exports may share), the handle
// codes of the file's head for those that take a handle, and for the property functions
// the codes their common block names.
inline std::map<std::string, std::set<int32_t>> Documented()
{
  std::ifstream in(LSKX2_PUBLIC_HEADER);
  std::string line, block;
  std::set<int32_t> head, properties;
  std::map<std::string, std::set<int32_t>> out;
  const std::regex code("-[0-9]+"), decl("LS_KX2_EXPORT [a-z0-9_ ]+\\*? ?(LS_KX2[A-Za-z]+)\\(");
  auto codes = [&](const std::string& s) {
    std::set<int32_t> c;
    for (std::sregex_iterator it(s.begin(), s.end(), code), end; it != end; ++it)
      c.insert(std::stoi(it->str()));
    return c;
  };
  bool bFirst = true;
  while (std::getline(in, line)) {
    if (line.rfind("/*", 0) == 0)
      block.clear();
    block += line + "\n";
    // The head's codes stand before its examples.
    if (bFirst && line.find("A plain capture") != std::string::npos) {
      head = codes(block);
      bFirst = false;
    }
    if (line.find("Every property function can also return") != std::string::npos)
      properties = codes(line);
    std::smatch m;
    if (std::regex_search(line, m, decl)) {
      const std::string sName = m[1];
      std::string sDecl = line;
      while (sDecl.find(';') == std::string::npos && std::getline(in, line))
        sDecl += line;
      const size_t nReturns = block.find("\\returns");
      std::set<int32_t>& c = out[sName];
      c = codes(nReturns == std::string::npos ? "" : block.substr(nReturns));
      c.insert(-49);
      if (sDecl.find("LS_KX2_HANDLE h") != std::string::npos)
        c.insert(head.begin(), head.end());
      if (sName.find("Property") != std::string::npos)
        c.insert(properties.begin(), properties.end());
    }
  }
  return out;
}

// Every code noted so far is one the header lists for that export.
inline void ExpectDocumented()
{
  const auto documented = Documented();
  ASSERT_GE(documented.size(), 31u) << "the header's exports";
  for (auto& [sExport, codes] : Ledger().Codes()) {
    auto it = documented.find(sExport);
    ASSERT_NE(it, documented.end()) << sExport;
    for (auto& [nCode, nTimes] : codes) {
      if (nCode != 0) {
        EXPECT_TRUE(it->second.count(nCode))
            << sExport << " answered " << nCode << " (" << nTimes << " times), not in the header";
      }
    }
  }
}

// Codes the exports answered during a run, by code (0 left out).
struct StOutcome
{
  std::map<int32_t, int> codes;
  bool bCompleted = true; // every step answered 0
  void Note(int32_t n)
  {
    if (n != 0) {
      ++codes[n];
      bCompleted = false;
    }
  }
};

// Triggers and fetches until the finger flag; stops at the first refusal.
inline int32_t CaptureUntilFinger(LS_KX2_HANDLE h, FnImage fn, int nMaxFrames, StOutcome& out)
{
  std::vector<uint8_t> image(800 * 750);
  double d = 0;
  uint8_t bFinger = 0;
  int32_t nStatus = 0;
  for (int i = 0; i < nMaxFrames; ++i) {
    int32_t n = HARDEN_CALL(LS_KX2TriggerScanner, h);
    if (n == 0)
      n = Ledger().Note(ImageName(fn), fn(h, image.data(), &d, &bFinger, &nStatus));
    out.Note(n);
    if (n != 0 || bFinger)
      return n;
  }
  out.Note(-9999); // never saw the finger
  return -9999;
}

// One plain image without trigger: what an application tries after a fault has passed.
inline int32_t FreshCapture(LS_KX2_HANDLE h)
{
  std::vector<uint8_t> image(800 * 750);
  double d = 0;
  uint8_t b = 0;
  int32_t s = 0;
  int32_t n = HARDEN_CALL(LS_KX2SetCaptureMode, h, LS_KX2_MODE_SINGLE_SHOT);
  return n ? n : HARDEN_CALL(LS_KX2GetImage, h, image.data(), &d, &b, &s);
}

// Every mode, a plain capture, a roll, the JSON document read and written. Returns with the
// handle still open (or null when the open failed).
inline LS_KX2_HANDLE Sequence(StOutcome& out)
{
  LS_KX2_HANDLE h = nullptr;
  out.Note(HARDEN_CALL(LS_KX2OpenScanner, szScanner, &h));
  if (!h)
    return nullptr;
  for (uint32_t m : {LS_KX2_MODE_PREVIEW, LS_KX2_MODE_TRIGGERED, LS_KX2_MODE_SINGLE_SHOT,
                     LS_KX2_MODE_LIVENESS, LS_KX2_MODE_ROLL, LS_KX2_MODE_PLAIN})
    out.Note(HARDEN_CALL(LS_KX2SetCaptureMode, h, m));
  std::vector<uint8_t> image(800 * 750);
  double d = 0;
  uint8_t b = 0;
  int32_t s = 0;
  if (CaptureUntilFinger(h, LS_KX2GetPreviewImage, 60, out) == 0)
    out.Note(HARDEN_CALL(LS_KX2GetImage, h, image.data(), &d, &b, &s));
  int32_t n = HARDEN_CALL(LS_KX2SetCaptureMode, h, LS_KX2_MODE_ROLL);
  out.Note(n);
  if (n == 0)
    CaptureUntilFinger(h, LS_KX2GetRollImage, 120, out);
  uint64_t nSize = 0;
  n = HARDEN_CALL(LS_KX2ExtendedScannerAccess, h, 6, nullptr, &nSize);
  if (n != -702)
    out.Note(n == 0 ? -9998 : n);
  std::string text(nSize + 1, '\0');
  out.Note(HARDEN_CALL(LS_KX2ExtendedScannerAccess, h, 6, reinterpret_cast<uint8_t*>(text.data()),
                       &nSize));
  std::string sWrite = R"({"KX2":{"ROLLFINGER":{"MERGED_LEN_THRESHOLD":"40"}}})";
  nSize = sWrite.size() + 1;
  out.Note(HARDEN_CALL(LS_KX2ExtendedScannerAccess, h, 7, reinterpret_cast<uint8_t*>(sWrite.data()),
                       &nSize));
  return h;
}

} // namespace harden
