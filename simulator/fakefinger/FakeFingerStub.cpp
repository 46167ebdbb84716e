// Stand-in for the optional liveness library. Deterministic: the score comes from the
// pictures alone. Its behaviour on failure paths is set from the environment when it is
// initialised, or by kxsimfdConfigure (keys in simulator/README.md).
//
// Compile definitions build the loader's edge cases from the same source:
//   KXSIM_FD_NO_EXTENDED            no FD_KX2ExtendedAccess (optional entry missing)
//   KXSIM_FD_NO_ERROR_DESCRIPTION   no FD_KX2GetErrorDescriptionA (required entry missing)
#include "simulator/render/LivenessScore.h"
#include "simulator/JsonTree.h"

#include <boost/property_tree/json_parser.hpp>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <set>
#include <sstream>
#include <string>

#define KXSIM_FD_API extern "C" __attribute__((visibility("default")))

using namespace kxsim;

namespace {

constexpr int32_t kOk = 0;
constexpr int32_t kNotInitialized = -2;
constexpr int32_t kNoFinger = -15;
constexpr int32_t kCorrupt = -39;
constexpr int32_t kNoHandle = -42;
constexpr int32_t kInvalidHandle = -43;
constexpr int32_t kInvalidParameter = -44;
constexpr int32_t kUnknownParameter = -206;
constexpr int32_t kBadPointer = -701;
constexpr int32_t kTooSmall = -702;

const char* const kAverageProperty = "bAverageFingersLivenessScores";

struct ClStubConfig
{
  int32_t nInitError = 0;
  int32_t nCreateError = 0;
  int32_t nScoreError = 0;
  int32_t nExtendedError = 0;
  int32_t nSettingsError = 0;
  std::string sAverageText = "False";
  size_t nExtendedPadding = 0;
  bool bExtendedZeroSize = false;
  bool bExtendedText = false;
  std::string sExtendedText;
};

struct ClStubHandle
{
  std::string sAverage; // property text as last set (or the starting text)
  double dSum = 0.0;
  int nCount = 0;
  double dLast = 0.0;
  int nScores = 0;
  json::Tree settings;
};

std::mutex g_Mutex;
int g_nInitialised = 0;
bool g_bExplicit = false; // configured by kxsimfdConfigure, not by the environment
ClStubConfig g_Config;

// Handles a caller never destroyed go with the library.
struct ClHandleSet : std::set<ClStubHandle*>
{
  ~ClHandleSet()
  {
    for (ClStubHandle* h : *this)
      delete h;
  }
};
ClHandleSet g_Handles;

int32_t EnvInt(const char* name, int32_t def)
{
  const char* v = std::getenv(name);
  if (!v || !*v)
    return def;
  return int32_t(std::strtol(v, nullptr, 10));
}

ClStubConfig FromEnvironment()
{
  ClStubConfig c;
  c.nInitError = EnvInt("KXSIM_FD_INIT_ERROR", 0);
  c.nCreateError = EnvInt("KXSIM_FD_CREATE_ERROR", 0);
  c.nScoreError = EnvInt("KXSIM_FD_SCORE_ERROR", 0);
  c.nExtendedError = EnvInt("KXSIM_FD_EXTENDED_ERROR", 0);
  c.nSettingsError = EnvInt("KXSIM_FD_SETTINGS_ERROR", 0);
  c.nExtendedPadding = size_t(std::max(0, EnvInt("KXSIM_FD_EXTENDED_PADDING", 0)));
  c.bExtendedZeroSize = EnvInt("KXSIM_FD_EXTENDED_ZERO_SIZE", 0) != 0;
  if (const char* v = std::getenv("KXSIM_FD_AVERAGE"))
    c.sAverageText = v;
  if (const char* v = std::getenv("KXSIM_FD_EXTENDED_TEXT")) {
    c.bExtendedText = true;
    c.sExtendedText = v;
  }
  return c;
}

ClStubHandle* Find(void* h, int32_t& err)
{
  if (!h) {
    err = kNoHandle;
    return nullptr;
  }
  auto it = g_Handles.find(static_cast<ClStubHandle*>(h));
  if (it == g_Handles.end()) {
    err = kInvalidHandle;
    return nullptr;
  }
  return *it;
}

// Copies a text out by the library's rule: the size counts the terminator; a short buffer
// gets the needed size back and -702.
int32_t CopyOut(const std::string& s, char* pText, uint64_t* pnSize)
{
  if (!pnSize)
    return kBadPointer;
  const uint64_t need = s.size() + 1;
  if (*pnSize < need) {
    *pnSize = need;
    return kTooSmall;
  }
  if (!pText)
    return kBadPointer;
  std::memcpy(pText, s.c_str(), need);
  *pnSize = need;
  return kOk;
}

bool AverageOn(const ClStubHandle& h)
{
  std::string s = h.sAverage.substr(0, 4);
  std::transform(s.begin(), s.end(), s.begin(),
                 [](unsigned char c) { return char(std::tolower(c)); });
  return s == "true" && h.sAverage.size() == 4;
}

std::string Fixed(double v)
{
  std::ostringstream o;
  o.setf(std::ios::fixed);
  o.precision(4);
  o << v;
  return o.str();
}

} // namespace

