// roll_quality [-o DIR] [--interval MS] [--only TEXT] [--mode M]: the capture-quality report of rolled
// prints. A fixed matrix of scripted rolls runs through the SDK's C interface against the
// simulated scanner, in both merge modes: three patterns, three speeds, dry, normal and
// wet skin, the calibrated and the strong skin distortion, and the departures (slips,
// backroll, too fast, too small, each edge overrun). Per case it prints the result code
// and the one expected, the median 32 by 32 block correlation with the print as the frames
// showed it (ground truth kind 2), a ghosting index, the coverage and the milliseconds
// per frame; at the end a Markdown summary, and DIR/contact_sheet.png with every rolled
// image.
//
// The finger rests on its side for 10 frames before it rolls, as an operator waits until
// the contact has grown and the capture has settled. Frames are paced (15 ms by default):
// the roll judgement measures speed from the clock.
//
// Ghosting index: the mid-grey share of the rolled print's core over that of one held
// frame, like measured with like. Mid-grey is 70 to 130 once the selection's 5th to 95th
// percentile is stretched over 0 to 255. The core is the middle 40 % of the print's rows
// and the columns that the roll's centre line swept (script's from_x to to_x): there every
// column was built by merging, while outside it each column is the faded rim of the first
// or the last frame, which no merge touches. The held frame is the SDK's own roll image of
// the same finger (pressure, moisture, distortion) resting at the middle of the course
// without rolling: one frame through the same capture, masking and stretching. It is
// measured in the same rows over the middle half of its contact, the firm part that frame
// centres give a rolled print. A rigid finger (no distortion, tremor, drift or uneven
// light) merged exactly scores 0.95 to 1.05 on it.
#include "livescannerkx2.h"
#include "simulator/kxsim.h"
#include "tools/PngWriter.h"

#include <dlfcn.h>
#include <limits.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr int kW = 800, kH = 750;
constexpr int kLead = 2;  // empty frames before the finger
constexpr int kRest = 10; // frames the finger rests on its side before it rolls
// A serial of its own: the claim on a scanner is machine-wide, and test runs elsewhere on
// the machine claim the default one.
constexpr const char* kSerial = "27349051";
constexpr const char* kScanner = "KX2 27349051";

// One scripted roll and the answer it deserves.
struct StCase
{
  std::string sName;
  std::string sFinger;   // JSON object of the finger
  std::string sRoll;     // further JSON keys of the roll step
  int nFrames = 36;      // frames of movement
  int32_t nExpected = 0; // result code
  std::string sGroup;    // "good" or "departure"
};

struct StOutcome
{
  int32_t nCode = 0; // result code of the roll, or the failing call's code
  bool bFinished = false;
  double dMsPerFrame = 0.0;
  int nFrames = 0;
  double dCorrelation = NAN, dGhosting = NAN, dCoverage = NAN;
  std::vector<uint8_t> aImage;
  std::string sDiagnostics; // the scanner's JSON document after the roll
  // Touched pixels of the truth at the edges: rows in the first and last column, columns
  // in the last row, the lowest touched row.
  int nLeftRows = 0, nRightRows = 0, nLastRowColumns = 0, nLowest = -1;
};

// The simulator's inspection exports, from the device library the SDK loads.
class ClSimulator
{
public:
  ClSimulator()
  {
    char szExe[PATH_MAX] = {};
    const ssize_t n = readlink("/proc/self/exe", szExe, sizeof(szExe) - 1);
    std::string sDir = n > 0 ? std::string(szExe, size_t(n)) : std::string(".");
    sDir = sDir.substr(0, sDir.find_last_of('/'));
    // Loaded first and by its full path: the SDK's load by name then finds this one.
    m_pLib = dlopen((sDir + "/libkxScanAPI.so").c_str(), RTLD_NOW | RTLD_GLOBAL);
    if (!m_pLib)
      throw std::runtime_error(std::string("no simulator beside the program: ") + dlerror());
    m_pLoad = Fn<KXSIM_LOADCONFIG>("kxsimLoadConfig");
    m_pError = Fn<KXSIM_GETCONFIGERROR>("kxsimGetConfigError");
    m_pTruth = Fn<KXSIM_GETGROUNDTRUTH>("kxsimGetGroundTruth");
  }
  void Load(const std::string& sJson)
  {
    if (!m_pLoad(sJson.c_str()))
      throw std::runtime_error(std::string("configuration refused: ") + m_pError());
  }
  // The roll as the frames showed it and its mask, rows as the SDK shows them.
  bool Truth(std::vector<uint8_t>& aImage, std::vector<uint8_t>& aMask)
  {
    aImage.assign(size_t(kW) * kH, 0);
    aMask.assign(aImage.size(), 0);
    int32_t w = 0, h = 0;
    return m_pTruth(0, 2, 0, 1, aImage.data(), aMask.data(), aImage.size(), &w, &h) == 1;
  }

private:
  template <typename TpFn>
  TpFn Fn(const char* szName)
  {
    void* p = dlsym(m_pLib, szName);
    if (!p)
      throw std::runtime_error(std::string("simulator lacks ") + szName);
    return reinterpret_cast<TpFn>(p);
  }
  void* m_pLib = nullptr;
  KXSIM_LOADCONFIG m_pLoad = nullptr;
  KXSIM_GETCONFIGERROR m_pError = nullptr;
  KXSIM_GETGROUNDTRUTH m_pTruth = nullptr;
};

