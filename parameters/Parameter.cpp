#include "parameters/Parameter.h"

#include "parameters/ParameterContainer.h"
#include "parameters/TpParameterEnumPointer.h"
#include "parameters/TpParameterNumeric.h"
#include "base/Exceptions.h"

#include <cstdlib>
#include <cstring>
#include <string>
#include <type_traits>
#include <utility>

namespace {

char LowerAscii(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

} // namespace

ClParameter::~ClParameter()
{
  FreeText(m_pName);
  FreeText(m_pDescription);
}

char* ClParameter::CopyText(const char* szText)
{
  if (!szText)
    return nullptr;
  size_t n = std::strlen(szText) + 1;
  char* p = static_cast<char*>(std::malloc(n));
  if (!p)
    throw ClExBadAlloc();
  std::memcpy(p, szText, n);
  return p;
}

void ClParameter::FreeText(char*& szText)
{
  std::free(szText);
  szText = nullptr;
}

void ClParameter::SetName(const char* szName)
{
  // Copy first: the argument may be our own name.
  char* p = CopyText(szName);
  FreeText(m_pName);
  m_pName = p;
}

void ClParameter::SetDescription(const char* szDescription)
{
  char* p = CopyText(szDescription);
  FreeText(m_pDescription);
  m_pDescription = p;
}

void ClParameter::CopyTo(ClParameterBase* pTarget) const
{
  ClParameter* pCast = pTarget ? pTarget->AsParameter() : nullptr;
  if (!pCast)
    LSKX2_THROW_MSG("pCast is not set", eErrBadPointer);
  if (pCast == this)
    return;
  pCast->m_pType = m_pType;
  pCast->m_nFlags = m_nFlags;
  pCast->SetName(m_pName);
  pCast->SetDescription(m_pDescription);
}

bool ClParameter::NamesEqual(const char* szA, const char* szB)
{
  if (!szA || !szB)
    return false;
  for (;; ++szA, ++szB) {
    if (LowerAscii(*szA) != LowerAscii(*szB))
      return false;
    if (!*szA)
      return true;
  }
}

bool ClParameter::GetFullPath(const ClParameter* pParameter, char* pBuffer, uint64_t& nSize)
{
  if (!pParameter)
    LSKX2_THROW_MSG("pParameter is not set", eErrBadPointer);
  const char* szName = pParameter->GetName();
  uint64_t nNeeded = (szName ? std::strlen(szName) : 0) + 1;
  for (const ClParameterContainer* p = pParameter->GetParent(); p; p = p->GetParent()) {
    if (p->GetName())
      nNeeded += std::strlen(p->GetName()) + 1;
  }
  uint64_t nAvailable = nSize;
  nSize = nNeeded;
  if (!pBuffer)
    return true;
  if (nAvailable < nNeeded)
    return false;

  // Written from the end backwards: the leaf is known before its ancestors.
  char* pEnd = pBuffer + nNeeded - 1;
  *pEnd = 0;
  auto put = [&pEnd](const char* sz) {
    size_t n = sz ? std::strlen(sz) : 0;
    pEnd -= n;
    if (n)
      std::memcpy(pEnd, sz, n);
  };
  put(szName);
  for (const ClParameterContainer* p = pParameter->GetParent(); p; p = p->GetParent()) {
    if (!p->GetName())
      continue;
    *--pEnd = '.';
    put(p->GetName());
  }
  return true;
}

ClParameterNumericInterface::ClParameterNumericInterface() = default;

ClParameterNumericInterface::~ClParameterNumericInterface() = default;

const char* ClParameterNumericInterface::GetFormat() const
{
  return m_Format.Size() ? m_Format.Data() : "";
}

void ClParameterNumericInterface::SetFormat(const char* szFormat)
{
  TpArrayDynamic<char> format;
  for (const char* p = szFormat; p && *p; ++p)
    format.Add(*p);
  format.Add(0);
  m_Format = std::move(format);
}

// --- texts and helpers shared by the parameter templates ---

std::string ParameterRangeText(const char* szName)
{
  return std::string("Value out of range for parameter \"") + (szName ? szName : "") + "\"";
}

std::string ParameterSetFailedText(const char* szName, const char* szText)
{
  return std::string("Failed to set parameter \"") + (szName ? szName : "") + "\" to value \"" +
         (szText ? szText : "") + "\"";
}

void ThrowFormatFailure(int nErrno)
{
  char buf[256];
  buf[0] = 0;
  const char* szText = buf;
  // GNU and XSI strerror_r differ in their result.
  auto pick = [&](auto r) {
    if constexpr (std::is_same<decltype(r), char*>::value)
      szText = r;
  };
  pick(strerror_r(nErrno, buf, sizeof(buf)));
  LSKX2_THROW_MSG(szText, eErrInternal);
}

void CutTrailingZeros(char* szText)
{
  if (!std::strchr(szText, '.'))
    return;
  size_t n = std::strlen(szText);
  // One digit stays behind the separator: 2.000000 gives 2.0.
  while (n > 1 && szText[n - 1] == '0' && szText[n - 2] != '.' && szText[n - 2] != ',')
    szText[--n] = 0;
}

std::string EnumOutOfRangeText(const char* szValue, const char* szName)
{
  return std::string("Value \"") + (szValue ? szValue : "") + "\" out of range for parameter \"" +
         (szName ? szName : "") + "\"";
}

std::string EnumIntegerOutOfRangeText(int64_t nValue, const char* szName)
{
  return std::string("Value \"") + std::to_string(nValue) + "\" out of range for parameter \"" +
         (szName ? szName : "") + "\"";
}

std::string EnumValueNotNamedText(const char* szName, int64_t nValue)
{
  return std::string("Parameter \"") + (szName ? szName : "") + "\" out of range using value \"" +
         std::to_string(nValue) + "\"";
}

bool CopyOutText(const char* szText, char* pBuffer, uint64_t& nSize)
{
  uint64_t nNeeded = std::strlen(szText) + 1;
  uint64_t nAvailable = nSize;
  nSize = nNeeded;
  if (nAvailable < nNeeded)
    return false;
  if (pBuffer)
    std::memcpy(pBuffer, szText, nNeeded);
  return true;
}
