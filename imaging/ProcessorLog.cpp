#include "imaging/ProcessorLog.h"

void ClProcessorLog::Write(const char* szFormat, ...)
{
  va_list args;
  va_start(args, szFormat);
  WriteV(szFormat, args);
  va_end(args);
}
