#pragma once
// A parameter that owns parameters: the tree whose leaves are addressed by dotted paths
// ("Roll.nThreshold", ".Version" from the root). Names compare ignoring ASCII case,
// except a named root's own name at the head of a path, which must match exactly and
// may be left out. Value operations pair the children of two trees by position, so both
// trees must come from the same building code.
#include "model/TpArray.h"
#include "parameters/Parameter.h"
#include "parameters/TpParameterEnumPointer.h"
#include "parameters/TpParameterNumeric.h"
#include "parameters/TpParameterString.h"

#include <new>

class ClParameterContainer : public ClParameter
{
public:
  ClParameterContainer();
  explicit ClParameterContainer(const char* szName);
  ~ClParameterContainer() override;

  // Takes ownership. A direct child of that name (ASCII case ignored) raises -46 and
  // leaves the tree and the parameter's ownership with the caller.
  ClParameter* Add(ClParameter* pParameter);
  ClParameter* FindChild(const char* szName) const;
  // Null when nothing is named; a leaf in the middle ends the descent and is returned.
  ClParameter* Find(const char* szPath);
  ClParameter* GetRoot();
  ClParameter* GetFirstLeaf() const;
  ClParameter* GetNextLeaf(ClParameter* pCurrent) const;

  uint32_t GetChildCount() const { return m_Children.Size(); }
  ClParameter* GetChild(uint32_t nIndex) const
  {
    return nIndex < m_Children.Size() ? m_Children[nIndex] : nullptr;
  }

  // Typed factories: create, name, add, and hand back the object for binding.
  template <class P>
  P* Create(const char* szName)
  {
    P* p = new (std::nothrow) P();
    if (!p)
      throw ClExBadAlloc();
    try {
      p->SetName(szName);
      Add(p);
    } catch (...) {
      delete p;
      throw;
    }
    return p;
  }
  template <class T, class O = ClParameter>
  TpParameterNumeric<T, O>* CreateNumeric(const char* szName)
  {
    return Create<TpParameterNumeric<T, O>>(szName);
  }
  template <class T, class O = ClParameter>
  TpParameterEnumPointer<T, O>* CreateEnum(const char* szName)
  {
    return Create<TpParameterEnumPointer<T, O>>(szName);
  }
  // A pointer port (image inputs and outputs of processors): bPointer set, no names.
  template <class T>
  TpParameterEnumPointer<T*, ClParameter>* CreatePointer(const char* szName)
  {
    auto* p = Create<TpParameterEnumPointer<T*, ClParameter>>(szName);
    p->SetPointer(true);
    return p;
  }
  TpParameterString<char*, ClParameter, 0>* CreateString(const char* szName)
  {
    return Create<TpParameterString<char*, ClParameter, 0>>(szName);
  }
  ClParameterContainer* CreateContainer(const char* szName)
  {
    return Create<ClParameterContainer>(szName);
  }

  // --- overrides of the parameter operations ---
  ClParameter* Clone() const override;
  void CopyTo(ClParameterBase* pTarget) const override;
  void CopyDefaultFrom(const ClParameterBase* pOther) override;
  void DefaultFromValueOf(const ClParameterBase* pOther) override;
  void CopyValueFrom(const ClParameterBase* pOther, bool bForce) override;
  void ResetToDefault() override;
  void ValueFromDefaultOf(const ClParameterBase* pOther) override;
  ClParameterContainer* AsContainer() override { return this; }
  ClParameter* AsParameter() override { return this; }
  void SwapValueAndDefault() override;
  bool IsDefault() const override;
  bool IsContainer() const override { return true; }
  void SetFromString(const char*) override {}
  bool GetString(char* pBuffer, uint64_t& nSize) const override;
  bool GetDefaultString(char*, uint64_t&) const override { return false; }
  void* GetValuePointer() const override { return const_cast<ClParameterContainer*>(this); }

private:
  void DestroyChildren();
  // The other side of a pairing by position; -701 when it is not a container.
  static const ClParameterContainer* Pair(const ClParameterBase* pOther);
  static ClParameter* FirstLeafFrom(const ClParameterContainer* pNode, uint32_t nStart);

  TpArrayDynamic<ClParameter*, 10> m_Children;
};