std::string Finger(const char* szPattern, int nSeed, double dMoisture, double dDistortion)
{
  char sz[160];
  std::snprintf(sz, sizeof(sz), R"({"pattern":"%s","seed":%d,"moisture":%g,"distortion":%g)",
                szPattern, nSeed, dMoisture, dDistortion);
  return sz;
}

std::string Config(const StCase& c, int nIntervalMs);

// How far the print a roll leaves reaches towards each edge: leftmost and rightmost column,
// top and bottom row of the truth's mask.
struct StExtent
{
  int nLeft = kW, nRight = -1, nTop = kH, nBottom = -1;
};

StExtent Extent(ClSimulator& sim, const StCase& c)
{
  sim.Load(Config(c, 0));
  std::vector<uint8_t> image, mask;
  StExtent e;
  if (!sim.Truth(image, mask))
    return e;
  for (int y = 0; y < kH; ++y)
    for (int x = 0; x < kW; ++x)
      if (mask[size_t(y) * kW + size_t(x)]) {
        e.nLeft = std::min(e.nLeft, x), e.nRight = std::max(e.nRight, x);
        e.nTop = std::min(e.nTop, y), e.nBottom = std::max(e.nBottom, y);
      }
  return e;
}

// Rolls whose print runs over an edge by nBy pixels: the course is placed from where the
// print of the same roll well inside the platen reaches, since the faint rim of the
// contact leaves no print.
void AddOverruns(ClSimulator& sim, const std::string& sName, const std::string& sFinger, int nBy,
                 std::vector<StCase>& a)
{
  const std::string by = std::to_string(nBy);
  StCase c{sName + "/overrun-left-" + by,     sFinger + "}", R"("from_x":420,"to_x":300)", 36,
           LS_KX2_ERROR_ROLLED_OUT_OF_REGION, "departure"};
  c.sRoll = R"("from_x":420,"to_x":)" + std::to_string(300 - Extent(sim, c).nLeft - nBy);
  a.push_back(c);
  c = {sName + "/overrun-right-" + by,    sFinger + "}", R"("from_x":380,"to_x":500)", 36,
       LS_KX2_ERROR_ROLLED_OUT_OF_REGION, "departure"};
  c.sRoll = R"("from_x":380,"to_x":)" + std::to_string(500 + kW - 1 - Extent(sim, c).nRight + nBy);
  a.push_back(c);
  const std::string path = R"("from_x":220,"to_x":580)";
  c = {sName + "/overrun-top-" + by,
       sFinger + R"(,"y":375})",
       path,
       36,
       LS_KX2_ERROR_ROLLED_OUT_OF_REGION,
       "departure"};
  c.sFinger = sFinger + R"(,"y":)" + std::to_string(375 - Extent(sim, c).nTop - nBy) + "}";
  a.push_back(c);
  c = {sName + "/overrun-bottom-" + by,
       sFinger + R"(,"y":375})",
       path,
       36,
       LS_KX2_ERROR_ROLLED_OUT_OF_REGION,
       "departure"};
  c.sFinger =
      sFinger + R"(,"y":)" + std::to_string(375 + kH - 1 - Extent(sim, c).nBottom + nBy) + "}";
  a.push_back(c);
}

