// lskx2: finds KX2 scanners and captures plain and rolled prints through the SDK's public
// C interface, as an application would, into PNG, JSON and an HTML report.
#include "tools/CliOptions.h"
#include "tools/Commands.h"
#include "tools/RecordCommands.h"
#include "livescannerkx2.h"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <dlfcn.h>
#include <string>
#include <unistd.h>

namespace {

std::atomic<bool> g_bStop{false};

// The capture loops look at the flag between calls and close the scanner themselves; a
// second Ctrl-C falls back to the default action.
void OnSignal(int) { g_bStop = true; }

void CatchInterrupts()
{
  struct sigaction sa = {};
  sa.sa_handler = OnSignal;
  sa.sa_flags = SA_RESETHAND;
  sigemptyset(&sa.sa_mask);
  sigaction(SIGINT, &sa, nullptr);
  sigaction(SIGTERM, &sa, nullptr);
}

const char* const szDeviceLibrary = "libkxScanAPI.so";

// Whether the loader finds the device library as the SDK asks for it; *pWhy gets the
// loader's own words when not.
bool DeviceLibraryLoads(std::string* pWhy)
{
  void* h = dlopen(szDeviceLibrary, RTLD_NOW | RTLD_LOCAL);
  if (!h) {
    const char* e = dlerror();
    if (e)
      *pWhy = e;
    return false;
  }
  dlclose(h);
  return true;
}

} // namespace

int main(int argc, char** argv)
{
  // These run a capture in a child process with another device library in place.
  if (argc >= 2 && IsRecordingCommand(argv[1]))
    return RunRecordingCommand(argc, argv);
  ClCliOptions options;
  try {
    options = ParseArguments(argc, argv);
  } catch (const ClUsageError& e) {
    std::fprintf(stderr, "lskx2: %s (lskx2 --help tells more)\n", e.what());
    return 2;
  }
  if (options.m_eCommand == ECommand::eHelp) {
    std::fputs(UsageText(), stdout);
    return 0;
  }
  CatchInterrupts();
  int32_t rc = LS_KX2Initialize(nullptr);
  if (rc != 0) {
    std::string why = "the SDK library does not find it on its search path";
    // The SDK names no file; the loader's own words say more when it fails here too.
    if (rc == LS_KX2_ERROR_FILE_OPEN_FAIL) {
      DeviceLibraryLoads(&why);
      std::fprintf(stderr,
                   "lskx2: the device library %s could not be loaded: %s\n"
                   "lskx2: with a scanner, install its vendor's device library where the "
                   "loader finds it; without one, run on the simulator: livescannerkx2-sim lskx2 "
                   "%s\n",
                   szDeviceLibrary, why.c_str(), argc > 1 ? argv[1] : "demo");
      return 1; // no scanner to reach
    }
    std::fprintf(stderr, "lskx2: starting the SDK: %d %s\n", rc, LS_KX2GetErrorDescriptionA(rc));
    return ExitStatus(rc);
  }
  int status = 0;
  switch (options.m_eCommand) {
  case ECommand::eList:
    status = RunList(options, g_bStop);
    break;
  case ECommand::eInfo:
    status = RunInfo(options, g_bStop);
    break;
  case ECommand::eView:
    status = RunView(options, g_bStop);
    break;
  default:
    status = RunCaptures(options, g_bStop, isatty(STDOUT_FILENO) != 0);
  }
  LS_KX2Uninitialize();
  return status;
}
