#pragma once
// A text parameter over a character buffer of the owner: the bound variable is the
// buffer pointer, nSize its capacity. Writing copies into the buffer and never replaces
// the pointer; a capacity of 0 refuses every write.
#include "parameters/TpParameter.h"

#include <cstring>
#include <new>
#include <type_traits>

template <class T = char*, class O = ClParameter, int nVariant = 0>
class TpParameterString : public TpParameter<T, O>
{
  static_assert(std::is_same<T, char*>::value, "text parameters exist for char* only");

public:
  ClParameter* Clone() const override
  {
    return this->template CloneWith<TpParameterString>([this](TpParameterString* p) {
      this->CopyTo(p);
      p->m_nSize = m_nSize;
    });
  }

  bool IsString() const override { return true; }

  void SetSize(uint64_t nSize) { m_nSize = nSize; }

  void SetFromString(const char* szText) override
  {
    if (!szText)
      LSKX2_THROW_MSG("Point is Null", eErrBadPointer);
    size_t n = std::strlen(szText) + 1;
    if (n > m_nSize)
      LSKX2_THROW_MSG("String memory ar too small", eErrTemplateSize);
    char* pTarget = this->ReadValue();
    if (!pTarget)
      LSKX2_THROW_MSG("Point is Null", eErrBadPointer);
    std::memmove(pTarget, szText, n);
  }

  // Unlike the numeric case, the size test comes before the buffer test.
  bool GetString(char* pBuffer, uint64_t& nSize) const override
  {
    const char* szValue = this->ReadValue();
    if (!szValue)
      szValue = "";
    uint64_t nNeeded = std::strlen(szValue) + 1;
    uint64_t nAvailable = nSize;
    nSize = nNeeded;
    if (nAvailable < nNeeded)
      return false;
    if (!pBuffer)
      LSKX2_THROW_MSG("Point is Null", eErrBadPointer);
    std::memcpy(pBuffer, szValue, nNeeded);
    return true;
  }

  bool GetDefaultString(char* pBuffer, uint64_t& nSize) const override
  {
    const char* szDefault = this->m_Default ? this->m_Default : "";
    uint64_t nLength = std::strlen(szDefault);
    if (nSize <= nLength)
      return false;
    if (pBuffer)
      std::memcpy(pBuffer, szDefault, nLength + 1);
    return true;
  }

protected:
  uint64_t m_nSize = 0;
};