// The fixed matrix. Speeds over the same 360 pixels: 48, 36 and 24 frames. Slips move the
// pattern along the finger (across the roll), where a merge cannot hide them. Two reference
// groups: a rigid finger (no distortion, tremor, drift or uneven light), the ghosting
// index's baseline, and one without skin distortion but with the default tremor, drift
// and light.
std::vector<StCase> Matrix(ClSimulator& sim)
{
  struct StPattern
  {
    const char* szName;
    int nSeed;
  };
  const StPattern aPatterns[] = {{"loop_left", 7}, {"whorl", 23}, {"arch", 42}};
  const std::pair<const char*, int> aSpeeds[] = {{"slow", 48}, {"medium", 36}, {"brisk", 24}};
  const std::pair<const char*, double> aSkins[] = {{"dry", -0.6}, {"normal", 0.0}, {"wet", 0.6}};
  const std::pair<const char*, double> aDistortions[] = {{"calibrated", 1.0}, {"strong", 2.5}};
  const std::string sPath = R"("from_x":220,"to_x":580)";
  std::vector<StCase> a;
  for (const StPattern& p : aPatterns)
    a.push_back({std::string(p.szName) + "/medium/normal/rigid",
                 Finger(p.szName, p.nSeed, 0.0, 0.0) + R"(,"preset":"rigid"})",
                 sPath + R"(,"drift":0)", 36, 0, "reference, rigid"});
  for (const StPattern& p : aPatterns)
    a.push_back({std::string(p.szName) + "/medium/normal/none",
                 Finger(p.szName, p.nSeed, 0.0, 0.0) + "}", sPath, 36, 0,
                 "reference, no distortion"});
  for (const StPattern& p : aPatterns)
    for (const auto& d : aDistortions)
      for (const auto& s : aSkins)
        for (const auto& v : aSpeeds)
          a.push_back({std::string(p.szName) + "/" + v.first + "/" + s.first + "/" + d.first,
                       Finger(p.szName, p.nSeed, s.second, d.second) + "}", sPath, v.second, 0,
                       std::string("good, ") + d.first + " skin"});
  for (const StPattern& p : aPatterns) {
    const std::string f = Finger(p.szName, p.nSeed, 0.0, 1.0);
    const std::string n = std::string(p.szName) + "/";
    auto add = [&](const std::string& sName, const std::string& sRoll, int nFrames,
                   int32_t nExpected) {
      a.push_back({n + sName, f + "}", sRoll, nFrames, nExpected, "departure"});
    };
    add("slip-15", sPath + R"(,"slip":{"at":0.5,"dx":0,"dy":15})", 36, LS_KX2_ERROR_ROLLED_SHIFTED);
    add("slip-30", sPath + R"(,"slip":{"at":0.5,"dx":0,"dy":30})", 36, LS_KX2_ERROR_ROLLED_SHIFTED);
    add("backroll", sPath + R"(,"back":{"at":0.6,"by":80})", 44, LS_KX2_ERROR_ROLLED_BACKROLL);
    add("too-fast", sPath, 5, LS_KX2_ERROR_ROLLED_TOO_FAST);
    add("too-small", R"("from_x":360,"to_x":450)", 24, LS_KX2_ERROR_ROLLED_SIZE_TOO_SMALL);
    for (int by : {20, 45})
      AddOverruns(sim, p.szName, f, by, a);
  }
  return a;
}

std::string Config(const StCase& c, int nIntervalMs)
{
  return R"({"frame_interval_ms":)" + std::to_string(nIntervalMs) +
         R"(,"devices":[{"interface":0,"serial":")" + kSerial +
         R"(","loop":false,"script":[{"empty":)" + std::to_string(kLead) + R"(},{"roll":)" +
         std::to_string(c.nFrames) + R"(,"settle":)" + std::to_string(kRest) + "," + c.sRoll +
         R"(,"finger":)" + c.sFinger + R"(},{"lift":4},{"empty":6}]}]})";
}

// Median over the 32 by 32 blocks lying inside the print of the correlation of rolled image
// and truth.
double MedianBlockCorrelation(const std::vector<uint8_t>& r, const std::vector<uint8_t>& t,
                              const std::vector<uint8_t>& m)
{
  std::vector<double> a;
  for (int by = 0; by + 32 <= kH; by += 32)
    for (int bx = 0; bx + 32 <= kW; bx += 32) {
      double n = 0, sr = 0, st = 0, srr = 0, stt = 0, srt = 0;
      for (int y = by; y < by + 32; ++y)
        for (int x = bx; x < bx + 32; ++x) {
          const size_t i = size_t(y) * kW + size_t(x);
          if (!m[i])
            continue;
          const double u = r[i], v = t[i];
          n += 1, sr += u, st += v, srr += u * u, stt += v * v, srt += u * v;
        }
      if (n < 0.9 * 32 * 32)
        continue;
      const double cov = srt - sr * st / n, vr = srr - sr * sr / n, vt = stt - st * st / n;
      if (vr > 0 && vt > 0)
        a.push_back(cov / std::sqrt(vr * vt));
    }
  if (a.empty())
    return NAN;
  std::nth_element(a.begin(), a.begin() + long(a.size() / 2), a.end());
  return a[a.size() / 2];
}

