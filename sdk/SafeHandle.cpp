#include "sdk/SafeHandle.h"

#include "base/Exceptions.h"

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <new>
#include <unordered_map>

namespace {

// The table of accepted tags has this one entry.
const char szTag[8] = "LS_KX2";

// How often a close repeats its wake-up while calls are still inside the object.
constexpr std::chrono::milliseconds WakeInterval(5);

struct StEntry
{
  uint32_t nLeases = 0;
  bool bRetired = false;
};

struct ClRegistry
{
  std::mutex Mutex;
  std::condition_variable Unleased;
  std::unordered_map<const void*, StEntry> Blocks;
};

// Never destroyed: handles may still be resolved from exit hooks of other libraries.
ClRegistry& Registry()
{
  static ClRegistry* p = new ClRegistry;
  return *p;
}

// The live, unretired entry of h and its object; under the registry lock.
StEntry& Live(LS_KX2_HANDLE h, void*& pObject)
{
  if (!h)
    LSKX2_THROW(eErrNoHandle);
  auto it = Registry().Blocks.find(h);
  if (it == Registry().Blocks.end() || it->second.bRetired)
    LSKX2_THROW(eErrInvalidHandle);
  const SafeHandle* p = ClSafeHandle::Block(h);
  if (std::memcmp(p->szFrontTag, szTag, sizeof(szTag)) != 0)
    LSKX2_THROW(eErrInvalidHandle);
  if (std::memcmp(p->szBackTag, szTag, sizeof(szTag)) != 0)
    LSKX2_THROW(eErrInvalidHandle);
  if (!p->pObject)
    LSKX2_THROW(eErrInvalidHandle);
  pObject = p->pObject;
  return it->second;
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
    Registry().Blocks.emplace(p, StEntry());
  } catch (...) {
    delete p;
    return nullptr;
  }
  return p;
}

void* ClSafeHandle::Check(LS_KX2_HANDLE h)
{
  // Read under the lock, so a block closed by another thread is never read after its end.
  std::lock_guard<std::mutex> lock(Registry().Mutex);
  void* pObject = nullptr;
  Live(h, pObject);
  return pObject;
}

void* ClSafeHandle::Lease(LS_KX2_HANDLE h)
{
  std::lock_guard<std::mutex> lock(Registry().Mutex);
  void* pObject = nullptr;
  ++Live(h, pObject).nLeases;
  return pObject;
}

void ClSafeHandle::Unlease(LS_KX2_HANDLE h) noexcept
{
  std::lock_guard<std::mutex> lock(Registry().Mutex);
  auto it = Registry().Blocks.find(h);
  if (it == Registry().Blocks.end() || it->second.nLeases == 0)
    return;
  if (--it->second.nLeases == 0 && it->second.bRetired)
    Registry().Unleased.notify_all();
}

void* ClSafeHandle::Retire(LS_KX2_HANDLE h)
{
  std::lock_guard<std::mutex> lock(Registry().Mutex);
  void* pObject = nullptr;
  Live(h, pObject).bRetired = true;
  return pObject;
}

void ClSafeHandle::RetireAll(std::vector<SafeHandle*>& blocks)
{
  std::lock_guard<std::mutex> lock(Registry().Mutex);
  blocks.reserve(Registry().Blocks.size());
  for (auto& [pBlock, entry] : Registry().Blocks) {
    if (entry.bRetired)
      continue;
    entry.bRetired = true;
    blocks.push_back(static_cast<SafeHandle*>(const_cast<void*>(pBlock)));
  }
}

void ClSafeHandle::Revive(const std::vector<SafeHandle*>& blocks) noexcept
{
  std::lock_guard<std::mutex> lock(Registry().Mutex);
  for (SafeHandle* pBlock : blocks) {
    auto it = Registry().Blocks.find(pBlock);
    if (it != Registry().Blocks.end())
      it->second.bRetired = false;
  }
}

void ClSafeHandle::WaitUnleased(SafeHandle* pBlock, const std::function<void()>& wake)
{
  std::unique_lock<std::mutex> lock(Registry().Mutex);
  for (;;) {
    auto it = Registry().Blocks.find(pBlock);
    if (it == Registry().Blocks.end() || it->second.nLeases == 0)
      return;
    Registry().Unleased.wait_for(lock, WakeInterval);
    // Woken waiters may need the lock of whoever calls here, never the registry's.
    lock.unlock();
    wake();
    lock.lock();
  }
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
