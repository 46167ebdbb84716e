// Runs one device scenario in a process of its own, since the binding is process-wide, and
// prints what it saw as key=value lines. The test that starts it chooses the device
// library by LD_LIBRARY_PATH and the simulator's configuration by the second argument.
#include "device/RDKX2ScanAPIWrapper.h"
#include "device/VeltranoKX1Wrapper.h"
#include "model/Bitmap.h"
#include "livescannerkx2.h"
#include "base/RDLogging.h"
#include "simulator/kxsim.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <string>
#include <thread>

namespace {

void Put(const char* szKey, const std::string& sValue)
{
  std::string v = sValue;
  for (char& c : v)
    if (c == '\n')
      c = '|';
  std::printf("%s=%s\n", szKey, v.c_str());
  std::fflush(stdout);
}

// What went to the debug output, one message a line, without time stamps.
std::string g_sDebug;
void CaptureDebug(const char* szLine)
{
  std::string s = szLine;
  size_t at = s.find(": ");
  s = at == std::string::npos ? s : s.substr(at + 2);
  while (!s.empty() && s.back() == '\n')
    s.pop_back();
  g_sDebug += s + "\n";
}

template <class TpFn>
void PutCode(const char* szKey, TpFn fn)
{
  int32_t code = 0;
  try {
    fn();
  } catch (const ClException& e) {
    code = e.GetCode();
  }
  Put(szKey, std::to_string(code));
}

bool Resident(const std::string& sName)
{
  void* h = dlopen(sName.c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (h)
    dlclose(h);
  return h != nullptr;
}

// The simulator's own exports, from the device library the binding loaded (under the
// name it was loaded by: the simulator has no soname to find it by).
void* SimEntry(const char* szName, std::string sLibrary = "")
{
  if (sLibrary.empty() && ClVeltranoKX1Wrapper::Instance())
    sLibrary = ClVeltranoKX1Wrapper::Instance()->LoadedName();
  void* h = dlopen(sLibrary.c_str(), RTLD_NOW | RTLD_NOLOAD);
  void* p = h ? dlsym(h, szName) : nullptr;
  if (h)
    dlclose(h);
  return p;
}

void Configure(const char* szJson)
{
  if (!szJson || !*szJson)
    return;
  auto load = reinterpret_cast<KXSIM_LOADCONFIG>(SimEntry("kxsimLoadConfig"));
  auto interval = reinterpret_cast<KXSIM_SETFRAMEINTERVAL>(SimEntry("kxsimSetFrameInterval"));
  Put("configured", load && load(szJson) ? "1" : "0");
  if (interval)
    interval(0);
}

int64_t Calls(const char* szEntry)
{
  auto calls = reinterpret_cast<KXSIM_GETCALLCOUNT>(SimEntry("kxsimGetCallCount"));
  return calls ? calls(szEntry) : -1;
}

// Start twice: a refused library leaves no binding, and the next start tries again.
void ScenarioStart()
{
  PutCode("start", [] { ClVeltranoKX1Wrapper::Start(); });
  Put("instance", ClVeltranoKX1Wrapper::Instance() ? "1" : "0");
  PutCode("again", [] { ClVeltranoKX1Wrapper::Start(); });
  Put("resident", Resident(ClVeltranoKX1Wrapper::szLibraryFile) ? "1" : "0");
}

// A wrapper made and destroyed by hand: is the library still in the process?
void ScenarioPin()
{
  std::string name;
  PutCode("construct", [&] {
    ClVeltranoKX1Wrapper w(nullptr, ClVeltranoKX1Wrapper::szLibraryFile);
    name = w.LoadedName();
    auto global = reinterpret_cast<KXSIM_GETGLOBALOPTION>(SimEntry("kxsimGetGlobalOption", name));
    int32_t option = -1;
    uint32_t value = 99;
    if (global && global(&option, &value))
      Put("global", std::to_string(option) + "," + std::to_string(value));
  });
  Put("pinned", ClVeltranoKX1Wrapper::PinnedModule() ? "1" : "0");
  Put("resident", !name.empty() && Resident(name) ? "1" : "0");
}

// Through the shared library, as an application sees it.
void ScenarioSdk()
{
  Put("initialize", std::to_string(LS_KX2Initialize(nullptr)));
  uint64_t n = 0;
  Put("query", std::to_string(LS_KX2QueryScanners(nullptr, &n)));
  Put("count", std::to_string(n));
}

// The device calls, on a library that may lack entries; argv[2] configures it first.
void ScenarioDevice(const char* szConfig)
{
  PutCode("start", [] { ClVeltranoKX1Wrapper::Start(); });
  Configure(szConfig);
  ClRDKX2ScanAPIWrapper scanner, nothing;
  PutCode("nothing", [&] { nothing.Open(5); });
  PutCode("open", [&] { scanner.Open(0); });
  PutCode("setled", [&] { scanner.SetLed(1); });
  Put("diode.calls", std::to_string(Calls("ftrScanSetDiodesStatus")));
  // Frames only with a configuration, which gives a script that is quick to render.
  if (szConfig && *szConfig) {
    PutCode("image", [&] {
      ClBitmap bmp;
      bmp.Create(800, 750, 8);
      scanner.GetImage(&bmp, 2, 255);
    });
    Put("image.calls", std::to_string(Calls("ftrScanGetImage")));
  }
  PutCode("version", [&] {
    char buf[128];
    uint64_t n = sizeof(buf);
    scanner.GetVersionText(buf, &n);
  });
  PutCode("restore", [&] {
    uint8_t block[7];
    scanner.RestoreControlBytes(block);
  });
  PutCode("save", [&] {
    uint8_t block[7] = {};
    scanner.SaveControlBytes(block, false);
  });
  scanner.Close();
  int32_t nInterface = 0;
  PutCode("context", [&] { scanner.OpenWithContext(&nInterface); });
  scanner.Close();
  PutCode("query", [] {
    std::list<ScannerEntry> list;
    ClRDKXScanAPIWrapper::QueryScanners(list, 0, true);
    std::string names;
    for (const ScannerEntry& e : list)
      names += e.sName + ";";
    Put("names", names);
  });
}

// Uses of a device after the binding has ended.
void UseAfterEnd(ClRDKX2ScanAPIWrapper& scanner)
{
  PutCode("setled", [&] { scanner.SetLed(1); });
  PutCode("query", [] {
    std::list<ScannerEntry> list;
    ClRDKXScanAPIWrapper::QueryScanners(list, 0, true);
  });
  PutCode("close", [&] { scanner.Close(); });
}

// The binding ended by hand: every later use gets -2, nothing calls into the library.
void ScenarioEnd()
{
  ClRDKX2ScanAPIWrapper scanner;
  PutCode("open", [&] { scanner.Open(0); });
  std::string name = ClVeltranoKX1Wrapper::Instance()->LoadedName();
  std::atomic<bool> bEnded{false};
  std::thread ender;
  {
    // A call that passed the gate just before the end holds the library until it is out.
    ClKXCall call;
    ender = std::thread([&] {
      ClVeltranoKX1Wrapper::End();
      bEnded = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    Put("waited", !bEnded && Resident(name) && call->ftrScanGetImage ? "1" : "0");
  }
  ender.join();
  Put("instance", ClVeltranoKX1Wrapper::Instance() ? "1" : "0");
  Put("resident", Resident(name) ? "1" : "0");
  PutCode("start", [] { ClVeltranoKX1Wrapper::Start(); });
  UseAfterEnd(scanner);
}

// A device left open for a static destructor that runs after the binding's owner.
ClRDKX2ScanAPIWrapper* g_pLate = nullptr;

void ScenarioLate()
{
  g_pLate = new ClRDKX2ScanAPIWrapper();
  PutCode("open", [] { g_pLate->Open(0); });
}

// Runs from the loader's exit processing, after every static destructor of the program.
__attribute__((destructor)) void LateCalls()
{
  if (g_pLate)
    UseAfterEnd(*g_pLate);
}

// A module the system refuses to close: the explicit Unload raises, the destructor
// logs and the process goes on.
struct ClStubbornModule : ClDynamicLibrary
{
  ClStubbornModule()
  {
    m_hModule = dlopen(nullptr, RTLD_NOW);
    // Closed until the count is used up, so that the next dlclose fails.
    for (int i = 0; i < 100 && dlclose(m_hModule) == 0; ++i) {
    }
    SetFile("stubborn-module");
  }
  void UnloadNow() { Unload(); }
};

void ScenarioUnload()
{
  {
    ClStubbornModule module;
    PutCode("unload", [&] { module.UnloadNow(); });
  }
  Put("survived", "1");
}

} // namespace

int main(int argc, char** argv)
{
  ClSDKLoggingLayers::m_bEnabled = true;
  ClSDKLoggingLayers::m_pfnOutputDebugString = CaptureDebug;
  std::string scenario = argc > 1 ? argv[1] : "";
  if (scenario == "start")
    ScenarioStart();
  else if (scenario == "pin")
    ScenarioPin();
  else if (scenario == "sdk")
    ScenarioSdk();
  else if (scenario == "device")
    ScenarioDevice(argc > 2 ? argv[2] : nullptr);
  else if (scenario == "end")
    ScenarioEnd();
  else if (scenario == "late")
    ScenarioLate();
  else if (scenario == "unload")
    ScenarioUnload();
  else {
    std::fprintf(stderr, "usage: %s start|pin|sdk|device|end|late|unload [configuration]\n",
                 argv[0]);
    return 2;
  }
  Put("debug", g_sDebug);
  return 0;
}