// Rows of the middle 40 % of the print's height.
void CoreRows(const std::vector<uint8_t>& m, int& y0, int& y1)
{
  int top = kH, bottom = -1;
  for (int y = 0; y < kH; ++y)
    if (std::any_of(m.begin() + long(y) * kW, m.begin() + long(y + 1) * kW,
                    [](uint8_t v) { return v != 0; })) {
      top = std::min(top, y);
      bottom = y;
    }
  y0 = top + (bottom - top) * 3 / 10;
  y1 = top + (bottom - top) * 7 / 10;
}

// Share of mid-grey samples among those selected: 70 to 130 once the selection's 5th to
// 95th percentile is stretched over 0 to 255, so that images of different contrast (the
// SDK stretches its rolled image, a raw frame is not) compare.
template <typename TpSelect>
double MidGreyShare(const std::vector<uint8_t>& img, int y0, int y1, TpSelect select)
{
  std::vector<uint8_t> a;
  for (int y = y0; y <= y1; ++y)
    for (int x = 0; x < kW; ++x)
      if (select(x, y))
        a.push_back(img[size_t(y) * kW + size_t(x)]);
  if (a.size() < 100)
    return NAN;
  std::sort(a.begin(), a.end());
  const double lo = a[a.size() / 20], hi = a[a.size() * 19 / 20];
  if (hi <= lo)
    return NAN;
  const double n = double(std::count_if(a.begin(), a.end(), [&](uint8_t v) {
    const double s = (v - lo) * 255.0 / (hi - lo);
    return s >= 70.0 && s <= 130.0;
  }));
  return n / double(a.size());
}

// The SDK's roll image (dark ridges on 255) turned over to the simulator's light ridges,
// and where it shows finger.
void FromSdk(const std::vector<uint8_t>& sdk, std::vector<uint8_t>& image,
             std::vector<uint8_t>& mask)
{
  image.resize(sdk.size());
  mask.resize(sdk.size());
  for (size_t i = 0; i < sdk.size(); ++i) {
    mask[i] = sdk[i] < 255 ? 255 : 0;
    image[i] = mask[i] ? uint8_t(255 - sdk[i]) : 0;
  }
}

int FieldOf(const std::string& s, const char* szKey, int nDefault)
{
  const size_t i = s.find(szKey);
  return i == std::string::npos ? nDefault : std::atoi(s.c_str() + i + std::strlen(szKey));
}

// Columns the roll's centre line sweeps, from the script.
void Course(const StCase& c, int& x0, int& x1)
{
  x0 = FieldOf(c.sRoll, "\"from_x\":", 200);
  x1 = FieldOf(c.sRoll, "\"to_x\":", 600);
  if (x0 > x1)
    std::swap(x0, x1);
}

