#pragma once
// The sub-commands of lskx2. Each returns the program's exit status.

#include "tools/CaptureRecord.h"
#include "tools/CliOptions.h"

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

// The status a shell sees for an SDK code: the code as a positive number (the shell
// keeps its low 8 bits, never 0 for a failure).
int ExitStatus(int32_t nCode);

int RunList(const ClCliOptions& options, const std::atomic<bool>& bStop);
int RunInfo(const ClCliOptions& options, const std::atomic<bool>& bStop);
int RunCaptures(const ClCliOptions& options, const std::atomic<bool>& bStop, bool bTerminal);
// Serves a live view of the scanner to browsers until bStop is set.
int RunView(const ClCliOptions& options, const std::atomic<bool>& bStop);

double SteadySeconds();
// The device library's frame clock when it keeps one (the simulator and the recorder do):
// the time of its last frame, so that a replayed capture lasts what the recorded one did.
// Otherwise the steady clock. Asked once the SDK has loaded the library.
double FrameClockSeconds();
// "lskx2: WHAT: CODE TEXT" on standard error.
void Fail(const std::string& what, int32_t nCode);
// Explains why no scanner could be opened; returns the exit status.
int OpenFailure(int32_t rc, const std::string& name);
// Earlier runs' captures and report, so that a folder holds one run only.
void RemoveEarlierRun(const std::string& dir);
// Opens the scanner, applies the options and clears the output folder of an earlier run;
// 0, or the exit status after saying what went wrong.
int OpenForCaptures(class ClScannerSession& session, const ClCliOptions& o);
// The capture's PNG (when it has an image) and JSON file in dir, the PNG's name into *r.
bool SaveCapture(const std::string& dir, ClCaptureRecord* r, const std::vector<uint8_t>& image);
