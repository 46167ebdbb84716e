#pragma once
// A processor log that keeps its lines, with or without the begin line of each run.
#include "imaging/ProcessorBase.h"

#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

class ClRecordingLog : public ClProcessorLog
{
public:
  explicit ClRecordingLog(bool bBegins = true) : m_bBegins(bBegins) {}
  void BeginRun(const ClProcessorBase& p) override
  {
    if (m_bBegins)
      lines.push_back(std::string("begin ") + p.GetName());
  }
  void WriteV(const char* szFormat, va_list args) override
  {
    char buf[256];
    std::vsnprintf(buf, sizeof(buf), szFormat, args);
    lines.push_back(buf);
  }
  std::vector<std::string> lines;

private:
  bool m_bBegins;
};