// Judges the rolled image against the truth and, for the ghosting index, against the held
// frame (SDK image, see the head of the file).
void Measure(ClSimulator& sim, const StCase& c, const std::vector<uint8_t>& held, StOutcome& o)
{
  std::vector<uint8_t> truth, mask;
  if (!sim.Truth(truth, mask))
    return;
  std::vector<uint8_t> rolled, rolledMask;
  FromSdk(o.aImage, rolled, rolledMask);
  int64_t nRolled = 0, nTruth = 0;
  for (size_t i = 0; i < rolled.size(); ++i) {
    nRolled += rolledMask[i] ? 1 : 0;
    nTruth += mask[i] ? 1 : 0;
  }
  o.dCoverage = nTruth ? double(nRolled) / double(nTruth) : NAN;
  for (int y = 0; y < kH; ++y) {
    const uint8_t* m = mask.data() + size_t(y) * kW;
    o.nLeftRows += m[0] ? 1 : 0;
    o.nRightRows += m[kW - 1] ? 1 : 0;
    o.nLowest = std::any_of(m, m + kW, [](uint8_t v) { return v != 0; }) ? y : o.nLowest;
  }
  o.nLastRowColumns = int(std::count_if(mask.end() - kW, mask.end(), [](uint8_t v) { return v; }));
  o.dCorrelation = MedianBlockCorrelation(rolled, truth, mask);
  int y0 = 0, y1 = -1, x0 = 0, x1 = 0;
  CoreRows(mask, y0, y1);
  Course(c, x0, x1);
  const double merged = MidGreyShare(rolled, y0, y1, [&](int x, int y) {
    const size_t i = size_t(y) * kW + size_t(x);
    return x >= x0 && x <= x1 && mask[i] && rolledMask[i];
  });
  std::vector<uint8_t> still, stillMask;
  FromSdk(held, still, stillMask);
  std::vector<int> aLeft(kH, -1), aRight(kH, -1);
  for (int y = y0; y <= y1; ++y)
    for (int x = 0; x < kW; ++x)
      if (stillMask[size_t(y) * kW + size_t(x)]) {
        aLeft[size_t(y)] = aLeft[size_t(y)] < 0 ? x : aLeft[size_t(y)];
        aRight[size_t(y)] = x;
      }
  const double single = MidGreyShare(still, y0, y1, [&](int x, int y) {
    const int l = aLeft[size_t(y)], r = aRight[size_t(y)], q = (r - l) / 4;
    return l >= 0 && x >= l + q && x <= r - q && stillMask[size_t(y) * kW + size_t(x)];
  });
  o.dGhosting = single > 0 ? merged / single : NAN;
}

// One roll through the C interface: open, roll mode, the merge mode, frames until the roll
// is finished, close. False when the merge mode is refused.
bool Roll(ClSimulator& sim, const StCase& c, int nMode, int nIntervalMs, StOutcome& o)
{
  sim.Load(Config(c, nIntervalMs));
  LS_KX2_HANDLE h = nullptr;
  // The claim of the last case may take a moment to go.
  for (int i = 0;
       i < 20 && (o.nCode = LS_KX2OpenScanner(kScanner, &h)) == LS_KX2_ERROR_DEVICE_OPEN_FAIL; ++i)
    usleep(50000);
  if (o.nCode != 0)
    return true;
  bool bModeTaken = true;
  if ((o.nCode = LS_KX2SetCaptureMode(h, LS_KX2_MODE_ROLL)) == 0) {
    if (LS_KX2SetPropertyLongA(h, "nRollMergeMode", nMode) != 0 && nMode != 0)
      bModeTaken = false;
    o.aImage.assign(size_t(kW) * kH, 255);
    double dMs = 0;
    for (int n = 0; bModeTaken && n < 300; ++n) {
      if ((o.nCode = LS_KX2TriggerScanner(h)) != 0)
        break;
      double score = 0;
      uint8_t finger = 0;
      int32_t status = 0;
      const auto t0 = std::chrono::steady_clock::now();
      o.nCode = LS_KX2GetRollImage(h, o.aImage.data(), &score, &finger, &status);
      dMs +=
          std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
      ++o.nFrames;
      if (o.nCode != 0)
        break;
      if (finger) {
        o.nCode = status;
        o.bFinished = true;
        break;
      }
    }
    o.dMsPerFrame = o.nFrames ? dMs / o.nFrames : 0.0;
    uint64_t nSize = 0;
    if (o.bFinished && LS_KX2ExtendedScannerAccess(h, 6, nullptr, &nSize) == -702) {
      std::vector<uint8_t> a(nSize);
      if (LS_KX2ExtendedScannerAccess(h, 6, a.data(), &nSize) == 0)
        o.sDiagnostics.assign(reinterpret_cast<const char*>(a.data()),
                              strnlen(reinterpret_cast<const char*>(a.data()), a.size()));
    }
  }
  LS_KX2CloseScanner(&h);
  return bModeTaken;
}

// The SDK's roll image of the case's finger resting at the middle of the course: settled,
// then frames without a direction, which merge nothing. Both modes share it.
const std::vector<uint8_t>& Held(ClSimulator& sim, const StCase& c, int nIntervalMs,
                                 std::map<std::string, std::vector<uint8_t>>& cache)
{
  int x0 = 0, x1 = 0;
  Course(c, x0, x1);
  StCase h = c;
  h.sRoll = R"("from_x":)" + std::to_string((x0 + x1) / 2) + R"(,"to_x":)" +
            std::to_string((x0 + x1) / 2);
  h.nFrames = 6;
  std::vector<uint8_t>& a = cache[h.sFinger + h.sRoll];
  if (a.empty()) {
    StOutcome o;
    Roll(sim, h, 0, nIntervalMs, o);
    a = o.bFinished ? o.aImage : std::vector<uint8_t>(size_t(kW) * kH, 255);
  }
  return a;
}

