#include "imaging/ProcessorArguments.h"

#include "base/Exceptions.h"
#include "imaging/OutImageType.h"
#include "model/FpImage.h"
#include "parameters/ParameterContainer.h"
#include "parameters/ParameterInterface.h"

#include <cstring>
#include <type_traits>

namespace {

// Each choice text with its value, in order.
template <class T, class F>
void ForEachChoice(const char* pChoices, const int32_t* pnValues, F&& fn)
{
  for (size_t i = 0; *pChoices; ++i) {
    fn(static_cast<T>(pnValues[i]), pChoices);
    pChoices += std::strlen(pChoices) + 1;
  }
}

} // namespace

ClProcessorArguments::StArgument&
ClProcessorArguments::Add(EKind eKind, void* pValue, const char* szName, const char* szBindName,
                          const char* szText, double dDefault, double dMin, double dMax,
                          uint32_t nFlags)
{
  if (m_nCount == eRoom)
    LSKX2_THROW_MSG("Too many processor arguments", eErrInternal);
  StArgument& a = m_a[m_nCount++];
  a = StArgument{eKind, pValue, szName, szBindName, szText,  dDefault, dMin,
                 dMax,  3,      nFlags, nullptr,    nullptr, 0};
  return a;
}

void ClProcessorArguments::Image(ClImage** ppImage, const char* szName, const char* szBindName,
                                 const char* szText, double dCount, double dMaxCount,
                                 uint8_t nAccess, uint32_t nFlags)
{
  Add(eImage, ppImage, szName, szBindName, szText, 0, dCount, dMaxCount, nFlags).nAccess = nAccess;
}

void ClProcessorArguments::Double(double* pValue, const char* szName, const char* szBindName,
                                  const char* szText, double dDefault, double dMin, double dMax,
                                  uint32_t nFlags)
{
  Add(eDouble, pValue, szName, szBindName, szText, dDefault, dMin, dMax, nFlags);
}

void ClProcessorArguments::Int32(int32_t* pValue, const char* szName, const char* szBindName,
                                 const char* szText, double dDefault, double dMin, double dMax,
                                 uint32_t nFlags)
{
  Add(eInt32, pValue, szName, szBindName, szText, dDefault, dMin, dMax, nFlags);
}

void ClProcessorArguments::UInt8(uint8_t* pValue, const char* szName, const char* szBindName,
                                 const char* szText, double dDefault, double dMin, double dMax,
                                 uint32_t nFlags)
{
  Add(eUInt8, pValue, szName, szBindName, szText, dDefault, dMin, dMax, nFlags);
}

void ClProcessorArguments::Choice(void* pValue, const char* szName, const char* szBindName,
                                  const char* szText, int32_t nDefault, const char* pChoices,
                                  const int32_t* pnValues, uint32_t nFlags, double dListDefault)
{
  StArgument& a = Add(eChoice, pValue, szName, szBindName, szText, nDefault, 0, 0, nFlags);
  a.pChoices = pChoices;
  a.pnValues = pnValues;
  a.dListDefault = dListDefault;
}

void ClProcessorArguments::Bool(bool* pValue, const char* szName, const char* szBindName,
                                const char* szText, bool bDefault, const char* pChoices,
                                const int32_t* pnValues, uint8_t nAccess)
{
  StArgument& a = Add(eBool, pValue, szName, szBindName, szText, bDefault, 0, 0, 0);
  a.pChoices = pChoices;
  a.pnValues = pnValues;
  a.nAccess = nAccess;
}

void ClProcessorArguments::OutImageType(EDataType* pType, const char* szName, const char* szText,
                                        EDataType eDefault)
{
  StArgument& a = Add(eOutImageType, pType, szName, "OutImageType", szText, eDefault, 0, 0, 0);
  a.pChoices = ClOutImageType::s_szChoices;
  a.pnValues = ClOutImageType::s_anValues;
}

