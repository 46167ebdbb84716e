#include "sdk/SafeHandle.h"

#include "sdk/base/Exceptions.h"

#include <cstring>
#include <mutex>
#include <new>
#include <unordered_set>

namespace {

// The table of accepted tags has this one entry.
const char szTag[8] = "LS_KX2";

struct ClRegistry
{
  std::mutex Mutex;
  std::unordered_set<const void*> Blocks;
};

// Never destroyed: handles may still be resolved from exit hooks of other libraries.
ClRegistry& Registry()
{
  static ClRegistry* p = new ClRegistry;
  return *p;
}

} // namespace

SafeHandle* ClSafeHandle::Allocate(void* pObject) noexcept
{
  SafeHandle* p = new (std::nothrow) SafeHandle;
  if (!p)
    return nullptr;
  std::memcpy(p->szFrontTag, szTag, sizeof(szTag));
  p->pObject = pObject;
  std::memcpy(p->szBackTag, szTag, sizeof(szTag));
  try {
    std::lock_guard<std::mutex> lock(Registry().Mutex);
    Registry().Blocks.insert(p);
  } catch (...) {
    delete p;
    return nullptr;
  }
  return p;
}

void* ClSafeHandle::Check(LS_KX2_HANDLE h)
{
  if (!h)
    LSKX2_THROW(-42);
  // Read under the lock, so a block closed by another thread is never read after its end.
  std::lock_guard<std::mutex> lock(Registry().Mutex);
  if (!Registry().Blocks.count(h))
    LSKX2_THROW(-43);
  const SafeHandle* p = Block(h);
  if (std::memcmp(p->szFrontTag, szTag, sizeof(szTag)) != 0)
    LSKX2_THROW(-43);
  if (std::memcmp(p->szBackTag, szTag, sizeof(szTag)) != 0)
    LSKX2_THROW(-43);
  if (!p->pObject)
    LSKX2_THROW(-43);
  return p->pObject;
}

void ClSafeHandle::Free(SafeHandle* pBlock) noexcept
{
  if (!pBlock)
    return;
  {
    std::lock_guard<std::mutex> lock(Registry().Mutex);
    Registry().Blocks.erase(pBlock);
  }
  delete pBlock;
}