// A value of the roll's diagnostics ("KX2.ROLLFINGER"; every leaf is a text), or -1.
long Diag(const std::string& sJson, const char* szKey)
{
  const size_t i = sJson.find("\"" + std::string(szKey) + "\"");
  const size_t q = i == std::string::npos ? i : sJson.find('"', sJson.find(':', i) + 1);
  return q == std::string::npos ? -1 : std::strtol(sJson.c_str() + q + 1, nullptr, 10);
}

// The defect flags the diagnostics set.
std::string Flags(const std::string& sJson)
{
  std::string s;
  for (const char* sz :
       {"BACKROLL", "TOO_FAST", "TOO_SMALL", "SHIFTED", "OUT_OF_REGION", "OUT_OF_REGION_T",
        "OUT_OF_REGION_B", "OUT_OF_REGION_L", "OUT_OF_REGION_R"})
    if (Diag(sJson, sz) == 1)
      s += (s.empty() ? "" : " ") + std::string(sz);
  return s.empty() ? "none" : s;
}

// Finger samples of the rolled image (below 255) in column x.
int FingerInColumn(const std::vector<uint8_t>& a, int x)
{
  int n = 0;
  for (int y = 0; y < kH; ++y)
    n += a[size_t(y) * kW + size_t(x)] < 255 ? 1 : 0;
  return n;
}

// What the checks of a finished roll had to go on, for a departure: the figures that
// decide whether a check can see the case at all. The region checks count the rolled mask
// in the first and last column (more than 30 % of the rows), in the last row (more than
// 30 % of the columns; by the check's pairing the "upper" boundary) and demand the rows
// from 40 % on to be empty (the "lower" one).
std::string Explain(const StCase& c, const StOutcome& o)
{
  if (!o.bFinished || c.sGroup != "departure")
    return "";
  const std::string& d = o.sDiagnostics;
  const int v = int(kH * 0.3), h = int(kW * 0.3), y4 = int(kH * 0.4);
  char sz[400];
  const std::string& n = c.sName;
  // Verdicts from the flags; the figures are the truth's touched pixels, which the
  // processor's mask follows (the SDK image's finger area leaves out the faint rim).
  const bool seen = Diag(d, "OUT_OF_REGION") == 1;
  if (n.find("overrun-left") != std::string::npos || n.find("overrun-right") != std::string::npos) {
    const bool left = n.find("overrun-left") != std::string::npos;
    const int k = left ? o.nLeftRows : o.nRightRows;
    std::snprintf(sz, sizeof(sz), "column %d: %d touched rows, the check needs more than %d%s",
                  left ? 0 : kW - 1, k, v,
                  seen    ? ""
                  : k > v ? ": not seen, the finger mask (found at a quarter of the "
                            "resolution) holds fewer rows at the edge than the frame touches"
                          : ": cannot see it");
  } else if (n.find("overrun-top") != std::string::npos ||
             n.find("overrun-bottom") != std::string::npos) {
    const bool could = o.nLastRowColumns > h || o.nLowest < y4;
    std::snprintf(sz, sizeof(sz),
                  "row %d: %d touched columns (more than %d flags OUT_OF_REGION_T); touched down "
                  "to row %d (none from row %d on flags OUT_OF_REGION_B)%s",
                  kH - 1, o.nLastRowColumns, h, o.nLowest, y4,
                  seen    ? ""
                  : could ? ": not seen by the checks"
                          : ": cannot see it");
  } else if (n.find("backroll") != std::string::npos) {
    int x0 = 0, x1 = 0;
    Course(c, x0, x1);
    const int at = x0 + int(0.6 * (x1 - x0)), by = FieldOf(c.sRoll, "\"by\":", 0);
    std::snprintf(sz, sizeof(sz), "back from column %d to %d, the roll started at %d: %s", at,
                  at - by, x0,
                  at - by > x0 ? "the backward frames lie on rolled skin and bring no new area, "
                                 "which the direction vote needs (500 px): cannot see it"
                               : "back beyond the start, onto skin not rolled");
  } else if (n.find("slip") != std::string::npos) {
    // A jump within one frame leaves its strong differences in one blend band behind the
    // seam (40 pixels): the shift areas need a region of 26000 pixels, the streak test
    // more strong pixels than a thousand per hundred columns of the roll's width.
    int x0 = 0, x1 = 0, left = kW, right = -1;
    Course(c, x0, x1);
    for (int x = 0; x < kW; ++x)
      if (FingerInColumn(o.aImage, x))
        left = std::min(left, x), right = x;
    const int rows = FingerInColumn(o.aImage, (x0 + x1) / 2);
    std::snprintf(sz, sizeof(sz),
                  "one blend band at the slip: at most 40 x %d = %d px against the 26000 px of a "
                  "shift area; streak limit about %d px; ROLL_SHIFT_DISTANCE %ld%s",
                  rows, 40 * rows, std::max(1000, (right - left) * 10),
                  Diag(d, "ROLL_SHIFT_DISTANCE"),
                  Diag(d, "SHIFTED") == 1 ? "" : ": the band's strong differences stay below both");
  } else if (n.find("too-fast") != std::string::npos) {
    std::snprintf(sz, sizeof(sz), "SERIES_LEN %ld (below %ld flags), ROLL_VELOCITY %ld (above %ld)",
                  Diag(d, "SERIES_LEN"), Diag(d, "SERIES_LEN_THRESHOLD"), Diag(d, "ROLL_VELOCITY"),
                  Diag(d, "ROLL_VELOCITY_THRESHOLD"));
  } else if (n.find("too-small") != std::string::npos) {
    std::snprintf(sz, sizeof(sz), "MERGED_WIDTH %ld (below %ld flags), MERGED_LEN %ld",
                  Diag(d, "MERGED_WIDTH"), Diag(d, "MERGED_WIDTH_THRESHOLD"),
                  Diag(d, "MERGED_LEN"));
  } else {
    return "flags " + Flags(d);
  }
  return "flags " + Flags(d) + "; " + sz;
}

