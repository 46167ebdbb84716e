#pragma once
// The block an application holds as LS_KX2_HANDLE: two tags around the object pointer.
// Every live block is kept in a process-wide registry, so a pointer that is not one of
// ours (garbage, freed, foreign) is refused before a byte of it is read.
//
// An export works on a handle only under a lease taken from the registry: a close marks
// the block retired (no new lease), wakes whoever waits inside the object, and waits for
// the leases to drop before the object goes.
#include "livescannerkx2.h"

#include <cstdint>
#include <functional>
#include <vector>

struct SafeHandle
{
  char szFrontTag[8];
  void* pObject;
  char szBackTag[8];
};

class ClSafeHandle
{
public:
  // A new block, registered, tags written, holding pObject; null when memory is short.
  static SafeHandle* Allocate(void* pObject) noexcept;
  // The object of a live block with both tags intact: null -42, anything else -43. A
  // retired block is refused as well.
  static void* Check(LS_KX2_HANDLE h);
  // The same, with the block's lease count raised until Unlease.
  static void* Lease(LS_KX2_HANDLE h);
  static void Unlease(LS_KX2_HANDLE h) noexcept;
  // Marks a live block retired and returns its object: the first close of it wins, any
  // later one is -43 as for a block already gone.
  static void* Retire(LS_KX2_HANDLE h);
  // Every live block not yet retired, retired now and listed in blocks.
  static void RetireAll(std::vector<SafeHandle*>& blocks);
  // Blocks retired by RetireAll that stay: resolvable again.
  static void Revive(const std::vector<SafeHandle*>& blocks) noexcept;
  // Until the block's leases have dropped, calls wake about every few milliseconds, so a
  // wake-up that a waiter missed is repeated.
  static void WaitUnleased(SafeHandle* pBlock, const std::function<void()>& wake);
  // Unregisters and frees a block obtained from Allocate.
  static void Free(SafeHandle* pBlock) noexcept;

  static SafeHandle* Block(LS_KX2_HANDLE h) { return reinterpret_cast<SafeHandle*>(h); }
  static LS_KX2_HANDLE Handle(SafeHandle* p) { return reinterpret_cast<LS_KX2_HANDLE>(p); }
};

// Holds a lease on a handle's object for the length of one export's call.
template <class T>
class TpHandleLease
{
public:
  explicit TpHandleLease(LS_KX2_HANDLE h)
    : m_h(h), m_pObject(static_cast<T*>(ClSafeHandle::Lease(h)))
  {}
  TpHandleLease(const TpHandleLease&) = delete;
  TpHandleLease& operator=(const TpHandleLease&) = delete;
  ~TpHandleLease() { ClSafeHandle::Unlease(m_h); }
  T* operator->() const { return m_pObject; }
  T& operator*() const { return *m_pObject; }

private:
  LS_KX2_HANDLE m_h;
  T* m_pObject;
};
