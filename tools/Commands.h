#pragma once
// The sub-commands of lskx2. Each returns the program's exit status.

#include "tools/CliOptions.h"

#include <atomic>
#include <cstdint>

// The status a shell sees for an SDK code: the code as a positive number (the shell
// keeps its low 8 bits, never 0 for a failure).
int ExitStatus(int32_t nCode);

int RunList(const ClCliOptions& options, const std::atomic<bool>& bStop);
int RunInfo(const ClCliOptions& options, const std::atomic<bool>& bStop);
int RunCaptures(const ClCliOptions& options, const std::atomic<bool>& bStop, bool bTerminal);