std::string Fixed(double d, int nDigits)
{
  if (std::isnan(d))
    return "-";
  char sz[32];
  std::snprintf(sz, sizeof(sz), "%.*f", nDigits, d);
  return sz;
}

// The rolled images a quarter of their size, eight to a row, in the order of the cases.
void WriteContactSheet(const std::string& sPath, const std::vector<const StOutcome*>& a)
{
  constexpr int w = kW / 4, h = kH / 4, cols = 8, gap = 4;
  const int rows = int((a.size() + cols - 1) / cols);
  const int sw = cols * (w + gap), sh = std::max(1, rows * (h + gap));
  std::vector<uint8_t> sheet(size_t(sw) * size_t(sh), 128);
  for (size_t k = 0; k < a.size(); ++k) {
    const int ox = int(k % cols) * (w + gap), oy = int(k / cols) * (h + gap);
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) {
        const std::vector<uint8_t>& img = a[k]->aImage;
        sheet[size_t(oy + y) * sw + size_t(ox + x)] =
            img.empty() ? 0 : img[size_t(y * 4) * kW + size_t(x * 4)];
      }
  }
  std::string sError;
  if (!WritePng(sPath, sheet.data(), uint32_t(sw), uint32_t(sh), size_t(sw), EPngColour::eGrey, 0,
                &sError))
    std::fprintf(stderr, "%s: %s\n", sPath.c_str(), sError.c_str());
}

// The summary's group: departures by kind (slip, backroll, overrun-left, ...).
std::string GroupOf(const StCase& c)
{
  if (c.sGroup != "departure")
    return c.sGroup;
  std::string s = c.sName.substr(c.sName.find('/') + 1);
  const size_t i = s.find_last_of('-');
  if (i != std::string::npos && std::isdigit(static_cast<unsigned char>(s[i + 1])))
    s.erase(i);
  return "departure, " + s;
}

struct StTally
{
  int nCases = 0, nRight = 0;
  std::vector<double> aCorrelation, aGhosting;
};

double Median(std::vector<double> a)
{
  a.erase(std::remove_if(a.begin(), a.end(), [](double d) { return std::isnan(d); }), a.end());
  if (a.empty())
    return NAN;
  std::nth_element(a.begin(), a.begin() + long(a.size() / 2), a.end());
  return a[a.size() / 2];
}

} // namespace

