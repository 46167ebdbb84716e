#pragma once
// The block an application holds as LS_KX2_HANDLE: two tags around the object pointer.
// Every live block is kept in a process-wide registry, so a pointer that is not one of
// ours (garbage, freed, foreign) is refused before a byte of it is read.
#include "livescannerkx2.h"

#include <cstdint>

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
  // The object of a live block with both tags intact: null -42, anything else -43.
  static void* Check(LS_KX2_HANDLE h);
  // Unregisters and frees a block obtained from Allocate.
  static void Free(SafeHandle* pBlock) noexcept;

  static SafeHandle* Block(LS_KX2_HANDLE h) { return reinterpret_cast<SafeHandle*>(h); }
  static LS_KX2_HANDLE Handle(SafeHandle* p) { return reinterpret_cast<LS_KX2_HANDLE>(p); }
};
