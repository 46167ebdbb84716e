#pragma once
// The binding of a parameter to its value: a variable of the owner, or a pair of the
// owner's accessors (which win when both are set), plus the stored default.
//
// Binding, as every owner does it: Bind(&m_nMember, flags) or, with accessors,
// Bind(&dummy, pOwner, pfnSet, pfnGet, flags). The variable's present value becomes the
// default; CaptureDefaults of a processor then swaps the factory value in.
#include "parameters/Parameter.h"
#include "base/Exceptions.h"

#include <type_traits>

template <class T, class O>
class TpParameterBase : public ClParameter
{
public:
  using ValueType = T;
  using OwnerType = O;
  using SetFn = void (*)(O*, const T*);
  using GetFn = T (*)(O*);

  TpParameterBase() { m_pType = ParameterTypeOf<T>(); }

  void Bind(T* pVariable, uint8_t nFlags)
  {
    m_pValue = pVariable;
    m_nFlags = static_cast<uint8_t>(m_nFlags & ~eParamUnbound);
    m_ppValue = &m_pValue;
    if (pVariable)
      m_Default = *pVariable;
    m_nFlags = nFlags;
  }

  void Bind(T* pDummy, O* pObject, SetFn pfnSet, GetFn pfnGet, uint8_t nFlags)
  {
    m_pValue = pDummy;
    m_nFlags = static_cast<uint8_t>(m_nFlags & ~eParamUnbound);
    m_ppValue = &m_pValue;
    if (pDummy)
      m_Default = *pDummy;
    m_pObject = pObject;
    m_pfnSet = pfnSet;
    m_pfnGet = pfnGet;
    m_nFlags = nFlags;
  }

  void CopyTo(ClParameterBase* pTarget) const override
  {
    ClParameter::CopyTo(pTarget);
    auto* pCast = dynamic_cast<TpParameterBase*>(pTarget);
    if (!pCast)
      LSKX2_THROW_MSG("pCast is not set", eErrBadPointer);
    if (pCast == this)
      return;
    pCast->m_pObject = m_pObject;
    pCast->m_pfnSet = m_pfnSet;
    pCast->m_pfnGet = m_pfnGet;
    pCast->m_pValue = m_pValue;
    pCast->m_Default = m_Default;
    // A clone must point at its own slot, not at ours, which dies with us.
    pCast->m_ppValue = (m_ppValue == &m_pValue) ? &pCast->m_pValue : m_ppValue;
  }

  void CopyDefaultFrom(const ClParameterBase* pOther) override
  {
    m_Default = Cast(pOther)->m_Default;
  }
  void DefaultFromValueOf(const ClParameterBase* pOther) override
  {
    m_Default = Cast(pOther)->ReadValue();
  }
  void CopyValueFrom(const ClParameterBase* pOther, bool bForce) override
  {
    if (!bForce && IsPointer())
      return;
    WriteValue(Cast(pOther)->ReadValue());
  }
  void ResetToDefault() override { WriteValue(m_Default); }
  void ValueFromDefaultOf(const ClParameterBase* pOther) override
  {
    WriteValue(Cast(pOther)->m_Default);
  }

  void SwapValueAndDefault() override
  {
    T value = ReadValue();
    WriteValue(m_Default);
    m_Default = value;
  }

  bool IsDefault() const override { return ReadValue() == m_Default; }

  void SetFromString(const char*) override { Abstract(); }
  bool GetString(char*, uint64_t&) const override { Abstract(); }
  bool GetDefaultString(char*, uint64_t&) const override { Abstract(); }

  void* GetValuePointer() const override { return *m_ppValue; }

protected:
  [[noreturn]] static void Abstract() { LSKX2_THROW_MSG("Abstract function", eErrInternal); }

  static const TpParameterBase* Cast(const ClParameterBase* pOther)
  {
    auto* pCast = dynamic_cast<const TpParameterBase*>(pOther);
    if (!pCast)
      LSKX2_THROW_MSG("pCast is not set", eErrBadPointer);
    return pCast;
  }

  T ReadValue() const
  {
    if (m_pObject && m_pfnGet)
      return m_pfnGet(m_pObject);
    if (!*m_ppValue)
      LSKX2_THROW_MSG("pValue is not set", eErrBadPointer);
    if constexpr (bAtomicAccess) {
      T value;
      __atomic_load(*m_ppValue, &value, __ATOMIC_RELAXED);
      return value;
    } else {
      return **m_ppValue;
    }
  }

  void WriteValue(const T& value)
  {
    if (m_pObject && m_pfnSet) {
      m_pfnSet(m_pObject, &value);
      return;
    }
    if (!*m_ppValue)
      LSKX2_THROW_MSG("pValue is not set", eErrBadPointer);
    if constexpr (bAtomicAccess)
      __atomic_store(*m_ppValue, const_cast<T*>(&value), __ATOMIC_RELAXED);
    else
      **m_ppValue = value;
  }

  // Capture workers read bound settings while an application thread writes them through
  // a property: plain numbers are loaded and stored atomically on both sides.
  static constexpr bool bAtomicAccess =
      std::is_arithmetic_v<T> &&
      (sizeof(T) == 1 || sizeof(T) == 2 || sizeof(T) == 4 || sizeof(T) == 8);

  O* m_pObject = nullptr;
  SetFn m_pfnSet = nullptr;
  GetFn m_pfnGet = nullptr;
  T** m_ppValue = &m_pValue;
  T* m_pValue = nullptr;
  T m_Default{};
};

// Adds nothing: the text conversions are still abstract here.
template <class T, class O>
class TpParameter : public TpParameterBase<T, O>
{};
