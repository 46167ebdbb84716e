#pragma once
// Root of the parameter tree: a named, typed view onto a value its owner keeps, with a
// stored default of its own. Everything reads and writes through the virtual operations
// below, as text, double, integer or enumeration member.
//
// Text out follows one size protocol: nSize holds the bytes available on entry and the
// bytes needed (terminator included) on return; a caller asks with a null buffer first.
#include "model/TpArray.h"
#include "base/Exceptions.h"

#include <cstdint>
#include <new>

class ClParameter;
class ClParameterContainer;
class ClParameterNumericInterface;
class ClParameterEnumInterface;
class ClParameterBlobInterface;

// Comparable token per value type; the handle layer tells value types apart by it.
using ClParameterType = const void*;
template <class T>
struct TpParameterTypeTag
{
  static inline const char s_cTag = 0;
};
template <class T>
inline ClParameterType ParameterTypeOf()
{
  return &TpParameterTypeTag<T>::s_cTag;
}

// Flag bits of ClParameter::GetFlags().
enum EParameterFlags : uint8_t {
  eParamWrite = 1,
  eParamRead = 2,
  eParamOptional = 4,
  eParamContainer = 8,
  eParamUnbound = 16,
  eParamClamp = 32,
  eParamStrict = 64
};

class ClParameterBase
{
public:
  ClParameterBase() = default;
  ClParameterBase(const ClParameterBase&) = delete;
  ClParameterBase& operator=(const ClParameterBase&) = delete;
  virtual ~ClParameterBase() = default;

  virtual const char* GetName() const = 0;
  virtual void SetName(const char* szName) = 0;
  virtual const char* GetDescription() const = 0;
  virtual void SetDescription(const char* szDescription) = 0;

  virtual ClParameter* Clone() const = 0;
  virtual void CopyTo(ClParameterBase* pTarget) const = 0;
  virtual void CopyDefaultFrom(const ClParameterBase* pOther) = 0;
  virtual void DefaultFromValueOf(const ClParameterBase* pOther) = 0;
  virtual void CopyValueFrom(const ClParameterBase* pOther, bool bForce) = 0;
  virtual void ResetToDefault() = 0;
  virtual void ValueFromDefaultOf(const ClParameterBase* pOther) = 0;

  virtual ClParameterContainer* AsContainer() { return nullptr; }
  virtual ClParameter* AsParameter() { return nullptr; }
  virtual ClParameterNumericInterface* AsNumeric() { return nullptr; }
  virtual ClParameterEnumInterface* AsEnum() { return nullptr; }
  virtual ClParameterBlobInterface* AsBlob() { return nullptr; }
  virtual bool IsParameter() const { return false; }
  virtual bool IsNumeric() const { return false; }
  virtual bool IsEnum() const { return false; }
  virtual bool IsPointer() const { return false; }
  virtual bool IsString() const { return false; }
  virtual void SwapValueAndDefault() {}
  virtual bool IsDefault() const = 0;
  virtual bool IsContainer() const { return false; }
  virtual void SetFromString(const char* szText) = 0;
  virtual bool GetString(char* pBuffer, uint64_t& nSize) const = 0;
  virtual bool GetDefaultString(char* pBuffer, uint64_t& nSize) const = 0;
  virtual void Touch() {}
  virtual void* GetValuePointer() const = 0;

  ClParameterContainer* GetParent() const { return m_pParent; }
  void SetParent(ClParameterContainer* pParent) { m_pParent = pParent; }

protected:
  ClParameterContainer* m_pParent = nullptr;
};

class ClParameter : public ClParameterBase
{
public:
  ClParameter() = default;
  ~ClParameter() override;

  const char* GetName() const override { return m_pName; }
  void SetName(const char* szName) override;
  const char* GetDescription() const override { return m_pDescription; }
  void SetDescription(const char* szDescription) override;

  // Type tag, flags, name and description.
  void CopyTo(ClParameterBase* pTarget) const override;
  ClParameter* AsParameter() override { return this; }
  bool IsParameter() const override { return true; }

  uint8_t GetFlags() const { return m_nFlags; }

  // Dotted path from the outermost named ancestor down to pParameter, size protocol as
  // GetString; a null buffer answers true after storing the needed size.
  static bool GetFullPath(const ClParameter* pParameter, char* pBuffer, uint64_t& nSize);

  // ASCII case-insensitive comparison of names; a null name matches nothing.
  static bool NamesEqual(const char* szA, const char* szB);

protected:
  // Copy of a text owned by a parameter; null stays null. -102 when allocation fails.
  static char* CopyText(const char* szText);
  static void FreeText(char*& szText);

  // A new P filled by fill(p): -102 when allocation fails, nothing left over when filling
  // throws. The common body of every Clone.
  template <class P, class F>
  static P* CloneWith(F&& fill)
  {
    P* p = new (std::nothrow) P();
    if (!p)
      throw ClExBadAlloc();
    try {
      fill(p);
    } catch (...) {
      delete p;
      throw;
    }
    return p;
  }

  ClParameterType m_pType = nullptr;
  char* m_pName = nullptr;
  char* m_pDescription = nullptr;
  uint8_t m_nFlags = eParamWrite | eParamRead;
};

// Shared by every numeric instance; doubles are the common currency.
class ClParameterNumericInterface
{
public:
  ClParameterNumericInterface();
  virtual ~ClParameterNumericInterface();

  virtual double GetDouble() const = 0;
  virtual void SetDouble(double dValue) = 0;
  virtual int32_t GetInteger() const = 0;
  virtual void SetInteger(int32_t nValue) = 0;
  virtual double GetMin() const = 0;
  virtual void SetMin(double dValue) = 0;
  virtual double GetMax() const = 0;
  virtual void SetMax(double dValue) = 0;
  virtual double GetDefault() const = 0;
  virtual void SetDefault(double dValue) = 0;
  virtual uint32_t GetPrecision() const { return m_nPrecision; }
  virtual void SetPrecision(uint32_t nPrecision) { m_nPrecision = nPrecision; }
  virtual bool IsFloat() const = 0;
  virtual bool IsInteger() const = 0;
  virtual bool IsInRange(double dValue) const = 0;
  virtual bool IsCurrentInRange() const = 0;
  virtual bool HasRange() const = 0;

  // printf format of the value; a '*' in it formats GetDouble() with the precision.
  const char* GetFormat() const;
  void SetFormat(const char* szFormat);

protected:
  ClParameterNumericInterface(const ClParameterNumericInterface&) = delete;
  ClParameterNumericInterface& operator=(const ClParameterNumericInterface&) = delete;

  // Kept for the layout of the interface; nothing reads it.
  double m_dUnused = 1.0;
  uint32_t m_nPrecision = 0;
  TpArrayDynamic<char> m_Format;
};

class ClParameterEnumInterface
{
public:
  virtual ~ClParameterEnumInterface() = default;
  virtual int64_t GetCount() const = 0;
  // Length of the entry's name without terminator. Copies the name when it is shorter
  // than nSize, else stores an empty text; a null buffer receives nothing.
  virtual uint64_t GetEntryName(uint64_t nIndex, char* pBuffer, uint64_t nSize) const = 0;
  virtual int32_t GetInteger() const = 0;
  virtual void SetInteger(int32_t nValue) = 0;
};

// No parameter implements it; AsBlob() is always null.
class ClParameterBlobInterface
{
public:
  virtual ~ClParameterBlobInterface() = default;
};
