#pragma once
// The two exception families of the library. Only ClException and what derives from it
// carries a catalogue code and is turned into a result at the exported functions.
#include "base/ErrorCatalogue.h"

#include <cstdarg>
#include <cstdint>
#include <exception>

namespace Vlt {

class ClVeltranoException : public std::exception
{};

// Family without a code; nothing at the exports catches it.
class CXException : public ClVeltranoException
{
public:
  ~CXException() override = default;
  const char* what() const noexcept override { return Describe(); }
  virtual const char* Describe() const noexcept { return GetMessage(); }
  virtual const char* GetMessage() const noexcept = 0;
};

class CXSystemException : public CXException
{
public:
  explicit CXSystemException(int32_t nError) : m_nError(nError) {}
  const char* GetMessage() const noexcept override;
  virtual void Reserved() const {}

protected:
  int32_t m_nError;
};

// Holds a text allocated for the error number; freed on the next query and at destruction.
class CXSystemSpecificException : public CXSystemException
{
public:
  explicit CXSystemSpecificException(int32_t nError) : CXSystemException(nError) {}
  CXSystemSpecificException(const CXSystemSpecificException& other);
  CXSystemSpecificException& operator=(const CXSystemSpecificException&) = delete;
  ~CXSystemSpecificException() override;
  const char* GetMessage() const noexcept override;

private:
  mutable char* m_szSystemText = nullptr;
};

} // namespace Vlt

class ClException : public Vlt::ClVeltranoException
{
public:
  // Message: the catalogue text of the code, a newline and the given text.
  ClException(const char* szMessage, int32_t nCode, bool bOwn = true, const char* szFile = nullptr,
              int32_t nLine = -1);
  ClException(const ClException& other);
  ClException& operator=(const ClException& other);
  ~ClException() override;

  const char* what() const noexcept override { return GetMessage(); }
  virtual const char* GetMessage() const noexcept { return m_szMessage; }

  int32_t GetCode() const noexcept { return m_nCode; }
  const char* GetFile() const noexcept { return m_szFile; }
  int32_t GetLine() const noexcept { return m_nLine; }

  static const char* GetErrorDescriptionA(int32_t nCode);
  static const wchar_t* GetErrorDescriptionW(int32_t nCode);

protected:
  // Catalogue text alone, shared and not owned.
  ClException(int32_t nCode, const char* szFile, int32_t nLine);
  // A message that is already formed (used where no allocation may happen).
  struct TpStaticText
  {};
  ClException(TpStaticText, const char* szText, int32_t nCode, const char* szFile, int32_t nLine);

  void FormatMessage(const char* szFormat, ...);
  void FormatMessageV(const char* szFormat, va_list args);
  void FreeMessage() noexcept;

  char* m_szMessage = nullptr;
  const char* m_szFile;
  int32_t m_nLine;
  int32_t m_nCode;
  bool m_bOwnMessage = false;
};

class ClExVeltrano : public ClException
{
public:
  explicit ClExVeltrano(int32_t nCode, const char* szFile = nullptr, int32_t nLine = -1)
    : ClException(nCode, szFile, nLine)
  {}
};

class ClExBadAlloc : public ClException
{
public:
  // Raised where allocation itself failed: no further allocation, text fixed.
  ClExBadAlloc();
  ClExBadAlloc(const char* szMessage, int32_t nCode, bool bOwn = true, const char* szFile = nullptr,
               int32_t nLine = -1)
    : ClException(szMessage, nCode, bOwn, szFile, nLine)
  {}
};

class ClExRange : public ClException
{
public:
  ClExRange(const char* szMessage, int32_t nCode, bool bOwn = true, const char* szFile = nullptr,
            int32_t nLine = -1)
    : ClException(szMessage, nCode, bOwn, szFile, nLine)
  {}
};

class ClExStream : public ClException
{
public:
  ClExStream(const char* szMessage, int32_t nCode, bool bOwn = true, const char* szFile = nullptr,
             int32_t nLine = -1)
    : ClException(szMessage, nCode, bOwn, szFile, nLine)
  {}
};

class ClExStreamUnexpectedEnd : public ClExStream
{
public:
  ClExStreamUnexpectedEnd(const char* szMessage, int32_t nCode, bool bOwn = true,
                          const char* szFile = nullptr, int32_t nLine = -1)
    : ClExStream(szMessage, nCode, bOwn, szFile, nLine)
  {}
};

class ClExSystem : public ClException
{
public:
  // Text: the system's text for errno, a newline and the given text; code -105.
  ClExSystem(const char* szMessage, const char* szFile = nullptr, int32_t nLine = -1);

protected:
  // Same forming with a system text the caller already has (dlerror on the loader path).
  ClExSystem(const char* szSystemText, const char* szMessage, int32_t nCode, const char* szFile,
             int32_t nLine);
  void FormWithSystemText(const char* szSystemText, const char* szMessage);
};

class ClExDynamicLibraryLoadFail : public ClExSystem
{
public:
  // Takes the loader's last error text (dlerror) itself, then the given text and the code
  // (-200 load, -206 missing entry point, -204 unload).
  ClExDynamicLibraryLoadFail(const char* szMessage, int32_t nCode, const char* szFile = nullptr,
                             int32_t nLine = -1);
};

// Trims trailing characters below 32 from a system text, in place.
void TrimSystemText(char* szText);

// Every error is raised through these, so each carries the place it was raised.
#define LSKX2_THROW(code) throw ClExVeltrano((code), __FILE__, __LINE__)
#define LSKX2_THROW_MSG(text, code) throw ClException((text), (code), true, __FILE__, __LINE__)
// A derived exception: its own arguments, then the place.
#define LSKX2_THROW_AS(type, ...) throw type(__VA_ARGS__, __FILE__, __LINE__)
// The few errors whose location reads "Unknown".
#define LSKX2_THROW_UNPLACED(text, code) throw ClException((text), (code), true, nullptr, -1)
