#include "tools/Commands.h"

#include "tools/CaptureAdvice.h"
#include "tools/PngWriter.h"
#include "tools/ReportHtml.h"
#include "tools/ScannerSession.h"

#include <chrono>
#include <dlfcn.h>
#include <ctime>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

double SteadySeconds()
{
  using namespace std::chrono;
  return duration<double>(steady_clock::now().time_since_epoch()).count();
}

double FrameClockSeconds()
{
  using FnFrameTime = int (*)(void*, int64_t*);
  static const FnFrameTime pfnFrameTime = [] {
    // The library the SDK loaded, found rather than loaded again; kept for good.
    void* h = dlopen("libkxScanAPI.so", RTLD_LAZY | RTLD_LOCAL | RTLD_NOLOAD);
    return h ? reinterpret_cast<FnFrameTime>(dlsym(h, "kxGetFrameTime")) : nullptr;
  }();
  int64_t nMicroseconds = 0;
  if (pfnFrameTime && pfnFrameTime(nullptr, &nMicroseconds))
    return double(nMicroseconds) / 1e6;
  return SteadySeconds();
}

void Fail(const std::string& what, int32_t nCode)
{
  std::fflush(stdout); // keeps the order of the two streams on one console
  std::fprintf(stderr, "lskx2: %s: %d %s\n", what.c_str(), nCode,
               LS_KX2GetErrorDescriptionA(nCode));
}

int OpenFailure(int32_t rc, const std::string& name)
{
  if (rc == nNoScanner) {
    std::fprintf(stderr, "lskx2: no scanner attached: no KX2 scanner answered on any "
                         "interface (connect one, or check the device library)\n");
    return 1;
  }
  if (rc == LS_KX2_ERROR_INVALID_PARAMETER && !name.empty()) {
    int32_t query = 0;
    std::string list;
    for (const std::string& n : AttachedScanners(&query))
      list += (list.empty() ? "" : ", ") + n;
    Fail("scanner \"" + name + "\" is not attached (attached: " + (list.empty() ? "none" : list) +
             ")",
         rc);
  } else if (rc == LS_KX2_ERROR_DEVICE_OPEN_FAIL) {
    Fail("scanner " + (name.empty() ? std::string("in use") : "\"" + name + "\" in use"), rc);
    std::fprintf(stderr, "lskx2: another program holds the scanner: end it, or wait until it "
                         "has closed the scanner\n");
  } else {
    Fail("opening the scanner", rc);
  }
  return ExitStatus(rc);
}

void RemoveEarlierRun(const std::string& dir)
{
  namespace fs = std::filesystem;
  std::error_code ec;
  for (const fs::directory_entry& e : fs::directory_iterator(dir, ec)) {
    const std::string name = e.path().filename().string(), ext = e.path().extension().string();
    const std::string stem = e.path().stem().string();
    bool bOurs = name == "report.html";
    for (uint32_t mode = eModePlain; !bOurs && mode <= eModePreview; ++mode) {
      const std::string prefix = std::string(ModeName(mode)) + "_";
      bOurs = (ext == ".png" || ext == ".json") && stem.compare(0, prefix.size(), prefix) == 0 &&
              stem.size() > prefix.size() &&
              stem.find_first_not_of("0123456789", prefix.size()) == std::string::npos;
    }
    if (bOurs)
      fs::remove(e.path(), ec);
  }
}

namespace {

std::string Today()
{
  char buf[32] = {0};
  std::time_t now = std::time(nullptr);
  std::tm tm{};
  localtime_r(&now, &tm);
  std::strftime(buf, sizeof(buf), "%Y-%m-%d %H:%M", &tm);
  return buf;
}

std::string SdkVersion(LS_KX2_HANDLE h)
{
  char value[256] = {0};
  uint64_t size = sizeof(value) - 1;
  return LS_KX2GetPropertyA(h, "Version", value, &size) == 0 ? value : "?";
}

std::string VersionText(LS_KX2_HANDLE h, int32_t* pnCode)
{
  char buf[512] = {0};
  uint64_t size = sizeof(buf) - 1; // the copy writes one byte more than the size it reports
  *pnCode = LS_KX2GetVersionString(h, buf, &size);
  const char* text = buf;
  while (*text == ' ')
    ++text;
  return *pnCode == 0 ? std::string(text) : std::string();
}

} // namespace

