// For every device entry point the SDK calls during a scripted sequence, and for every
// position N of that call, the N-th call fails (transient, hard, or for good as after a
// disconnect). Whatever fails, the process survives, the handle closes, the claim and the
// threads go, and once the fault has passed the scanner captures again.
#include "Harden.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <sstream>

using namespace harden;

namespace {

// The names of the device library the SDK may call.
const char* const aEntries[] = {
    "ftrScanGetInterfaces",
    "ftrScanOpenDevice",
    "ftrScanOpenDeviceOnInterface",
    "ftrScanCloseDevice",
    "ftrScanGetDeviceInfo",
    "ftrScanGetVersion",
    "ftrScanGetImageSize",
    "ftrScanGetRawImageSize",
    "ftrScanGetImage",
    "ftrScanGetImageByVariableDose",
    "ftrScanGetRawImageByVariableDose",
    "ftrScanGetFrame",
    "ftrScanGetDarkImage",
    "ftrScanGetBacklightImage",
    "ftrScanGetFuzzyImage",
    "ftrScanIsFingerPresent",
    "ftrScanGetExtMemorySize",
    "ftrScanRestoreExtMemory",
    "ftrScanSaveExtMemory",
    "ftrScanRestore7ControlBytes",
    "ftrScanSave7ControlBytes",
    "ftrScanGetSerialNumber",
    "ftrScanSetDiodesStatus",
    "ftrScanGetOptions",
    "ftrScanSetOptions",
    "ftrScanGlobalSetOptions",
    "ftrScanChangeSystemNotification",
    "ftrScanGetFakeReplicaInterval",
    "ftrScanSetFakeReplicaInterval",
    "ftrScanGetLFDParameters",
    "ftrScanSetLFDParameters",
    "ftrScanRollStart",
    "ftrScanRollGetImage",
    "ftrScanRollAbort",
    "ftrScanRollGetFrameParameters",
    "ftrScanGetImageSizes",
};

bool WithoutDevice(const std::string& s)
{
  return s == "ftrScanGetInterfaces" || s == "ftrScanGlobalSetOptions" ||
         s == "ftrScanChangeSystemNotification" || s == "ftrScanGetVersion";
}

struct StFlavour
{
  const char* szName;
  uint32_t nError;
  int nCount; // -1: the call fails for good from N on
};
const StFlavour aFlavours[] = {{"transient", 121, 1}, {"hard", 31, 1}, {"gone", 170, -1}};

// Every position with LSKX2_FAULT_FULL=1 (scripts/stress.sh); else about five spread over
// the long ones.
int Stride(int nCalls)
{
  if (const char* s = std::getenv("LSKX2_FAULT_FULL"); s && *s == '1')
    return 1;
  return nCalls > 10 ? nCalls / 5 : 1;
}

// The whole sequence with one fault, then the checks.
void RunOnce(const std::string& sConfig, bool bPasses, StOutcome& out, bool& bRecovered)
{
  Sim().Load(sConfig);
  const int nThreads = Threads();
  int32_t n = HARDEN_CALL(LS_KX2Initialize, nullptr);
  out.Note(n);
  if (n != 0) {
    ASSERT_EQ(LS_KX2Initialize(nullptr), 0) << "initialise after a failed one";
  }
  LS_KX2_HANDLE h = Sequence(out);
  bRecovered = false;
  if (bPasses) {
    if (!h) {
      ASSERT_EQ(LS_KX2OpenScanner(szScanner, &h), 0) << "open once the fault has passed";
    }
    // A fault placed after the sequence's last call fires in this capture: the next passes.
    if (FreshCapture(h) != 0) {
      EXPECT_EQ(FreshCapture(h), 0) << "capture once the fault has passed";
    }
    bRecovered = true;
  }
  if (h) {
    EXPECT_EQ(HARDEN_CALL(LS_KX2CloseScanner, &h), 0);
  }
  EXPECT_TRUE(ClaimFree());
  EXPECT_EQ(LS_KX2Uninitialize(), 0);
  EXPECT_EQ(Threads(), nThreads) << "threads left running";
  if (!bPasses) {
    // Plugged back in: a fresh start captures.
    Sim().Load(Config());
    ASSERT_EQ(LS_KX2Initialize(nullptr), 0);
    ASSERT_EQ(LS_KX2OpenScanner(szScanner, &h), 0);
    EXPECT_EQ(FreshCapture(h), 0);
    EXPECT_EQ(LS_KX2CloseScanner(&h), 0);
    EXPECT_EQ(LS_KX2Uninitialize(), 0);
  }
}

std::string Codes(const std::map<int32_t, int>& m)
{
  std::ostringstream s;
  for (auto& [c, k] : m)
    s << " " << c << "x" << k;
  return s.str();
}

} // namespace

