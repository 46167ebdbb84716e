#pragma once
// Generic handle classes: a table of named properties built at first use, and the life
// of the handle object behind a SafeHandle block. T is the concrete handle, TSDK the
// process-wide SDK object whose presence every path checks first.
#include "parameters/ParameterContainer.h"
#include "base/Exceptions.h"
#include "sdk/SafeHandle.h"

#include <cstdint>
#include <mutex>
#include <new>

// The operations of the property table, one per handle operation, failures in order.
namespace SDKProperties {
// Creates the table with the read-only "Version".
ClParameterContainer* NewTable();
// name null -44; not in the table -206.
ClParameter* Lookup(ClParameterContainer* pTable, const char* szName);
void GetText(ClParameter* p, char* pValue, uint64_t* pnSize, int32_t nRefusal);
void SetText(ClParameter* p, const char* szValue);
void GetLong(ClParameter* p, int32_t* pnValue);
void SetLong(ClParameter* p, int32_t nValue);
void GetDouble(ClParameter* p, double* pdValue);
void SetDouble(ClParameter* p, double dValue);
void GetBlob(ClParameter* p, uint64_t* pnSize);
void SetBlob(ClParameter* p);
void GetKind(ClParameter* p, uint32_t* pnKind);
void GetAccess(ClParameter* p, uint32_t* pnAccess);
void GetRangeLong(ClParameter* p, int32_t* pnMin, int32_t* pnMax);
void GetRangeDouble(ClParameter* p, double* pdMin, double* pdMax);
// Full dotted path of a leaf, terminator counted; null leaf: the end of the walk.
void CopyName(const ClParameter* pLeaf, char* pName, uint64_t* pnSize);
// Entry name at nIndex, terminator counted; past the end: the end of the walk.
void CopyEnumEntry(const ClParameterEnumInterface* pEnum, uint64_t nIndex, char* pText,
                   uint64_t* pnSize);
// The end of a walk: an empty text where there is room, and 0 as size.
void CopyEnd(char* pText, uint64_t* pnSize);
[[noreturn]] void ThrowWalkNotBegun();
} // namespace SDKProperties

template <class T, class TSDK>
class TSDKHandleBaseBase
{
public:
  TSDKHandleBaseBase() = default;
  TSDKHandleBaseBase(const TSDKHandleBaseBase&) = delete;
  TSDKHandleBaseBase& operator=(const TSDKHandleBaseBase&) = delete;
  virtual ~TSDKHandleBaseBase() { delete m_pParameters; }

  virtual void GetProperty(const char* szName, char* pValue, uint64_t* pnSize) = 0;
  virtual void SetProperty(const char* szName, const char* szValue) = 0;
  virtual void GetPropertyLong(const char* szName, int32_t* pnValue) = 0;
  virtual void SetPropertyLong(const char* szName, int32_t nValue) = 0;
  virtual void GetPropertyDouble(const char* szName, double* pdValue) = 0;
  virtual void SetPropertyDouble(const char* szName, double dValue) = 0;
  virtual void GetBlob(const char* szName, void* pData, uint64_t* pnSize) = 0;
  virtual void SetBlob(const char* szName, const void* pData, uint64_t nSize) = 0;
  virtual void GetFirstName(char* pName, uint64_t* pnSize) = 0;
  virtual void GetNextName(char* pName, uint64_t* pnSize) = 0;
  virtual void GetKind(const char* szName, uint32_t* pnKind) = 0;
  virtual void GetAccess(const char* szName, uint32_t* pnAccess) = 0;
  virtual void GetRangeLong(const char* szName, int32_t* pnMin, int32_t* pnMax) = 0;
  virtual void GetRangeDouble(const char* szName, double* pdMin, double* pdMax) = 0;
  virtual void BeginEnum(const char* szName, char* pText, uint64_t* pnSize) = 0;
  virtual void GetNextEnum(char* pText, uint64_t* pnSize) = 0;
  virtual void Destroy(LS_KX2_HANDLE* pRef) = 0;
  virtual void EnsureParameters() = 0;
  virtual void OnCreated() = 0;
  virtual void OnDestroying() = 0;
  virtual void RegisterParameters(ClParameterContainer* pTable) = 0;
  virtual void DropParameters() = 0;

protected:
  // Raised when a parameter refuses to write its text into the caller's buffer.
  int32_t m_nStringSizeError = eErrTemplateSize;
  ClParameterContainer* m_pParameters = nullptr;
  ClParameter* m_pEnumCursor = nullptr;
  ClParameterEnumInterface* m_pEnumValues = nullptr;
  uint64_t m_nEnumIndex = 0;
};

