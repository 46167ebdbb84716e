#pragma once
#include <cstdarg>

class ClProcessorBase;

// Where a processor reports its runs when logging is on. Nothing installs one by default.
class ClProcessorLog
{
public:
  virtual ~ClProcessorLog() = default;
  virtual void BeginRun(const ClProcessorBase& processor) = 0;
  virtual void WriteV(const char* szFormat, va_list args) = 0;
  void Write(const char* szFormat, ...);
};
