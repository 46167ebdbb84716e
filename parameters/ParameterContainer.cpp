#include "parameters/ParameterContainer.h"

#include <cstring>

namespace {

constexpr uint32_t kPathPartMax = 255;

// Copies one path component into szPart and returns where the component reading
// stopped. Exactly 255 characters is refused; longer ones are cut to 255 silently and
// the rest of the path is then ignored, as the descent only follows a '.'.
const char* ReadPathPart(const char* p, char (&szPart)[kPathPartMax + 1])
{
  size_t n = 0;
  while (p[n] && p[n] != '.' && n <= kPathPartMax)
    ++n;
  if (n == kPathPartMax)
    LSKX2_THROW_UNPLACED("Parameter path part was to long max len is 255", eErrInternal);
  if (n > kPathPartMax)
    n = kPathPartMax;
  std::memcpy(szPart, p, n);
  szPart[n] = 0;
  return p + n;
}

} // namespace

ClParameterContainer::ClParameterContainer()
{
  m_pType = ParameterTypeOf<ClParameterContainer>();
  m_nFlags = eParamContainer;
}

ClParameterContainer::ClParameterContainer(const char* szName) : ClParameterContainer()
{
  SetName(szName);
}

ClParameterContainer::~ClParameterContainer() { DestroyChildren(); }

void ClParameterContainer::DestroyChildren()
{
  for (uint32_t i = m_Children.Size(); i > 0; --i)
    delete m_Children[i - 1];
  m_Children.Clear();
}

ClParameter* ClParameterContainer::Add(ClParameter* pParameter)
{
  if (!pParameter)
    LSKX2_THROW_MSG("pParameter is not set", eErrBadPointer);
  if (FindChild(pParameter->GetName()))
    LSKX2_THROW(eErrParamValueDuplicate);
  m_Children.Add(pParameter);
  pParameter->SetParent(this);
  return pParameter;
}

ClParameter* ClParameterContainer::FindChild(const char* szName) const
{
  for (uint32_t i = 0; i < m_Children.Size(); ++i) {
    if (m_Children[i] && NamesEqual(m_Children[i]->GetName(), szName))
      return m_Children[i];
  }
  return nullptr;
}

ClParameter* ClParameterContainer::GetRoot()
{
  ClParameterBase* p = this;
  while (p->GetParent())
    p = p->GetParent();
  return p->AsParameter();
}

// Walks without recursion: a path of many dots must not run the stack dry.
ClParameter* ClParameterContainer::Find(const char* szPath)
{
  if (!szPath)
    return nullptr;
  ClParameterContainer* pNode = this;
  const char* p = szPath;
  for (;;) {
    if (p[0] == '.') {
      ClParameter* pRoot = pNode->GetRoot();
      if (p[1] == 0)
        return pRoot;
      pNode = pRoot->AsContainer();
      ++p;
      continue;
    }
    char szPart[kPathPartMax + 1];
    p = ReadPathPart(p, szPart);
    if (!pNode->GetParent() && pNode->GetName() && std::strcmp(szPart, pNode->GetName()) == 0) {
      // The root's own name may head a full path; alone it names no child.
      if (*p == '.')
        ++p;
      p = ReadPathPart(p, szPart);
    }
    ClParameter* pChild = pNode->FindChild(szPart);
    if (*p != '.' || !pChild || !pChild->IsContainer())
      return pChild;
    pNode = pChild->AsContainer();
    ++p;
  }
}

ClParameter* ClParameterContainer::FirstLeafFrom(const ClParameterContainer* pNode, uint32_t nStart)
{
  for (uint32_t i = nStart; i < pNode->m_Children.Size(); ++i) {
    ClParameter* pChild = pNode->m_Children[i];
    if (!pChild)
      throw ClExBadAlloc();
    if (!pChild->IsContainer())
      return pChild;
    if (ClParameter* pLeaf = FirstLeafFrom(pChild->AsContainer(), 0))
      return pLeaf;
  }
  return nullptr;
}

ClParameter* ClParameterContainer::GetFirstLeaf() const { return FirstLeafFrom(this, 0); }

