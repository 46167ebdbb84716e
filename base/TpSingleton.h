#pragma once
// Class-wide, reference-counted single instance. The mutex exists from load time on.
#include "base/Exceptions.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <new>

template <class T>
class TpSingleton
{
public:
  virtual ~TpSingleton() = default;

  static T* Acquire()
  {
    std::lock_guard<std::mutex> lock(s_Mutex);
    ++s_nRefCount;
    if (s_pInstance)
      return s_pInstance;
    try {
      s_pInstance = new T();
      RegisterExitHook();
      s_pInstance.load()->OnCreated();
      s_pInstance.load()->OnFirstUse();
    } catch (const ClException& e) {
      ReleaseLocked();
      throw ClException(e);
    } catch (const std::bad_alloc&) {
      ReleaseLocked();
      throw ClExBadAlloc();
    }
    return s_pInstance;
  }

  static void Release()
  {
    std::lock_guard<std::mutex> lock(s_Mutex);
    ReleaseLocked();
  }

  // Reads the pointer without the lock, as every handle path does for its brief check.
  static T* Instance()
  {
    T* p = s_pInstance;
    if (!p)
      LSKX2_THROW_MSG("No Singleton Instance exist.", eErrNotInitialized);
    return p;
  }

  static void CheckInUse()
  {
    if (!s_pInstance)
      LSKX2_THROW(eErrNotInitialized);
  }

  static bool Exists() { return s_pInstance != nullptr; }
  // True once the process-exit hook runs: other libraries' statics may be gone by then.
  static bool Exiting() { return s_bExiting; }
  static int32_t RefCount()
  {
    std::lock_guard<std::mutex> lock(s_Mutex);
    return s_nRefCount;
  }
  static std::mutex& Mutex() { return s_Mutex; }

protected:
  static void ReleaseLocked()
  {
    if (s_nRefCount == 0)
      LSKX2_THROW_MSG("No Singleton Instance exist multiple delete.", eErrNotInitialized);
    int32_t old = s_nRefCount--;
    if (old == 1 && s_pInstance) {
      T* p = s_pInstance;
      s_pInstance = nullptr;
      p->OnLastUse();
      delete p;
    }
  }

  // At process exit the instance goes whatever the count was.
  static void ExitHook()
  {
    std::lock_guard<std::mutex> lock(s_Mutex);
    s_bExiting = true;
    if (s_pInstance) {
      T* p = s_pInstance;
      s_pInstance = nullptr;
      p->OnLastUse();
      delete p;
    }
    s_nRefCount = 0;
  }

  static void RegisterExitHook()
  {
    static bool bRegistered = false;
    if (!bRegistered)
      bRegistered = std::atexit(&TpSingleton::ExitHook) == 0;
  }

  // Atomic: the handle paths read it without the lock while the last release clears it.
  static inline std::atomic<T*> s_pInstance{nullptr};
  static inline int32_t s_nRefCount = 0;
  static inline std::mutex s_Mutex;
  static inline std::atomic<bool> s_bExiting{false};
};