template <class T, class TSDK, class TBase = TSDKHandleBaseBase<T, TSDK>>
class TSDKHandleBase : public TBase
{
public:
  // --- the handle's life behind its block ---

  static void CreateHandle(LS_KX2_HANDLE* pRef)
  {
    if (TSDK::RefCount() <= 0)
      LSKX2_THROW_MSG("Initialization required prior to handle creation", eErrNotInitialized);
    if (!pRef)
      LSKX2_THROW_MSG("handle reference is NULL pointer", eErrBadPointer);
    *pRef = nullptr;
    TSDK::CheckInUse();
    // Short memory leaves *pRef null, and the resolve below reports it.
    if (T* pObject = new (std::nothrow) T()) {
      if (SafeHandle* pBlock = ClSafeHandle::Allocate(pObject))
        *pRef = ClSafeHandle::Handle(pBlock);
      else
        delete pObject;
    }
    ResolveHandle(*pRef)->OnCreated();
  }

  static T* ResolveHandle(LS_KX2_HANDLE h)
  {
    TSDK::CheckInUse();
    return static_cast<T*>(ClSafeHandle::Check(h));
  }

  // The same, with the object kept alive until the lease goes: what an export works on.
  static TpHandleLease<T> LeaseHandle(LS_KX2_HANDLE h)
  {
    TSDK::CheckInUse();
    return TpHandleLease<T>(h);
  }

  static void DestroyHandle(LS_KX2_HANDLE* pRef)
  {
    TSDK::CheckInUse();
    if (!pRef)
      LSKX2_THROW_MSG("handle reference is NULL pointer", eErrInvalidParameter);
    static_cast<T*>(ClSafeHandle::Check(*pRef))->Destroy(pRef);
  }

  void Destroy(LS_KX2_HANDLE* pRef) override
  {
    TSDK::CheckInUse();
    if (!pRef)
      LSKX2_THROW(eErrInvalidParameter);
    ResolveHandle(*pRef)->OnDestroying();
    try {
      if (!*pRef)
        LSKX2_THROW(eErrNoHandle);
      T* pObject = ResolveHandle(*pRef);
      SafeHandle* pBlock = ClSafeHandle::Block(*pRef);
      // The block goes first, so no other thread resolves a dying object.
      ClSafeHandle::Free(pBlock);
      *pRef = nullptr;
      delete pObject;
    } catch (const ClException& e) {
      LSKX2_THROW(e.GetCode());
    }
  }

  // --- properties ---

  void GetProperty(const char* szName, char* pValue, uint64_t* pnSize) override
  {
    Lock lock(m_PropertyMutex);
    SDKProperties::GetText(Find(szName), pValue, pnSize, this->m_nStringSizeError);
  }
  void SetProperty(const char* szName, const char* szValue) override
  {
    Lock lock(m_PropertyMutex);
    SDKProperties::SetText(Find(szName), szValue);
  }
  void GetPropertyLong(const char* szName, int32_t* pnValue) override
  {
    Lock lock(m_PropertyMutex);
    SDKProperties::GetLong(Find(szName), pnValue);
  }
  void SetPropertyLong(const char* szName, int32_t nValue) override
  {
    Lock lock(m_PropertyMutex);
    SDKProperties::SetLong(Find(szName), nValue);
  }
  void GetPropertyDouble(const char* szName, double* pdValue) override
  {
    Lock lock(m_PropertyMutex);
    SDKProperties::GetDouble(Find(szName), pdValue);
  }
  void SetPropertyDouble(const char* szName, double dValue) override
  {
    Lock lock(m_PropertyMutex);
    SDKProperties::SetDouble(Find(szName), dValue);
  }
  void GetBlob(const char* szName, void* pData, uint64_t* pnSize) override
  {
    Lock lock(m_PropertyMutex);
    SDKProperties::GetBlob(Find(szName), pnSize);
  }
  void SetBlob(const char* szName, const void* pData, uint64_t nSize) override
  {
    Lock lock(m_PropertyMutex);
    SDKProperties::SetBlob(Find(szName));
  }
  void GetKind(const char* szName, uint32_t* pnKind) override
  {
    Lock lock(m_PropertyMutex);
    SDKProperties::GetKind(Find(szName), pnKind);
  }
  void GetAccess(const char* szName, uint32_t* pnAccess) override
  {
    Lock lock(m_PropertyMutex);
    SDKProperties::GetAccess(Find(szName), pnAccess);
  }
  void GetRangeLong(const char* szName, int32_t* pnMin, int32_t* pnMax) override
  {
    Lock lock(m_PropertyMutex);
    SDKProperties::GetRangeLong(Find(szName), pnMin, pnMax);
  }
  void GetRangeDouble(const char* szName, double* pdMin, double* pdMax) override
  {
    Lock lock(m_PropertyMutex);
    SDKProperties::GetRangeDouble(Find(szName), pdMin, pdMax);
  }

