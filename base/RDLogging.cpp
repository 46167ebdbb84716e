#include "base/RDLogging.h"

#include "base/Exceptions.h"

#include <boost/date_time/posix_time/posix_time.hpp>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

TpLogHook g_pfnLogHook = nullptr;

int ClLoggingNone::Format(char (&buf)[kBufferSize], const char* szFormat, va_list args)
{
  if (!szFormat)
    return -1;
  return std::vsnprintf(buf, kBufferSize, szFormat, args);
}

void ClLoggingNone::Check(int nLength, const char* szFormat)
{
  if (!szFormat)
    LSKX2_THROW_MSG("szFormat == NULL", eErrLogging);
  if (nLength < 0)
    LSKX2_THROW_MSG(std::strerror(errno), eErrLogging);
  // Only the exact size is refused; longer texts are cut and go on.
  if (nLength == kBufferSize)
    LSKX2_THROW_MSG("Logging Message bigger than 1024 bytes.", eErrLogging);
}

void ClLoggingNone::Log(int32_t nLevel, const char* szFormat, ...)
{
  char buf[kBufferSize];
  va_list args;
  va_start(args, szFormat);
  const int n = Format(buf, szFormat, args);
  va_end(args);
  Check(n, szFormat);
  Write(nLevel, buf);
}

const char* ClLoggingNone::LevelName(int32_t nLevel)
{
  static const char* const names[] = {"Emergency", "Alert",  "Critical", "Error",
                                      "Warning",   "Notice", "Info",     "Debug"};
  if (nLevel < 0 || nLevel > 7)
    return "Unknown";
  return names[nLevel];
}

void ClLoggingNone::TimeStamp(char* szOut, size_t nSize)
{
  std::string s =
      boost::posix_time::to_simple_string(boost::posix_time::microsec_clock::local_time());
  std::snprintf(szOut, nSize, "%s", s.c_str());
}

void RDLoggingConfigure()
{
  // Exactly "1", terminator included: "10" or "true" leave logging off.
  const char* on = std::getenv("VELTRANO_SDK_LOG");
  ClSDKLoggingLayers::m_bEnabled = on && std::memcmp(on, "1", 2) == 0;

  ClSDKLoggingLayers::m_nLevel = 7;
  if (const char* lv = std::getenv("VELTRANO_SDK_LOG_LEVEL")) {
    int32_t n = static_cast<int32_t>(std::strtol(lv, nullptr, 10));
    if (static_cast<uint32_t>(n) < 8)
      ClSDKLoggingLayers::m_nLevel = n;
  }
  // No debug-output service to load here; the console layer does the work.
  ClSDKLoggingLayers::m_pfnOutputDebugString = nullptr;
}

namespace {
struct ClLoggingStartUp
{
  ClLoggingStartUp() { RDLoggingConfigure(); }
} s_LoggingStartUp;
} // namespace

void RDLog(int32_t nLevel, const char* szFormat, ...)
{
  char buf[ClLoggingNone::kBufferSize];
  va_list args;
  va_start(args, szFormat);
  const int n = ClLoggingNone::Format(buf, szFormat, args);
  va_end(args);
  TpLogHook hook = g_pfnLogHook;
  if (n >= 0 && hook)
    hook(nLevel, buf);
}

void RDDebugOut(const char* szText)
{
  if (szText)
    ClSDKLoggingLayers::LogText(7, szText);
}

void RDDebugOutW(const wchar_t* wszText)
{
  if (!wszText)
    return;
  // UTF-8 whatever the locale: a conversion through the C locale would drop the whole
  // line at the first character above 127.
  std::string text;
  for (const wchar_t* p = wszText; *p; ++p) {
    uint32_t c = static_cast<uint32_t>(*p);
    if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF))
      c = 0xFFFD;
    if (c < 0x80) {
      text += static_cast<char>(c);
    } else if (c < 0x800) {
      text += static_cast<char>(0xC0 | (c >> 6));
      text += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
      text += static_cast<char>(0xE0 | (c >> 12));
      text += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      text += static_cast<char>(0x80 | (c & 0x3F));
    } else {
      text += static_cast<char>(0xF0 | (c >> 18));
      text += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
      text += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      text += static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  RDDebugOut(text.c_str());
}