KXSIM_FD_API int32_t FD_KX2Initialize(void*)
{
  std::lock_guard<std::mutex> lock(g_Mutex);
  if (!g_bExplicit)
    g_Config = FromEnvironment();
  if (g_Config.nInitError)
    return g_Config.nInitError;
  ++g_nInitialised;
  return kOk;
}

KXSIM_FD_API int32_t FD_KX2Uninitialize()
{
  std::lock_guard<std::mutex> lock(g_Mutex);
  if (g_nInitialised == 0)
    return kNotInitialized;
  if (--g_nInitialised == 0) {
    for (ClStubHandle* h : g_Handles)
      delete h;
    g_Handles.clear();
  }
  return kOk;
}

KXSIM_FD_API int32_t FD_KX2CreateHandle(void** ph)
{
  std::lock_guard<std::mutex> lock(g_Mutex);
  if (!ph)
    return kBadPointer;
  if (g_nInitialised == 0)
    return kNotInitialized;
  if (g_Config.nCreateError)
    return g_Config.nCreateError;
  auto* h = new ClStubHandle;
  h->sAverage = g_Config.sAverageText;
  g_Handles.insert(h);
  *ph = h;
  return kOk;
}

KXSIM_FD_API int32_t FD_KX2DestroyHandle(void** ph)
{
  std::lock_guard<std::mutex> lock(g_Mutex);
  if (!ph)
    return kBadPointer;
  int32_t err = kOk;
  ClStubHandle* h = Find(*ph, err);
  if (!h)
    return err;
  g_Handles.erase(h);
  delete h;
  *ph = nullptr;
  return kOk;
}

KXSIM_FD_API int32_t FD_KX2GetFakeFingerDetectionScore(void* hStub, int32_t nWidth, int32_t nHeight,
                                                       const uint8_t* pRaw, const uint8_t* pMasked,
                                                       double* pdScore)
{
  int32_t err = kOk;
  {
    std::lock_guard<std::mutex> lock(g_Mutex);
    if (!Find(hStub, err))
      return err;
    if (g_Config.nScoreError)
      return g_Config.nScoreError;
  }
  if (!pRaw || !pMasked || !pdScore)
    return kBadPointer;
  if (nWidth <= 0 || nHeight <= 0 || int64_t(nWidth) * nHeight > (int64_t(1) << 26))
    return kInvalidParameter;
  // Scoring runs outside the lock: the SDK may ask for properties meanwhile.
  const ClLivenessResult r = LivenessScore(nWidth, nHeight, pRaw);
  std::lock_guard<std::mutex> lock(g_Mutex);
  ClStubHandle* h = Find(hStub, err);
  if (!h)
    return err;
  if (!r.bFinger)
    return kNoFinger;
  h->dLast = r.dScore;
  ++h->nScores;
  h->dSum += r.dScore;
  ++h->nCount;
  *pdScore = AverageOn(*h) ? h->dSum / h->nCount : r.dScore;
  return kOk;
}

KXSIM_FD_API int32_t FD_KX2GetFakeFingerDetectionScores(void* h, int32_t nCount, int32_t nWidth,
                                                        int32_t nHeight,
                                                        const uint8_t* const* ppRaw,
                                                        const uint8_t* const* ppMasked,
                                                        double* pdScores)
{
  if (nCount < 0)
    return kInvalidParameter;
  if (!ppRaw || !ppMasked || !pdScores)
    return kBadPointer;
  for (int32_t i = 0; i < nCount; ++i) {
    const int32_t err =
        FD_KX2GetFakeFingerDetectionScore(h, nWidth, nHeight, ppRaw[i], ppMasked[i], &pdScores[i]);
    if (err)
      return err;
  }
  return kOk;
}