bool SaveCapture(const std::string& dir, ClCaptureRecord* r, const std::vector<uint8_t>& image)
{
  std::string error;
  if (r->m_nWidth > 0) {
    r->m_sImageFile = r->m_sName + ".png";
    if (!WritePng(dir + "/" + r->m_sImageFile, image.data(), r->m_nWidth, r->m_nHeight, r->m_nWidth,
                  EPngColour::eGrey, r->m_nDpi, &error)) {
      std::fprintf(stderr, "lskx2: %s\n", error.c_str());
      return false;
    }
  }
  std::ofstream json(dir + "/" + r->m_sName + ".json", std::ios::binary | std::ios::trunc);
  json << r->ToJson().Dump() << "\n";
  json.close();
  if (!json) {
    std::fprintf(stderr, "lskx2: cannot write %s/%s.json: %s\n", dir.c_str(), r->m_sName.c_str(),
                 std::strerror(errno));
    return false;
  }
  return true;
}

int ExitStatus(int32_t nCode)
{
  if (nCode == 0)
    return 0;
  int status = (nCode < 0 ? -nCode : nCode) & 0xff;
  return status == 0 ? 1 : status;
}

int RunList(const ClCliOptions& o, const std::atomic<bool>& bStop)
{
  int32_t rc = 0;
  std::vector<std::string> names = AttachedScanners(&rc);
  if (rc != 0 && rc != LS_KX2_ERROR_SIZE_TOO_SMALL) {
    Fail("listing scanners", rc);
    return ExitStatus(rc);
  }
  if (names.empty()) {
    std::printf("no scanner attached\n");
    return 0;
  }
  ClProgressLine quiet(stdout, false);
  int status = 0;
  for (const std::string& name : names) {
    ClScannerSession session(bStop, quiet, &SteadySeconds);
    uint32_t condition = 0;
    std::string version;
    if ((rc = session.Open(name)) == 0)
      version = VersionText(session.Handle(), &rc);
    if (rc == 0)
      rc = session.MeasureCondition(&condition);
    if (rc == 0) {
      std::printf("%s  version: %s  condition: %u\n", name.c_str(), version.c_str(), condition);
    } else {
      std::printf("%s  %d %s\n", name.c_str(), rc, LS_KX2GetErrorDescriptionA(rc));
      status = status ? status : ExitStatus(rc);
    }
  }
  return status;
}

int RunInfo(const ClCliOptions& o, const std::atomic<bool>& bStop)
{
  const int32_t check = LS_KX2CompatibilityCheck(o.m_sCheck.c_str());
  std::printf("Compatibility with %s: %d %s\n", o.m_sCheck.c_str(), check,
              LS_KX2GetErrorDescriptionA(check));
  // A failed check decides the status; the rest is still shown.
  const int checkStatus = ExitStatus(check);
  int32_t rc = 0;
  for (int32_t code : o.m_aErrors)
    std::printf("Error %d: %s\n", code, LS_KX2GetErrorDescriptionA(code));
  ClProgressLine quiet(stdout, false);
  ClScannerSession session(bStop, quiet, &SteadySeconds);
  rc = session.Open(o.m_sScanner);
  if (rc == nNoScanner) {
    std::printf("Scanners: none attached\n");
    return checkStatus;
  }
  if (rc != 0) {
    int status = OpenFailure(rc, o.m_sScanner);
    return checkStatus ? checkStatus : status;
  }
  std::printf("SDK version: %s\n", SdkVersion(session.Handle()).c_str());
  std::string version = VersionText(session.Handle(), &rc);
  std::printf("Scanner %s: %s\n", session.Name().c_str(),
              rc == 0 ? version.c_str() : LS_KX2GetErrorDescriptionA(rc));
  return checkStatus;
}

