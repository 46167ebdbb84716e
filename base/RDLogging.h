#pragma once
// Logging stack: each layer adds a sink and hands on to the layer below. The class-wide
// state is set once while the library loads and never changes afterwards, so no lock.
#include <cstdarg>
#include <cstdint>
#include <cstdio>

class ClLoggingNone
{
public:
  static constexpr int32_t kBufferSize = 1024;

  virtual ~ClLoggingNone() = default;

  // Forms and checks the message, then drops it.
  static void Log(int32_t nLevel, const char* szFormat, ...);
  static void Write(int32_t /*nLevel*/, const char* /*szText*/) {}

  static const char* LevelName(int32_t nLevel);
  // "2002-Jan-01 10:00:01.123456", local time.
  static void TimeStamp(char* szOut, size_t nSize);

  // Formats into a 1024-byte buffer and gives the length the whole message would have
  // had, -1 for a null format. Throws nothing, so callers can end their
  // argument list before Check.
  static int Format(char (&buf)[kBufferSize], const char* szFormat, va_list args);
  // -49 for a null format, a failed format or a result of exactly 1024 (longer ones are
  // cut silently).
  static void Check(int nLength, const char* szFormat);
};

template <class TBase>
class TpLoggingConsole : public TBase
{
public:
  static inline int32_t m_nLevel = 7;

  static void Write(int32_t nLevel, const char* szText)
  {
    if (nLevel > m_nLevel)
      return;
    char stamp[64];
    ClLoggingNone::TimeStamp(stamp, sizeof(stamp));
    std::fprintf(stdout, "%s [%s] - %s\n", stamp, ClLoggingNone::LevelName(nLevel), szText);
    std::fflush(stdout);
  }
};

template <class TBase>
class TpLoggingDebugOut : public TBase
{
public:
  // No system debug-output service on this platform: stays null, the console writes.
  static inline void (*m_pfnOutputDebugString)(const char*) = nullptr;

  static void Write(int32_t nLevel, const char* szText)
  {
    if (!m_pfnOutputDebugString) {
      TBase::Write(nLevel, szText);
      return;
    }
    char stamp[64];
    char line[ClLoggingNone::kBufferSize];
    ClLoggingNone::TimeStamp(stamp, sizeof(stamp));
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-truncation"
    std::snprintf(line, sizeof(line), "%s: %s\n", stamp, szText);
#pragma GCC diagnostic pop
    m_pfnOutputDebugString(line);
  }
};

template <class TBase>
class TpLoggingConfigurator : public TBase
{
public:
  static inline bool m_bEnabled = false;

  static void Log(int32_t nLevel, const char* szFormat, ...)
  {
    char buf[ClLoggingNone::kBufferSize];
    va_list args;
    va_start(args, szFormat);
    const int n = ClLoggingNone::Format(buf, szFormat, args);
    va_end(args);
    ClLoggingNone::Check(n, szFormat);
    if (m_bEnabled)
      TBase::Write(nLevel, buf);
  }

  static void LogText(int32_t nLevel, const char* szText)
  {
    if (m_bEnabled && szText)
      TBase::Write(nLevel, szText);
  }
};

template <class TLayers>
class TpLogging : public TLayers
{
public:
  ~TpLogging() override = default;
};

using ClSDKLoggingLayers =
    TpLoggingConfigurator<TpLoggingDebugOut<TpLoggingConsole<ClLoggingNone>>>;
using ClSDKLogging = TpLogging<ClSDKLoggingLayers>;

// Reads the two environment variables; runs once while the library loads.
void RDLoggingConfigure();

// Library-wide log hook: set by the SDK object on first use, null before.
using TpLogHook = void (*)(int32_t, const char*);
extern TpLogHook g_pfnLogHook;

// Log line from library code below the exports: formed like Log, written through the hook.
void RDLog(int32_t nLevel, const char* szFormat, ...);

// The platform's debug output is the logging stack at level 7 here.
void RDDebugOut(const char* szText);
void RDDebugOutW(const wchar_t* wszText);
