#pragma once
// Enumerations (named values, looked up ignoring ASCII case) and pointer ports (bPointer
// set, no names: image ports of processors). Values compare by plain equality, so a
// char* value compares as a pointer. Writes by name or by integer test no flags.
#include "parameters/TpParameter.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <type_traits>
#include <utility>

// Integer view of an enumeration value, for GetInteger, SetInteger and "%d" output.
template <class T>
inline int64_t EnumToInteger(T value)
{
  if constexpr (std::is_pointer<T>::value)
    return static_cast<int64_t>(reinterpret_cast<intptr_t>(value));
  else
    return static_cast<int64_t>(value);
}

std::string EnumOutOfRangeText(const char* szValue, const char* szName);
std::string EnumIntegerOutOfRangeText(int64_t nValue, const char* szName);
std::string EnumValueNotNamedText(const char* szName, int64_t nValue);
bool CopyOutText(const char* szText, char* pBuffer, uint64_t& nSize);

template <class T, class O = ClParameter>
class TpParameterEnumPointer : public TpParameter<T, O>, public ClParameterEnumInterface
{
  using Base = TpParameter<T, O>;

public:
  class ClMapEntry
  {
  public:
    ClMapEntry() = default;
    ClMapEntry(const ClMapEntry& other) : Value(other.Value), pName(CopyName(other.pName)) {}
    ClMapEntry& operator=(const ClMapEntry& other)
    {
      if (this != &other) {
        char* p = CopyName(other.pName);
        delete[] pName;
        pName = p;
        Value = other.Value;
      }
      return *this;
    }
    ~ClMapEntry() { delete[] pName; }

    static char* CopyName(const char* sz)
    {
      if (!sz)
        return nullptr;
      size_t n = std::strlen(sz) + 1;
      char* p = new (std::nothrow) char[n];
      if (!p)
        throw ClExBadAlloc();
      std::memcpy(p, sz, n);
      return p;
    }

    T Value{};
    char* pName = nullptr;
  };

  ClParameter* Clone() const override
  {
    return this->template CloneWith<TpParameterEnumPointer>(
        [this](TpParameterEnumPointer* p) { CopyTo(p); });
  }

  void CopyTo(ClParameterBase* pTarget) const override
  {
    Base::CopyTo(pTarget);
    auto* pCast = dynamic_cast<TpParameterEnumPointer*>(pTarget);
    if (!pCast)
      LSKX2_THROW_MSG("pCast is not set", eErrBadPointer);
    if (pCast == this)
      return;
    pCast->m_Entries = m_Entries;
    pCast->m_bPointer = m_bPointer;
  }

  ClParameterEnumInterface* AsEnum() override { return IsEnum() ? this : nullptr; }
  bool IsEnum() const override { return m_Entries.Size() > 0; }
  bool IsPointer() const override { return m_bPointer; }
  void SetPointer(bool bPointer) { m_bPointer = bPointer; }

  // A name already present with another value is a duplicate (-46); the very same pair
  // is appended again.
  void AddEntry(T value, const char* szName)
  {
    for (uint32_t i = 0; i < m_Entries.Size(); ++i) {
      if (ClParameter::NamesEqual(m_Entries[i].pName, szName) && !(m_Entries[i].Value == value))
        LSKX2_THROW(eErrParamValueDuplicate);
    }
    ClMapEntry entry;
    entry.Value = value;
    entry.pName = ClMapEntry::CopyName(szName);
    m_Entries.Add(entry);
  }

  void RemoveEntryByValue(T value)
  {
    Keep([&](const ClMapEntry& e, bool&) { return !(e.Value == value); });
  }

  void RemoveEntryByName(const char* szName)
  {
    Keep([&](const ClMapEntry& e, bool& bDone) {
      if (bDone || !ClParameter::NamesEqual(e.pName, szName))
        return true;
      bDone = true;
      return false;
    });
  }

  // --- enumeration interface ---
  int64_t GetCount() const override { return m_Entries.Size(); }
  uint64_t GetEntryName(uint64_t nIndex, char* pBuffer, uint64_t nSize) const override
  {
    const char* szName = nIndex < m_Entries.Size() ? m_Entries[nIndex].pName : nullptr;
    uint64_t nLength = szName ? std::strlen(szName) : 0;
    if (!pBuffer)
      return nLength;
    if (nLength < nSize)
      std::memcpy(pBuffer, szName ? szName : "", nLength + 1);
    else if (nSize > 0)
      pBuffer[0] = 0;
    return nLength;
  }
  int32_t GetInteger() const override
  {
    return static_cast<int32_t>(EnumToInteger(this->ReadValue()));
  }
  void SetInteger(int32_t nValue) override
  {
    for (uint32_t i = 0; i < m_Entries.Size(); ++i) {
      if (EnumToInteger(m_Entries[i].Value) == nValue) {
        this->WriteValue(m_Entries[i].Value);
        return;
      }
    }
    LSKX2_THROW_MSG(EnumIntegerOutOfRangeText(nValue, this->m_pName).c_str(), eErrParamOutOfRange);
  }

  // --- text ---
  void SetFromString(const char* szText) override
  {
    if (!szText)
      LSKX2_THROW_MSG("value string is NULL pointer!", eErrTemplatePtr);
    for (uint32_t i = 0; i < m_Entries.Size(); ++i) {
      if (ClParameter::NamesEqual(m_Entries[i].pName, szText)) {
        this->WriteValue(m_Entries[i].Value);
        return;
      }
    }
    LSKX2_THROW_MSG(EnumOutOfRangeText(szText, this->m_pName).c_str(), eErrParamOutOfRange);
  }

  bool GetString(char* pBuffer, uint64_t& nSize) const override
  {
    return TextOf(this->ReadValue(), pBuffer, nSize);
  }
  bool GetDefaultString(char* pBuffer, uint64_t& nSize) const override
  {
    return TextOf(this->m_Default, pBuffer, nSize);
  }

protected:
  bool TextOf(T value, char* pBuffer, uint64_t& nSize) const
  {
    for (uint32_t i = 0; i < m_Entries.Size(); ++i) {
      if (m_Entries[i].Value == value)
        return CopyOutText(m_Entries[i].pName ? m_Entries[i].pName : "", pBuffer, nSize);
    }
    if (IsEnum())
      LSKX2_THROW_MSG(EnumValueNotNamedText(this->m_pName, EnumToInteger(value)).c_str(),
                      eErrParamOutOfRange);
    char text[64];
    if (!m_bPointer)
      std::snprintf(text, sizeof(text), "%d", static_cast<int>(EnumToInteger(value)));
    else if (EnumToInteger(value) == 0)
      std::snprintf(text, sizeof(text), "NULL");
    else
      std::snprintf(text, sizeof(text), "%p",
                    reinterpret_cast<void*>(static_cast<intptr_t>(EnumToInteger(value))));
    return CopyOutText(text, pBuffer, nSize);
  }

  // Rebuilds the list with the entries that pass; later entries move down in order.
  template <class F>
  void Keep(F pass)
  {
    TpArrayDynamic<ClMapEntry, 10> kept;
    bool bDone = false;
    for (uint32_t i = 0; i < m_Entries.Size(); ++i) {
      if (pass(m_Entries[i], bDone))
        kept.Add(m_Entries[i]);
    }
    m_Entries = std::move(kept);
  }

  bool m_bPointer = false;
  TpArrayDynamic<ClMapEntry, 10> m_Entries;
};