void ClProcessorArguments::Declare(ClParameterInterface& itf) const
{
  using I = ClParameterInterface;
  for (size_t i = 0; i < m_nCount; ++i) {
    const StArgument& a = m_a[i];
    if (!a.szName)
      continue;
    const uint32_t nDirection = (a.nFlags & eOut) ? I::eOut : I::eIn;
    switch (a.eKind) {
    case eImage:
      itf.AddImage(a.pValue, a.szName, a.szText, nDirection, a.dMin, a.dMax);
      break;
    case eDouble:
      itf.AddDouble(static_cast<double*>(a.pValue), a.szName, a.szText, nDirection, a.dMin, a.dMax);
      break;
    case eInt32:
      itf.AddInteger(static_cast<int32_t*>(a.pValue), a.szName, a.szText, nDirection, a.dMin,
                     a.dMax);
      break;
    case eUInt8: {
      I::ClParameter* p =
          itf.AddGeneric(a.pValue, a.szName, a.szText, nDirection, I::eKindUInt8, 0);
      I::SetRange(p, a.dMin, a.dMax);
      p->m_dDefault = *static_cast<uint8_t*>(a.pValue);
      break;
    }
    case eChoice:
    case eOutImageType: {
      I::ClParameter* p = itf.AddChoice(a.pValue, a.szName, a.szText, nullptr, nDirection);
      I::SetChoices(p, a.pChoices, (a.nFlags & eValueless) ? nullptr : a.pnValues);
      if (a.nFlags & eListDefault)
        p->m_dDefault = a.dListDefault;
      break;
    }
    case eBool:
      itf.AddBool(static_cast<bool*>(a.pValue), a.szName, a.szText, nDirection);
      break;
    }
  }
}

void ClProcessorArguments::SetDefaults() const
{
  for (size_t i = 0; i < m_nCount; ++i) {
    const StArgument& a = m_a[i];
    if (a.nFlags & eNoDefault)
      continue;
    switch (a.eKind) {
    case eImage:
      *static_cast<ClImage**>(a.pValue) = nullptr;
      break;
    case eDouble:
      *static_cast<double*>(a.pValue) = a.dDefault;
      break;
    case eInt32:
    case eChoice:
      *static_cast<int32_t*>(a.pValue) = static_cast<int32_t>(a.dDefault);
      break;
    case eUInt8:
      *static_cast<uint8_t*>(a.pValue) = static_cast<uint8_t>(a.dDefault);
      break;
    case eBool:
      *static_cast<bool*>(a.pValue) = a.dDefault != 0;
      break;
    case eOutImageType:
      *static_cast<EDataType*>(a.pValue) = static_cast<EDataType>(static_cast<uint8_t>(a.dDefault));
      break;
    }
  }
}

void ClProcessorArguments::Bind(ClParameterContainer& container) const
{
  for (size_t i = 0; i < m_nCount; ++i) {
    const StArgument& a = m_a[i];
    if (!a.szBindName)
      continue;
    auto Number = [&](auto* pValue) {
      auto* p = container.CreateNumeric<std::remove_pointer_t<decltype(pValue)>>(a.szBindName);
      if (a.nFlags & eBindRange) {
        p->SetMin(a.dMin);
        p->SetMax(a.dMax);
      }
      p->Bind(pValue, a.nAccess);
    };
    auto Choices = [&](auto* pValue) {
      using T = std::remove_pointer_t<decltype(pValue)>;
      auto* p = container.CreateEnum<T>(a.szBindName);
      ForEachChoice<T>(a.pChoices, a.pnValues,
                       [&](T v, const char* szText) { p->AddEntry(v, szText); });
      p->Bind(pValue, a.nAccess);
    };
    switch (a.eKind) {
    case eImage:
      container.CreatePointer<ClImage>(a.szBindName)
          ->Bind(static_cast<ClImage**>(a.pValue), a.nAccess);
      break;
    case eDouble:
      Number(static_cast<double*>(a.pValue));
      break;
    case eInt32:
      Number(static_cast<int32_t*>(a.pValue));
      break;
    case eUInt8:
      Number(static_cast<unsigned char*>(a.pValue));
      break;
    case eChoice:
      // The member is an enumeration of 32 bits, read and written as an int.
      Choices(static_cast<int*>(a.pValue));
      break;
    case eBool:
      Choices(static_cast<bool*>(a.pValue));
      break;
    case eOutImageType:
      ClOutImageType::Bind(container, *static_cast<EDataType*>(a.pValue));
      break;
    }
  }
}
