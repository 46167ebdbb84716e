#include "base/Exceptions.h"

#include "base/ErrorCatalogue.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <new>
#include <type_traits>

namespace {

const char szUnknownFile[] = "Unknown";

// GNU and XSI strerror_r differ; this resolves either into a usable text.
const char* ErrorText(int nError, char* buf, size_t n)
{
  auto pick = [&](auto r) -> const char* {
    if constexpr (std::is_same_v<decltype(r), char*>)
      return r;
    else
      return r == 0 ? buf : nullptr;
  };
  buf[0] = 0;
  const char* s = pick(strerror_r(nError, buf, n));
  return s ? s : buf;
}

char* Duplicate(const char* s)
{
  if (!s)
    return nullptr;
  size_t n = std::strlen(s) + 1;
  char* p = static_cast<char*>(std::malloc(n));
  if (!p)
    throw ClExBadAlloc();
  std::memcpy(p, s, n);
  return p;
}

} // namespace

namespace Vlt {

const char* CXSystemException::GetMessage() const noexcept
{
  static thread_local char buf[256];
  return ErrorText(m_nError, buf, sizeof(buf));
}

CXSystemSpecificException::CXSystemSpecificException(const CXSystemSpecificException& other)
  : CXSystemException(other)
{}

CXSystemSpecificException::~CXSystemSpecificException() { std::free(m_szSystemText); }

const char* CXSystemSpecificException::GetMessage() const noexcept
{
  std::free(m_szSystemText);
  m_szSystemText = nullptr;
  char buf[256];
  const char* s = ErrorText(m_nError, buf, sizeof(buf));
  if (!s || !*s)
    return nullptr;
  m_szSystemText = strdup(s);
  return m_szSystemText;
}

} // namespace Vlt

ClException::ClException(int32_t nCode, const char* szFile, int32_t nLine)
  : m_szMessage(const_cast<char*>(::GetErrorDescriptionA(nCode))),
    m_szFile(szFile ? szFile : szUnknownFile), m_nLine(szFile ? nLine : -1), m_nCode(nCode)
{}

ClException::ClException(TpStaticText, const char* szText, int32_t nCode, const char* szFile,
                         int32_t nLine)
  : m_szMessage(const_cast<char*>(szText)), m_szFile(szFile ? szFile : szUnknownFile),
    m_nLine(szFile ? nLine : -1), m_nCode(nCode)
{}

ClException::ClException(const char* szMessage, int32_t nCode, bool /*bOwn*/, const char* szFile,
                         int32_t nLine)
  : m_szFile(szFile ? szFile : szUnknownFile), m_nLine(szFile ? nLine : -1), m_nCode(nCode)
{
  // Forming always owns the result, whatever the caller asked for.
  FormatMessage("%s\n%s", ::GetErrorDescriptionA(nCode), szMessage ? szMessage : "");
}

ClException::ClException(const ClException& other)
  : Vlt::ClVeltranoException(other), m_szMessage(other.m_szMessage), m_szFile(other.m_szFile),
    m_nLine(other.m_nLine), m_nCode(other.m_nCode), m_bOwnMessage(other.m_bOwnMessage)
{
  if (m_bOwnMessage)
    m_szMessage = Duplicate(other.m_szMessage);
}

ClException& ClException::operator=(const ClException& other)
{
  if (this == &other)
    return *this;
  char* msg = other.m_bOwnMessage ? Duplicate(other.m_szMessage) : other.m_szMessage;
  FreeMessage();
  m_szMessage = msg;
  m_szFile = other.m_szFile;
  m_nLine = other.m_nLine;
  m_nCode = other.m_nCode;
  m_bOwnMessage = other.m_bOwnMessage;
  return *this;
}

ClException::~ClException() { FreeMessage(); }

void ClException::FreeMessage() noexcept
{
  if (m_bOwnMessage)
    std::free(m_szMessage);
  m_szMessage = nullptr;
}

void ClException::FormatMessage(const char* szFormat, ...)
{
  va_list args;
  va_start(args, szFormat);
  try {
    FormatMessageV(szFormat, args);
  } catch (...) {
    va_end(args);
    throw;
  }
  va_end(args);
}

void ClException::FormatMessageV(const char* szFormat, va_list args)
{
  FreeMessage();
  m_bOwnMessage = true;
  va_list measure;
  va_copy(measure, args);
  int n = std::vsnprintf(nullptr, 0, szFormat, measure);
  va_end(measure);
  if (n <= 0)
    return;
  char* p = static_cast<char*>(std::malloc(static_cast<size_t>(n) + 1));
  if (!p)
    throw ClExBadAlloc();
  std::vsnprintf(p, static_cast<size_t>(n) + 1, szFormat, args);
  m_szMessage = p;
}

const char* ClException::GetErrorDescriptionA(int32_t nCode)
{
  return ::GetErrorDescriptionA(nCode);
}

const wchar_t* ClException::GetErrorDescriptionW(int32_t nCode)
{
  return ::GetErrorDescriptionW(nCode);
}

ClExBadAlloc::ClExBadAlloc()
  : ClException(TpStaticText{}, "Memory allocation failed", eErrOutOfMemory, nullptr, -1)
{}

void TrimSystemText(char* szText)
{
  if (!szText)
    return;
  size_t n = std::strlen(szText);
  while (n > 0 && static_cast<unsigned char>(szText[n - 1]) < 32)
    szText[--n] = 0;
}

ClExSystem::ClExSystem(const char* szMessage, const char* szFile, int32_t nLine)
  : ClException(eErrFromSystemFunction, szFile, nLine)
{
  int nError = errno;
  char buf[256];
  FormWithSystemText(ErrorText(nError, buf, sizeof(buf)), szMessage);
}

ClExSystem::ClExSystem(const char* szSystemText, const char* szMessage, int32_t nCode,
                       const char* szFile, int32_t nLine)
  : ClException(nCode, szFile, nLine)
{
  FormWithSystemText(szSystemText, szMessage);
}

void ClExSystem::FormWithSystemText(const char* szSystemText, const char* szMessage)
{
  char buf[512];
  std::snprintf(buf, sizeof(buf), "%s", szSystemText ? szSystemText : "");
  TrimSystemText(buf);
  FormatMessage("%s\n%s", buf, szMessage ? szMessage : "");
}

ClExDynamicLibraryLoadFail::ClExDynamicLibraryLoadFail(const char* szMessage, int32_t nCode,
                                                       const char* szFile, int32_t nLine)
  : ClExSystem(dlerror(), szMessage, nCode, szFile, nLine)
{}
