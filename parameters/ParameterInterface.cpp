#include "parameters/ParameterInterface.h"

#include "model/Stream.h"
#include "base/Exceptions.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace {

char* CopyRecordText(const char* szText)
{
  if (!szText)
    return nullptr;
  size_t n = std::strlen(szText) + 1;
  char* p = new (std::nothrow) char[n];
  if (!p)
    throw ClExBadAlloc();
  std::memcpy(p, szText, n);
  return p;
}

// Reads one value of the record's width and stores it as the member's own type.
template <class TRead, class TStore>
void ReadValue(ClStream& stream, void* pValue)
{
  TRead v{};
  stream.Read(v);
  if (pValue)
    *static_cast<TStore*>(pValue) = static_cast<TStore>(v);
}

// Bytes of a choice block including the closing empty text.
size_t ChoiceBlockBytes(const char* pChoices, uint32_t* pnCount)
{
  size_t n = 0;
  uint32_t nCount = 0;
  while (pChoices[n]) {
    n += std::strlen(pChoices + n) + 1;
    ++nCount;
  }
  if (pnCount)
    *pnCount = nCount;
  return n + 1;
}

// Owns a text read from a stream until the comparison is done.
struct TextHolder
{
  char* sz = nullptr;
  ~TextHolder() { delete[] sz; }
};

} // namespace

ClParameterInterface::ClParameter::~ClParameter()
{
  delete[] m_pName;
  delete[] m_pDescription;
  delete[] m_pChoices;
  delete[] m_pChoiceValues;
}

uint32_t ClParameterInterface::ClParameter::ChoiceCount() const
{
  uint32_t nCount = 0;
  if (m_pChoices)
    ChoiceBlockBytes(m_pChoices, &nCount);
  return nCount;
}

void ClParameterInterface::ClParameter::Write(ClStream& stream) const
{
  stream.WriteString(m_pName);
  stream.Write(static_cast<uint8_t>(m_nDirection));
  stream.Write(static_cast<uint8_t>(m_nFixed));
  stream.Write(m_dMin);
  stream.Write(m_dMax);
  stream.Write(m_dDefault);
  stream.Write(m_bFlagA != 0);
  stream.Write(m_bFlagB != 0);
  stream.Write(static_cast<uint8_t>(m_nKind));
  // A record without a member still keeps the layout of its kind.
  switch (m_nKind) {
  case eKindUInt8:
    stream.Write(m_pValue ? *static_cast<const uint8_t*>(m_pValue) : uint8_t(0));
    break;
  case eKind16A:
  case eKind16B:
    stream.Write(m_pValue ? *static_cast<const uint16_t*>(m_pValue) : uint16_t(0));
    break;
  case eKindInteger:
  case eKind32:
    stream.Write(m_pValue ? *static_cast<const uint32_t*>(m_pValue) : uint32_t(0));
    break;
  case eKindDouble:
    stream.Write(m_pValue ? *static_cast<const double*>(m_pValue) : 0.0);
    break;
  default:
    break;
  }
}

int32_t ClParameterInterface::ClParameter::Read(ClStream& stream)
{
  {
    TextHolder name;
    stream.ReadString(name.sz);
    if (std::strcmp(name.sz ? name.sz : "", m_pName ? m_pName : "") != 0)
      return eErrFormatNotsupported;
  }
  uint8_t nDirection = 0, nFixed = 0, nKind = 0;
  stream.Read(nDirection);
  stream.Read(nFixed);
  stream.Read(m_dMin);
  stream.Read(m_dMax);
  stream.Read(m_dDefault);
  bool bFlag = false;
  stream.Read(bFlag);
  m_bFlagA = bFlag;
  stream.Read(bFlag);
  m_bFlagB = bFlag;
  stream.Read(nKind);
  switch (m_nKind) {
  case eKindUInt8:
    ReadValue<uint8_t, uint8_t>(stream, m_pValue);
    break;
  case eKind16A:
    // Written with two bytes, read with four: the format has it so. Only the member's
    // own two bytes are stored.
    ReadValue<uint32_t, uint16_t>(stream, m_pValue);
    break;
  case eKind16B:
    ReadValue<uint16_t, uint16_t>(stream, m_pValue);
    break;
  case eKindInteger:
  case eKind32:
    ReadValue<uint32_t, uint32_t>(stream, m_pValue);
    break;
  case eKindDouble:
    ReadValue<double, double>(stream, m_pValue);
    break;
  default:
    break;
  }
  return 0;
}

ClParameterInterface::~ClParameterInterface()
{
  while (m_pHead) {
    ClParameter* pNext = m_pHead->m_pNext;
    delete m_pHead;
    m_pHead = pNext;
  }
}

ClParameterInterface::ClParameter* ClParameterInterface::Append(void* pValue, const char* szName,
                                                                const char* szDescription,
                                                                uint32_t nDirection, uint32_t nKind)
{
  ClParameter* p = new (std::nothrow) ClParameter();
  if (!p)
    throw ClExBadAlloc();
  try {
    p->m_pName = CopyRecordText(szName);
    p->m_pDescription = CopyRecordText(szDescription);
  } catch (...) {
    delete p;
    throw;
  }
  p->m_pValue = pValue;
  p->m_nDirection = nDirection;
  p->m_nKind = nKind;
  if (m_pTail)
    m_pTail->m_pNext = p;
  else
    m_pHead = p;
  m_pTail = p;
  ++m_nCount;
  return p;
}