  // --- the walk over the names: a fresh table each time it begins ---

  void GetFirstName(char* pName, uint64_t* pnSize) override
  {
    Lock lock(m_PropertyMutex);
    DropParameters();
    EnsureParameters();
    ClParameter* pFirst = this->m_pParameters->GetFirstLeaf();
    SDKProperties::CopyName(pFirst, pName, pnSize);
    this->m_pEnumCursor = pFirst;
  }

  // The cursor moves only once a name was handed over, so a caller whose buffer was too
  // small asks again for the same name.
  void GetNextName(char* pName, uint64_t* pnSize) override
  {
    Lock lock(m_PropertyMutex);
    if (!this->m_pParameters)
      SDKProperties::ThrowWalkNotBegun();
    ClParameter* pNext =
        this->m_pEnumCursor ? this->m_pParameters->GetNextLeaf(this->m_pEnumCursor) : nullptr;
    SDKProperties::CopyName(pNext, pName, pnSize);
    this->m_pEnumCursor = pNext;
  }

  // --- the walk over the entries of one enumeration ---

  void BeginEnum(const char* szName, char* pText, uint64_t* pnSize) override
  {
    Lock lock(m_PropertyMutex);
    EnsureParameters();
    ClParameter* p = szName ? this->m_pParameters->Find(szName) : nullptr;
    if (!p)
      LSKX2_THROW(eErrUnknownParameter);
    ClParameterEnumInterface* pEnum = p->AsEnum();
    if (!pEnum || pEnum->GetCount() <= 0)
      LSKX2_THROW(eErrUnsupportedFeature);
    this->m_pEnumValues = pEnum;
    this->m_nEnumIndex = 0;
    GetNextEnum(pText, pnSize);
  }

  void GetNextEnum(char* pText, uint64_t* pnSize) override
  {
    Lock lock(m_PropertyMutex);
    if (!this->m_pEnumValues)
      SDKProperties::ThrowWalkNotBegun();
    SDKProperties::CopyEnumEntry(this->m_pEnumValues, this->m_nEnumIndex, pText, pnSize);
    if (this->m_nEnumIndex < static_cast<uint64_t>(this->m_pEnumValues->GetCount()))
      ++this->m_nEnumIndex;
  }

  // --- the table ---

  void EnsureParameters() override
  {
    Lock lock(m_PropertyMutex);
    if (this->m_pParameters)
      return;
    ClParameterContainer* pTable = SDKProperties::NewTable();
    try {
      RegisterParameters(pTable);
    } catch (...) {
      delete pTable;
      throw;
    }
    this->m_pParameters = pTable;
  }

  void DropParameters() override
  {
    Lock lock(m_PropertyMutex);
    // The walks point into the table and end with it.
    this->m_pEnumCursor = nullptr;
    this->m_pEnumValues = nullptr;
    this->m_nEnumIndex = 0;
    delete this->m_pParameters;
    this->m_pParameters = nullptr;
  }

  void OnCreated() override {}
  void OnDestroying() override {}
  void RegisterParameters(ClParameterContainer* pTable) override = 0;

protected:
  // Property calls of several threads on one handle take turns: the table is built at
  // first use and rebuilt by each walk, and the walks' cursors belong to the handle.
  using Lock = std::lock_guard<std::recursive_mutex>;
  std::recursive_mutex m_PropertyMutex;

  ClParameter* Find(const char* szName)
  {
    EnsureParameters();
    return SDKProperties::Lookup(this->m_pParameters, szName);
  }
};
