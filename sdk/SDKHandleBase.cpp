#include "sdk/SDKHandleBase.h"

#include "base/SDKHelper.h"
#include "livescannerkx2.h"

#include <cstring>
#include <string>

namespace {

// The value of "Version", stored whole; read-only, so the buffer is never written.
char szHandleVersion[] = LS_KX2_VERSION_STRING;
char* pHandleVersion = szHandleVersion;

void RequireWritable(ClParameter* p)
{
  if (!(p->GetFlags() & eParamWrite))
    LSKX2_THROW(eErrParamIsReadonly);
}

// Outputs nobody lists a failure for are still never written through null.
template <class T>
void Store(T* pOut, T value)
{
  if (!pOut)
    LSKX2_THROW(eErrBadPointer);
  *pOut = value;
}

// Both range queries: numeric with a range (-103), of the asked kind (-44), at least one
// output (-23).
template <class T>
void CopyRange(ClParameter* p, bool (ClParameterNumericInterface::*pfnIsKind)() const, T* pMin,
               T* pMax)
{
  ClParameterNumericInterface* pNum = p->AsNumeric();
  if (!pNum || !pNum->HasRange())
    LSKX2_THROW(eErrUnsupportedFeature);
  if (!(pNum->*pfnIsKind)())
    LSKX2_THROW(eErrInvalidParameter);
  if (!pMin && !pMax)
    LSKX2_THROW(eErrTemplatePtrNull);
  if (pMin)
    *pMin = static_cast<T>(pNum->GetMin());
  if (pMax)
    *pMax = static_cast<T>(pNum->GetMax());
}

} // namespace

namespace SDKProperties {

ClParameterContainer* NewTable()
{
  auto* pTable = new (std::nothrow) ClParameterContainer();
  if (!pTable)
    throw ClExBadAlloc();
  try {
    auto* pVersion = pTable->CreateString(LS_KX2_PROPERTY_VERSION);
    pVersion->Bind(&pHandleVersion, eParamRead);
    pVersion->SetSize(sizeof(szHandleVersion));
  } catch (...) {
    delete pTable;
    throw;
  }
  return pTable;
}

ClParameter* Lookup(ClParameterContainer* pTable, const char* szName)
{
  if (!szName)
    LSKX2_THROW(eErrInvalidParameter);
  ClParameter* p = pTable->Find(szName);
  if (!p)
    LSKX2_THROW(eErrUnknownParameter);
  return p;
}

void GetText(ClParameter* p, char* pValue, uint64_t* pnSize, int32_t nRefusal)
{
  if (!pnSize)
    LSKX2_THROW(eErrTemplateSizePtr);
  if (pValue && *pnSize >= 2)
    pValue[0] = 0;
  if (!p->GetString(pValue, *pnSize))
    LSKX2_THROW(nRefusal);
}

void SetText(ClParameter* p, const char* szValue)
{
  RequireWritable(p);
  p->SetFromString(szValue);
}

void GetLong(ClParameter* p, int32_t* pnValue)
{
  if (ClParameterNumericInterface* pNum = p->AsNumeric()) {
    if (!pNum->IsInteger())
      LSKX2_THROW(eErrInvalidParameter);
    Store(pnValue, pNum->GetInteger());
  } else if (ClParameterEnumInterface* pEnum = p->AsEnum()) {
    Store(pnValue, pEnum->GetInteger());
  } else {
    LSKX2_THROW(eErrInvalidParameter);
  }
}

void SetLong(ClParameter* p, int32_t nValue)
{
  ClParameterNumericInterface* pNum = p->AsNumeric();
  ClParameterEnumInterface* pEnum = pNum ? nullptr : p->AsEnum();
  if ((pNum && !pNum->IsInteger()) || (!pNum && !pEnum))
    LSKX2_THROW(eErrInvalidParameter);
  RequireWritable(p);
  if (pNum)
    pNum->SetInteger(nValue);
  else
    pEnum->SetInteger(nValue);
}

void GetDouble(ClParameter* p, double* pdValue)
{
  ClParameterNumericInterface* pNum = p->AsNumeric();
  if (!pNum || !pNum->IsFloat())
    LSKX2_THROW(eErrInvalidParameter);
  Store(pdValue, pNum->GetDouble());
}

void SetDouble(ClParameter* p, double dValue)
{
  ClParameterNumericInterface* pNum = p->AsNumeric();
  if (!pNum || !pNum->IsFloat())
    LSKX2_THROW(eErrInvalidParameter);
  RequireWritable(p);
  pNum->SetDouble(dValue);
}

// No parameter has a byte view, so only the failures can be reached.
void GetBlob(ClParameter* p, uint64_t* pnSize)
{
  if (!pnSize)
    LSKX2_THROW(eErrTemplateSizePtr);
  if (!p->AsBlob())
    LSKX2_THROW(eErrInvalidParameter);
}

void SetBlob(ClParameter* p)
{
  if (!p->AsBlob())
    LSKX2_THROW(eErrInvalidParameter);
}

void GetKind(ClParameter* p, uint32_t* pnKind)
{
  if (!pnKind)
    LSKX2_THROW(eErrTemplatePtrNull);
  ClParameterNumericInterface* pNum = p->AsNumeric();
  *pnKind = !pNum ? 2 : pNum->IsInteger() ? 0 : 1;
}

void GetAccess(ClParameter* p, uint32_t* pnAccess)
{
  if (!pnAccess)
    LSKX2_THROW(eErrTemplatePtrNull);
  *pnAccess = p->GetFlags() & (eParamWrite | eParamRead);
}

void GetRangeLong(ClParameter* p, int32_t* pnMin, int32_t* pnMax)
{
  CopyRange(p, &ClParameterNumericInterface::IsInteger, pnMin, pnMax);
}

void GetRangeDouble(ClParameter* p, double* pdMin, double* pdMax)
{
  CopyRange(p, &ClParameterNumericInterface::IsFloat, pdMin, pdMax);
}

void CopyName(const ClParameter* pLeaf, char* pName, uint64_t* pnSize)
{
  if (!pLeaf) {
    CopyEnd(pName, pnSize);
    return;
  }
  uint64_t n = 0;
  ClParameter::GetFullPath(pLeaf, nullptr, n);
  std::string sPath(n, '\0');
  ClParameter::GetFullPath(pLeaf, sPath.data(), n);
  SDKHelper::CopyOut(pName, pnSize, sPath.c_str(), n);
}

void CopyEnumEntry(const ClParameterEnumInterface* pEnum, uint64_t nIndex, char* pText,
                   uint64_t* pnSize)
{
  if (nIndex >= static_cast<uint64_t>(pEnum->GetCount())) {
    CopyEnd(pText, pnSize);
    return;
  }
  uint64_t n = pEnum->GetEntryName(nIndex, nullptr, 0) + 1;
  std::string sName(n, '\0');
  pEnum->GetEntryName(nIndex, sName.data(), n);
  SDKHelper::CopyOut(pText, pnSize, sName.c_str(), n);
}

void CopyEnd(char* pText, uint64_t* pnSize)
{
  if (!pnSize)
    LSKX2_THROW(eErrTemplateSizePtr);
  if (pText && *pnSize > 0)
    pText[0] = 0;
  *pnSize = 0;
}

void ThrowWalkNotBegun()
{
  LSKX2_THROW_MSG("The Enumeration is not initialized.", eErrInvalidState);
}

} // namespace SDKProperties