int OpenForCaptures(ClScannerSession& session, const ClCliOptions& o)
{
  int32_t rc = session.Open(o.m_sScanner);
  if (rc != 0)
    return OpenFailure(rc, o.m_sScanner);
  std::string what;
  if ((rc = session.Configure(o, &what)) != 0) {
    if (rc == nFileProblem) {
      std::fprintf(stderr, "lskx2: %s\n", what.c_str());
      return nFileProblem;
    }
    Fail(what, rc);
    if (rc == LS_KX2_ERROR_UNKNOWN_PARAMETER)
      std::fprintf(stderr, "lskx2: the scanner's properties: %s\n", PropertyNames());
    return ExitStatus(rc);
  }
  std::error_code ec;
  std::filesystem::create_directories(o.m_sOutDir, ec);
  if (ec) {
    std::fprintf(stderr, "lskx2: cannot create %s: %s\n", o.m_sOutDir.c_str(),
                 ec.message().c_str());
    return nFileProblem;
  }
  RemoveEarlierRun(o.m_sOutDir);
  return 0;
}

int RunCaptures(const ClCliOptions& o, const std::atomic<bool>& bStop, bool bTerminal)
{
  ClProgressLine progress(stdout, bTerminal);
  ClScannerSession session(bStop, progress, &SteadySeconds, &FrameClockSeconds);
  if (int status = OpenForCaptures(session, o))
    return status;
  int32_t rc = 0;
  int32_t vrc = 0;
  const std::string title = "lskx2 captures: SDK " + SdkVersion(session.Handle()) + ", scanner " +
                            session.Name() + " (" + VersionText(session.Handle(), &vrc) + "), " +
                            Today();
  std::printf("scanner %s\n", session.Name().c_str());
  std::vector<ClCaptureRecord> records;
  const size_t total = o.m_aModes.size() * static_cast<size_t>(o.m_nCount);
  int32_t first = 0;
  bool bInterrupted = false, bBroken = false;
  for (size_t n = 0; n < total && !bInterrupted && !bBroken; ++n) {
    uint32_t mode = o.m_aModes[n / o.m_nCount];
    int k = static_cast<int>(n % o.m_nCount) + 1;
    std::string label =
        std::string(ModeName(mode)) + " " + std::to_string(k) + "/" + std::to_string(o.m_nCount);
    ClCaptureRecord r;
    r.m_sName = std::string(ModeName(mode)) + "_" + std::to_string(k);
    rc = bStop ? nInterrupted : session.Capture(mode, label, o, &r);
    if (rc == nInterrupted) {
      bInterrupted = true;
      break;
    }
    records.push_back(r);
    std::string error;
    if (!SaveCapture(o.m_sOutDir, &records.back(), session.Image()) ||
        !WriteReport(o.m_sOutDir + "/report.html", title, records, &error)) {
      if (!error.empty())
        std::fprintf(stderr, "lskx2: %s\n", error.c_str());
      return nFileProblem;
    }
    std::printf("%s: %d %s\n", r.m_sName.c_str(), rc, r.m_sResultText.c_str());
    if (rc == 0 && !r.m_sAdvice.empty())
      std::printf("%s: %s\n", r.m_sName.c_str(), r.m_sAdvice.c_str());
    if (rc != 0) {
      Fail(r.m_sName, rc);
      if (!r.m_sAdvice.empty())
        std::fprintf(stderr, "lskx2: %s: %s\n", r.m_sName.c_str(), r.m_sAdvice.c_str());
      first = first ? first : rc;
      bBroken = !IsCaptureOutcome(rc);
    }
    if (!bBroken && n + 1 < total) {
      rc = session.WaitForLift("lift the finger", o.m_dTimeout);
      bInterrupted = rc == nInterrupted;
      if (rc != 0 && !bInterrupted) {
        Fail("waiting for the finger to be lifted", rc);
        first = first ? first : rc;
        bBroken = true;
      }
    }
  }
  session.Close();
  if (bInterrupted) {
    std::fprintf(stderr, "lskx2: interrupted; scanner closed\n");
    return 130;
  }
  std::printf("files in %s/:", o.m_sOutDir.c_str());
  for (const ClCaptureRecord& r : records)
    std::printf(" %s%s.json", r.m_sImageFile.empty() ? "" : (r.m_sImageFile + " ").c_str(),
                r.m_sName.c_str());
  std::printf(" report.html\n");
  return ExitStatus(first);
}