KXSIM_FD_API int32_t FD_KX2SetPropertyA(void* hStub, const char* szName, const char* szValue)
{
  std::lock_guard<std::mutex> lock(g_Mutex);
  int32_t err = kOk;
  ClStubHandle* h = Find(hStub, err);
  if (!h)
    return err;
  if (!szName || !szValue)
    return kBadPointer;
  if (std::strcmp(szName, kAverageProperty) != 0)
    return kUnknownParameter;
  std::string v = szValue;
  std::transform(v.begin(), v.end(), v.begin(),
                 [](unsigned char c) { return char(std::tolower(c)); });
  if (v != "true" && v != "false")
    return kInvalidParameter;
  h->sAverage = v == "true" ? "True" : "False";
  // A new averaging run starts with the next score.
  h->dSum = 0.0;
  h->nCount = 0;
  return kOk;
}

KXSIM_FD_API int32_t FD_KX2SetPropertyLongA(void* hStub, const char* szName, int32_t nValue)
{
  if (nValue != 0 && nValue != 1) {
    std::lock_guard<std::mutex> lock(g_Mutex);
    int32_t err = kOk;
    return Find(hStub, err) ? kInvalidParameter : err;
  }
  return FD_KX2SetPropertyA(hStub, szName, nValue ? "True" : "False");
}

KXSIM_FD_API int32_t FD_KX2SetPropertyDoubleA(void* hStub, const char* szName, double)
{
  std::lock_guard<std::mutex> lock(g_Mutex);
  int32_t err = kOk;
  if (!Find(hStub, err))
    return err;
  if (!szName)
    return kBadPointer;
  return std::strcmp(szName, kAverageProperty) == 0 ? kInvalidParameter : kUnknownParameter;
}

KXSIM_FD_API int32_t FD_KX2GetPropertyA(void* hStub, const char* szName, char* pValue,
                                        uint64_t* pnSize)
{
  std::lock_guard<std::mutex> lock(g_Mutex);
  int32_t err = kOk;
  ClStubHandle* h = Find(hStub, err);
  if (!h)
    return err;
  if (!szName)
    return kBadPointer;
  if (std::strcmp(szName, kAverageProperty) == 0)
    return CopyOut(h->sAverage, pValue, pnSize);
  if (std::strcmp(szName, "dLastScore") == 0)
    return CopyOut(Fixed(h->dLast), pValue, pnSize);
  return kUnknownParameter;
}

KXSIM_FD_API int32_t FD_KX2GetPropertyLongA(void* hStub, const char* szName, int32_t* pnValue)
{
  std::lock_guard<std::mutex> lock(g_Mutex);
  int32_t err = kOk;
  ClStubHandle* h = Find(hStub, err);
  if (!h)
    return err;
  if (!szName || !pnValue)
    return kBadPointer;
  if (std::strcmp(szName, kAverageProperty) == 0) {
    *pnValue = AverageOn(*h) ? 1 : 0;
    return kOk;
  }
  if (std::strcmp(szName, "nScoreCount") == 0) {
    *pnValue = h->nScores;
    return kOk;
  }
  return kUnknownParameter;
}

KXSIM_FD_API int32_t FD_KX2GetPropertyDoubleA(void* hStub, const char* szName, double* pdValue)
{
  std::lock_guard<std::mutex> lock(g_Mutex);
  int32_t err = kOk;
  ClStubHandle* h = Find(hStub, err);
  if (!h)
    return err;
  if (!szName || !pdValue)
    return kBadPointer;
  if (std::strcmp(szName, "dLastScore") == 0) {
    *pdValue = h->dLast;
    return kOk;
  }
  return kUnknownParameter;
}