ClParameter* ClParameterContainer::GetNextLeaf(ClParameter* pCurrent) const
{
  if (!pCurrent)
    return GetFirstLeaf();
  for (;;) {
    const ClParameterContainer* pNode = pCurrent->GetParent();
    if (!pNode)
      LSKX2_THROW_MSG("pParent is not set", eErrBadPointer);
    uint32_t nIndex = 0;
    while (nIndex < pNode->m_Children.Size() && pNode->m_Children[nIndex] != pCurrent)
      ++nIndex;
    if (nIndex < pNode->m_Children.Size()) {
      if (ClParameter* pLeaf = FirstLeafFrom(pNode, nIndex + 1))
        return pLeaf;
    }
    if (!pNode->GetParent())
      return nullptr;
    pCurrent = const_cast<ClParameterContainer*>(pNode);
  }
}

ClParameter* ClParameterContainer::Clone() const
{
  return CloneWith<ClParameterContainer>([this](ClParameterContainer* p) {
    p->SetName(m_pName);
    CopyTo(p);
  });
}

void ClParameterContainer::CopyTo(ClParameterBase* pTarget) const
{
  ClParameterContainer* pCast = pTarget ? pTarget->AsContainer() : nullptr;
  if (!pCast)
    LSKX2_THROW_MSG("pCast is not set", eErrBadPointer);
  if (pCast == this)
    return;
  pCast->SetName(m_pName);
  pCast->DestroyChildren();
  for (uint32_t i = 0; i < m_Children.Size(); ++i) {
    ClParameter* pClone = m_Children[i]->Clone();
    try {
      pCast->Add(pClone);
    } catch (...) {
      delete pClone;
      throw;
    }
  }
}

const ClParameterContainer* ClParameterContainer::Pair(const ClParameterBase* pOther)
{
  const ClParameterContainer* pCast =
      pOther ? const_cast<ClParameterBase*>(pOther)->AsContainer() : nullptr;
  if (!pCast)
    LSKX2_THROW_MSG("pCast is not set", eErrBadPointer);
  return pCast;
}

// The pairings below stop at the shorter of the two child lists rather than read past it.
void ClParameterContainer::CopyDefaultFrom(const ClParameterBase* pOther)
{
  const ClParameterContainer* pCast = Pair(pOther);
  for (uint32_t i = 0; i < m_Children.Size() && i < pCast->m_Children.Size(); ++i)
    m_Children[i]->CopyDefaultFrom(pCast->m_Children[i]);
}

void ClParameterContainer::DefaultFromValueOf(const ClParameterBase* pOther)
{
  const ClParameterContainer* pCast = Pair(pOther);
  for (uint32_t i = 0; i < m_Children.Size() && i < pCast->m_Children.Size(); ++i)
    m_Children[i]->DefaultFromValueOf(pCast->m_Children[i]);
}

void ClParameterContainer::CopyValueFrom(const ClParameterBase* pOther, bool bForce)
{
  const ClParameterContainer* pCast = Pair(pOther);
  for (uint32_t i = 0; i < m_Children.Size() && i < pCast->m_Children.Size(); ++i)
    m_Children[i]->CopyValueFrom(pCast->m_Children[i], bForce);
}

void ClParameterContainer::ResetToDefault()
{
  for (uint32_t i = 0; i < m_Children.Size(); ++i)
    m_Children[i]->ResetToDefault();
}

void ClParameterContainer::ValueFromDefaultOf(const ClParameterBase* pOther)
{
  const ClParameterContainer* pCast = Pair(pOther);
  for (uint32_t i = 0; i < m_Children.Size() && i < pCast->m_Children.Size(); ++i)
    m_Children[i]->ValueFromDefaultOf(pCast->m_Children[i]);
}

void ClParameterContainer::SwapValueAndDefault()
{
  for (uint32_t i = 0; i < m_Children.Size(); ++i)
    m_Children[i]->SwapValueAndDefault();
}

bool ClParameterContainer::IsDefault() const
{
  for (uint32_t i = 0; i < m_Children.Size(); ++i) {
    if (!m_Children[i]->IsDefault())
      return false;
  }
  return true;
}

bool ClParameterContainer::GetString(char* pBuffer, uint64_t& nSize) const
{
  if (pBuffer && nSize >= 2)
    pBuffer[0] = 0;
  nSize = 1;
  return true;
}