int main(int argc, char** argv)
{
  std::string sDir = ".", sOnly, sMode;
  int nIntervalMs = 15;
  for (int i = 1; i + 1 < argc; i += 2) {
    const std::string k = argv[i];
    if (k == "-o")
      sDir = argv[i + 1];
    else if (k == "--interval")
      nIntervalMs = std::atoi(argv[i + 1]);
    else if (k == "--only")
      sOnly = argv[i + 1];
    else if (k == "--mode")
      sMode = argv[i + 1];
    else {
      std::fprintf(stderr,
                   "usage: %s [-o DIR] [--interval MS] [--only TEXT] [--mode exact|registered]\n",
                   argv[0]);
      return 2;
    }
  }
  try {
    ClSimulator sim;
    if (LS_KX2Initialize(nullptr) != 0) {
      std::fprintf(stderr, "LS_KX2Initialize failed\n");
      return 1;
    }
    const char* aModes[] = {"exact", "registered"};
    std::vector<StCase> aCases = Matrix(sim);
    if (!sOnly.empty())
      aCases.erase(
          std::remove_if(aCases.begin(), aCases.end(),
                         [&](const StCase& c) { return c.sName.find(sOnly) == std::string::npos; }),
          aCases.end());
    std::vector<StOutcome> aOutcomes;
    aOutcomes.reserve(aCases.size() * 2);
    std::vector<const StOutcome*> aSheet;
    std::map<std::string, StTally> tally; // by mode and group
    bool aAvailable[2] = {true, true};
    std::map<std::string, std::vector<uint8_t>> aHeld; // held frames by finger and place
    std::printf(
        "Ghosting index: mid-grey share (70 to 130 after a 5th to 95th percentile stretch) in\n"
        "the print's core (middle 40 %% of its rows, columns swept by the roll's centre line)\n"
        "over that of one held frame (the SDK's roll image of the same finger resting at the\n"
        "middle of the course, middle half of its contact, same rows). A rigid finger merged\n"
        "without fault scores about 1.\n\n");
    std::printf(
        "| case | mode | result | expected | correlation | ghosting | coverage | ms/frame | what "
        "the checks saw |\n"
        "| --- | --- | --- | --- | --- | --- | --- | --- | --- |\n");
    for (int mode = 0; mode < 2; ++mode)
      for (const StCase& c : aCases) {
        if (!aAvailable[mode] || (!sMode.empty() && sMode != aModes[mode]))
          break;
        aOutcomes.emplace_back();
        StOutcome& o = aOutcomes.back();
        // Before the roll: the truth is read from the configuration loaded last.
        const std::vector<uint8_t>& held = Held(sim, c, nIntervalMs, aHeld);
        const bool bTaken = Roll(sim, c, mode, nIntervalMs, o);
        if (bTaken && o.bFinished)
          Measure(sim, c, held, o);
        if (!bTaken) {
          aAvailable[mode] = false;
          std::printf("| all | %s | not available (nRollMergeMode refused) | | | | | | |\n",
                      aModes[mode]);
          break;
        }
        std::printf("| %s | %s | %d%s | %d | %s | %s | %s | %s | %s |\n", c.sName.c_str(),
                    aModes[mode], o.nCode, o.bFinished ? "" : " (unfinished)", c.nExpected,
                    Fixed(o.dCorrelation, 3).c_str(), Fixed(o.dGhosting, 2).c_str(),
                    Fixed(o.dCoverage, 3).c_str(), Fixed(o.dMsPerFrame, 1).c_str(),
                    Explain(c, o).c_str());
        std::fflush(stdout);
        StTally& t = tally[std::string(aModes[mode]) + " | " + GroupOf(c)];
        ++t.nCases;
        t.nRight += o.bFinished && o.nCode == c.nExpected ? 1 : 0;
        t.aCorrelation.push_back(o.dCorrelation);
        t.aGhosting.push_back(o.dGhosting);
        aSheet.push_back(&o);
      }
    LS_KX2Uninitialize();
    std::printf(
        "\n| mode | group | cases | expected result | median correlation | median ghosting |\n"
        "| --- | --- | --- | --- | --- | --- |\n");
    for (const auto& [sKey, t] : tally)
      std::printf("| %s | %d | %d | %s | %s |\n", sKey.c_str(), t.nCases, t.nRight,
                  Fixed(Median(t.aCorrelation), 3).c_str(), Fixed(Median(t.aGhosting), 2).c_str());
    for (int mode = 0; mode < 2; ++mode)
      if (!aAvailable[mode])
        std::printf("| %s | all | not available | | | |\n", aModes[mode]);
    WriteContactSheet(sDir + "/contact_sheet.png", aSheet);
    std::printf("\nContact sheet: %s/contact_sheet.png (cases in the order above, 8 a row)\n",
                sDir.c_str());
  } catch (const std::exception& e) {
    std::fprintf(stderr, "%s\n", e.what());
    return 1;
  }
  return 0;
}