TEST(FaultInjection, EveryCallOfEveryEntryPointFailsOnce)
{
  ShortLimits();
  // A clean run counts the calls the sequence makes of each entry point.
  StOutcome clean;
  bool bRecovered = false;
  RunOnce(Config(), true, clean, bRecovered);
  ASSERT_TRUE(clean.bCompleted) << Codes(clean.codes);
  Sim().Load(Config());
  ASSERT_EQ(LS_KX2Initialize(nullptr), 0);
  StOutcome counted;
  LS_KX2_HANDLE h = Sequence(counted);
  ASSERT_EQ(LS_KX2CloseScanner(&h), 0);
  ASSERT_EQ(LS_KX2Uninitialize(), 0);
  std::map<std::string, int64_t> calls;
  for (const char* e : aEntries)
    if (int64_t n = Sim().Calls(e); n > 0)
      calls[e] = n;
  ASSERT_FALSE(calls.empty());

  for (auto& [sEntry, nCalls] : calls) {
    for (const StFlavour& f : aFlavours) {
      StOutcome all;
      int nPositions = 0, nCompleted = 0, nRecovered = 0;
      // One past the last call: the fault never fires and the sequence completes.
      for (int64_t at = 0; at <= nCalls;
           at += (at == nCalls - 1 ? 1
                                   : std::min<int64_t>(Stride(int(nCalls)),
                                                       std::max<int64_t>(1, nCalls - 1 - at)))) {
        SCOPED_TRACE(sEntry + " " + f.szName + " at " + std::to_string(at));
        const std::string sFault = "{\"call\":\"" + sEntry + "\",\"at\":" + std::to_string(at) +
                                   ",\"error\":" + std::to_string(f.nError) +
                                   ",\"count\":" + std::to_string(f.nCount) + "}";
        const bool bTop = WithoutDevice(sEntry);
        const bool bDevice = !bTop || sEntry == "ftrScanGetVersion";
        StOutcome out;
        RunOnce(Config(bDevice ? sFault : "", bTop ? sFault : ""), f.nCount > 0, out, bRecovered);
        if (HasFatalFailure())
          return;
        ++nPositions;
        nCompleted += out.bCompleted;
        nRecovered += bRecovered;
        for (auto& [c, k] : out.codes)
          all.codes[c] += k;
      }
      std::cout << "fault " << sEntry << " " << f.szName << ": calls " << nCalls << ", positions "
                << nPositions << ", completed " << nCompleted << ", recovered " << nRecovered
                << ", codes" << Codes(all.codes) << std::endl;
    }
  }
  ExpectDocumented();
}

// The device goes away after N delivered frames, at every point of the sequence.
TEST(FaultInjection, DisconnectAtEveryFrame)
{
  ShortLimits();
  Sim().Load(Config());
  ASSERT_EQ(LS_KX2Initialize(nullptr), 0);
  StOutcome counted;
  LS_KX2_HANDLE h = Sequence(counted);
  const int64_t nFrames = int64_t(Sim().State(0).nFrames);
  ASSERT_EQ(LS_KX2CloseScanner(&h), 0);
  ASSERT_EQ(LS_KX2Uninitialize(), 0);
  StOutcome all;
  int nPositions = 0;
  for (int64_t at = 0; at <= nFrames; at += Stride(int(nFrames))) {
    SCOPED_TRACE("disconnect at frame " + std::to_string(at));
    StOutcome out;
    bool bRecovered = false;
    RunOnce(Config("{\"disconnect_at_frame\":" + std::to_string(at) + "}"), false, out, bRecovered);
    if (HasFatalFailure())
      return;
    ++nPositions;
    for (auto& [c, k] : out.codes)
      all.codes[c] += k;
  }
  std::cout << "disconnect: frames " << nFrames << ", positions " << nPositions << ", codes"
            << Codes(all.codes) << std::endl;
  ExpectDocumented();
}