ClParameterInterface::ClParameter* ClParameterInterface::AddBool(bool* pValue, const char* szName,
                                                                 const char* szDescription,
                                                                 uint32_t nDirection)
{
  ClParameter* p = Append(pValue, szName, szDescription, nDirection, eKindChoice);
  static const char s_aBoolChoices[] = "False\0True\0";
  SetChoices(p, s_aBoolChoices, nullptr);
  p->m_nKind = eKindBool;
  return p;
}

ClParameterInterface::ClParameter* ClParameterInterface::AddChoice(void* pValue, const char* szName,
                                                                   const char* szDescription,
                                                                   const char* pChoices,
                                                                   uint32_t nDirection)
{
  ClParameter* p = Append(pValue, szName, szDescription, nDirection, eKindChoice);
  if (pChoices)
    SetChoices(p, pChoices, nullptr);
  return p;
}

ClParameterInterface::ClParameter*
ClParameterInterface::AppendNumber(void* pValue, double dValue, const char* szName,
                                   const char* szDescription, uint32_t nDirection, uint32_t nKind,
                                   double dMin, double dMax)
{
  ClParameter* p = Append(pValue, szName, szDescription, nDirection, nKind);
  SuggestRange(dValue, &dMin, &dMax);
  SetRange(p, dMin, dMax);
  p->m_dDefault = dValue;
  return p;
}

ClParameterInterface::ClParameter*
ClParameterInterface::AddInteger(int32_t* pValue, const char* szName, const char* szDescription,
                                 uint32_t nDirection, double dMin, double dMax)
{
  return AppendNumber(pValue, pValue ? *pValue : 0.0, szName, szDescription, nDirection,
                      eKindInteger, dMin, dMax);
}

ClParameterInterface::ClParameter*
ClParameterInterface::AddDouble(double* pValue, const char* szName, const char* szDescription,
                                uint32_t nDirection, double dMin, double dMax)
{
  return AppendNumber(pValue, pValue ? *pValue : 0.0, szName, szDescription, nDirection,
                      eKindDouble, dMin, dMax);
}

ClParameterInterface::ClParameter* ClParameterInterface::AddImage(void* pValue, const char* szName,
                                                                  const char* szDescription,
                                                                  uint32_t nDirection, double dMin,
                                                                  double dMax)
{
  ClParameter* p = Append(pValue, szName, szDescription, nDirection, eKindImage);
  SetRange(p, dMin, dMax);
  return p;
}

ClParameterInterface::ClParameter*
ClParameterInterface::AddGeneric(void* pValue, const char* szName, const char* szDescription,
                                 uint32_t nDirection, uint32_t nKind, uint32_t nFixed)
{
  ClParameter* p = Append(pValue, szName, szDescription, nDirection, nKind);
  p->m_nFixed = nFixed;
  return p;
}

void ClParameterInterface::SetRange(ClParameter* pRecord, double dMin, double dMax)
{
  pRecord->m_dMin = dMin;
  pRecord->m_dMax = dMax;
  if (dMin == dMax)
    pRecord->m_nFixed = 1;
}

void ClParameterInterface::SetChoices(ClParameter* pRecord, const char* pChoices,
                                      const int32_t* pValues)
{
  delete[] pRecord->m_pChoices;
  pRecord->m_pChoices = nullptr;
  delete[] pRecord->m_pChoiceValues;
  pRecord->m_pChoiceValues = nullptr;
  if (!pChoices)
    return;
  uint32_t nCount = 0;
  size_t nBytes = ChoiceBlockBytes(pChoices, &nCount);
  char* pBlock = new (std::nothrow) char[nBytes];
  if (!pBlock)
    throw ClExBadAlloc();
  std::memcpy(pBlock, pChoices, nBytes);
  pRecord->m_pChoices = pBlock;
  if (pValues && nCount) {
    int32_t* pCopy = new (std::nothrow) int32_t[nCount];
    if (!pCopy)
      throw ClExBadAlloc();
    std::copy(pValues, pValues + nCount, pCopy);
    pRecord->m_pChoiceValues = pCopy;
  }
}

void ClParameterInterface::SuggestRange(double dValue, double* pdMin, double* pdMax)
{
  if (*pdMin != 1.0 || *pdMax != -1.0)
    return;
  double a = (dValue + dValue) / 3.0;
  double b = dValue * 4.0 / 3.0;
  *pdMin = std::min(a, b);
  *pdMax = std::max(a, b);
}

ClParameterInterface::ClParameter* ClParameterInterface::Find(const char* szName) const
{
  for (ClParameter* p = m_pHead; p; p = p->m_pNext) {
    if (p->m_pName && szName && std::strcmp(p->m_pName, szName) == 0)
      return p;
  }
  return nullptr;
}