#ifndef KXSIM_FD_NO_EXTENDED
// Id 0 reads the library's diagnostics as JSON, id 1 takes settings as JSON.
KXSIM_FD_API int32_t FD_KX2ExtendedAccess(void* hStub, int32_t nId, char* pText, uint64_t* pnSize)
{
  std::lock_guard<std::mutex> lock(g_Mutex);
  int32_t err = kOk;
  ClStubHandle* h = Find(hStub, err);
  if (!h)
    return err;
  if (!pnSize)
    return kBadPointer;
  if (nId == 0) {
    if (g_Config.nExtendedError)
      return g_Config.nExtendedError;
    std::string text;
    if (g_Config.bExtendedText) {
      text = g_Config.sExtendedText;
    } else {
      json::Tree t;
      t.put("VERSION", "1.0.0");
      t.put(json::Tree::path_type(kAverageProperty, '\0'), h->sAverage);
      t.put("SCORE_COUNT", std::to_string(h->nScores));
      t.put("LAST_SCORE", Fixed(h->dLast));
      t.put("AVERAGE_SCORE", Fixed(h->nCount ? h->dSum / h->nCount : 0.0));
      t.add_child("SETTINGS", h->settings);
      if (g_Config.nExtendedPadding)
        t.put("PADDING", std::string(g_Config.nExtendedPadding, 'x'));
      std::ostringstream o;
      boost::property_tree::write_json(o, t, true);
      text = o.str();
    }
    if (g_Config.bExtendedZeroSize && *pnSize < text.size() + 1) {
      *pnSize = 0;
      return kTooSmall;
    }
    return CopyOut(text, pText, pnSize);
  }
  if (nId == 1) {
    if (!pText)
      return kBadPointer;
    if (g_Config.nSettingsError)
      return g_Config.nSettingsError;
    const std::string text(pText, strnlen(pText, size_t(*pnSize)));
    try {
      const json::Tree t = json::Parse(text, "settings");
      for (const auto& kv : t)
        h->settings.put_child(json::Tree::path_type(kv.first, '\0'), kv.second);
    } catch (const std::exception&) {
      return kCorrupt;
    }
    return kOk;
  }
  return kInvalidParameter;
}
#endif

#ifndef KXSIM_FD_NO_ERROR_DESCRIPTION
KXSIM_FD_API int32_t FD_KX2GetErrorDescriptionA(void*, int32_t nCode, char* pText, uint64_t* pnSize)
{
  const char* text = "Unknown error code.";
  switch (nCode) {
  case kOk:
    text = "No errors occurred.";
    break;
  case kNotInitialized:
    text = "Prior initialization is necessary.";
    break;
  case kNoFinger:
    text = "No Finger found in the image.";
    break;
  case kCorrupt:
    text = "The input is corrupt; it can be a memoryblock or a file.";
    break;
  case kNoHandle:
    text = "The handle parameter is set to NULL.";
    break;
  case kInvalidHandle:
    text = "The handle parameter is not a valid handle for that function.";
    break;
  case kInvalidParameter:
    text = "One(or more) parameter(s) is(are) invalid.";
    break;
  case kUnknownParameter:
    text = "A given parameter is unknown.";
    break;
  case kBadPointer:
    text = "The pointer is bad or invalid.";
    break;
  case kTooSmall:
    text = "Given size is too small.";
    break;
  default:
    break;
  }
  return CopyOut(text, pText, pnSize);
}
#endif

KXSIM_FD_API int kxsimfdConfigure(const char* szJson)
{
  std::lock_guard<std::mutex> lock(g_Mutex);
  if (!szJson) {
    g_bExplicit = false;
    g_Config = FromEnvironment();
    return 1;
  }
  try {
    const json::Tree t = json::Parse(szJson, "liveness stub settings");
    json::CheckKeys(t, "",
                    {"init_error", "create_error", "score_error", "extended_error",
                     "settings_error", "average_text", "extended_padding", "extended_zero_size",
                     "extended_text"});
    ClStubConfig c;
    const long long lo = INT32_MIN, hi = INT32_MAX;
    if (auto v = t.get_child_optional("init_error"))
      c.nInitError = int32_t(json::Integer(*v, "init_error", lo, hi));
    if (auto v = t.get_child_optional("create_error"))
      c.nCreateError = int32_t(json::Integer(*v, "create_error", lo, hi));
    if (auto v = t.get_child_optional("score_error"))
      c.nScoreError = int32_t(json::Integer(*v, "score_error", lo, hi));
    if (auto v = t.get_child_optional("extended_error"))
      c.nExtendedError = int32_t(json::Integer(*v, "extended_error", lo, hi));
    if (auto v = t.get_child_optional("settings_error"))
      c.nSettingsError = int32_t(json::Integer(*v, "settings_error", lo, hi));
    if (auto v = t.get_child_optional("average_text"))
      c.sAverageText = json::Text(*v, "average_text");
    if (auto v = t.get_child_optional("extended_padding"))
      c.nExtendedPadding = size_t(json::Integer(*v, "extended_padding", 0, 1ll << 28));
    if (auto v = t.get_child_optional("extended_zero_size"))
      c.bExtendedZeroSize = json::Boolean(*v, "extended_zero_size");
    if (auto v = t.get_child_optional("extended_text")) {
      c.bExtendedText = true;
      c.sExtendedText = json::Text(*v, "extended_text");
    }
    g_Config = c;
    g_bExplicit = true;
    return 1;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "liveness stub: unusable settings: %s\n", e.what());
    return 0;
  }
}
