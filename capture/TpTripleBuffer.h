#pragma once
// Hands the newest item from one producer thread to one consumer thread. The producer
// always has a free buffer to write and the consumer always gets the newest finished one;
// what nobody read is overwritten. The mutex guards the indices only, never the work on a
// buffer, and the three objects belong to the caller.
#include "base/Exceptions.h"

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/noncopyable.hpp>
#include <boost/thread/condition_variable.hpp>
#include <boost/thread/locks.hpp>
#include <boost/thread/mutex.hpp>
#include <cstdint>

template <class T>
class ClTpTripleBuffer : private boost::noncopyable
{
public:
  ClTpTripleBuffer() = default;
  ClTpTripleBuffer(T* pA, T* pB, T* pC) { SetBuffers(pA, pB, pC); }

  void SetBuffers(T* pA, T* pB, T* pC)
  {
    boost::lock_guard<boost::mutex> lock(m_Mutex);
    if (m_bReadLocked || m_bWriteLocked)
      LSKX2_THROW_MSG("cannot change buffer while it is locked", eErrInvalidState);
    m_apBuffers[0] = pA;
    m_apBuffers[1] = pB;
    m_apBuffers[2] = pC;
    m_bNewData = false;
  }

  // The buffer with the newest finished item; it stays the consumer's until UnlockRead.
  T* LockRead()
  {
    boost::lock_guard<boost::mutex> lock(m_Mutex);
    if (m_bReadLocked)
      LSKX2_THROW_MSG("read buffer already locked", eErrInvalidState);
    m_bReadLocked = true;
    m_nReadPrev = m_nRead;
    m_nRead = m_nLatest;
    m_bNewData = false;
    return m_apBuffers[m_nLatest];
  }

  // Without a write during the read the former read index comes back, so the same
  // latest item can be read again.
  void UnlockRead()
  {
    boost::lock_guard<boost::mutex> lock(m_Mutex);
    // Before any LockRead the fallback index names no buffer yet.
    if (!m_bReadLocked)
      return;
    m_nRead = m_nReadPrev;
    m_bReadLocked = false;
  }

  T* LockWrite()
  {
    boost::lock_guard<boost::mutex> lock(m_Mutex);
    if (m_bWriteLocked)
      LSKX2_THROW_MSG("write buffer already locked", eErrInvalidState);
    m_bWriteLocked = true;
    return m_apBuffers[m_nWrite];
  }

  // Publishes the written buffer as the latest and picks the next one to write: while the
  // consumer reads, the buffer it left; otherwise the former latest.
  void UnlockWrite()
  {
    boost::lock_guard<boost::mutex> lock(m_Mutex);
    const uint32_t nLatest = m_nLatest;
    m_nLatest = m_nWrite;
    if (m_bReadLocked && m_nReadPrev != m_nRead) {
      m_nWrite = m_nReadPrev;
      m_nReadPrev = m_nRead;
    } else {
      m_nWrite = nLatest;
    }
    m_bWriteLocked = false;
    m_bNewData = true;
    m_NewFrame.notify_all();
  }

  // Gives the write buffer back unpublished, after a failed write: the latest item stays.
  void CancelWrite()
  {
    boost::lock_guard<boost::mutex> lock(m_Mutex);
    m_bWriteLocked = false;
  }

  // True at once with data pending; else waits up to nSeconds for a finished write or a
  // Wake and returns false on timeout. The wait uses a mutex of its own, so a
  // notification between the test and the wait is lost and the wait runs to its timeout:
  // callers test HasNewData afterwards and wait again. An interruption point of the
  // thread library.
  bool Wait(int32_t nSeconds) { return WaitMs(nSeconds * 1000); }

  // The same limit in milliseconds, for the capture engine's shortened waits.
  bool WaitMs(int32_t nMilliseconds)
  {
    {
      boost::lock_guard<boost::mutex> lock(m_Mutex);
      if (m_bNewData)
        return true;
    }
    boost::mutex waitMutex;
    boost::unique_lock<boost::mutex> waitLock(waitMutex);
    return m_NewFrame.timed_wait(waitLock, boost::posix_time::milliseconds(nMilliseconds));
  }

  bool HasNewData() const
  {
    boost::lock_guard<boost::mutex> lock(m_Mutex);
    return m_bNewData;
  }

  // Releases every waiter at shutdown; a released waiter sees no new data.
  void Wake()
  {
    boost::lock_guard<boost::mutex> lock(m_Mutex);
    m_NewFrame.notify_all();
    m_bNewData = false;
  }

private:
  mutable boost::mutex m_Mutex;
  boost::condition_variable m_NewFrame;
  bool m_bReadLocked = false;
  bool m_bWriteLocked = false;
  bool m_bNewData = false;
  uint32_t m_nRead = 2;
  uint32_t m_nReadPrev = UINT32_MAX;
  uint32_t m_nWrite = 0;
  uint32_t m_nLatest = 1;
  T* m_apBuffers[3] = {nullptr, nullptr, nullptr};
};

// Holds the read side of a triple buffer for a scope; a failure on the way gives it back.
template <class T>
class ClTpTripleRead : private boost::noncopyable
{
public:
  explicit ClTpTripleRead(ClTpTripleBuffer<T>& buffer)
    : m_pItem(buffer.LockRead()), m_pBuffer(&buffer)
  {}
  ~ClTpTripleRead() { Release(); }
  T& operator*() const { return *m_pItem; }
  T* operator->() const { return m_pItem; }
  void Release()
  {
    if (m_pBuffer)
      m_pBuffer->UnlockRead();
    m_pBuffer = nullptr;
  }

private:
  T* m_pItem;
  ClTpTripleBuffer<T>* m_pBuffer;
};

// Holds the write side for a scope. Publish hands the item on; leaving the scope without
// it (a failure on the way) gives the buffer back unpublished.
template <class T>
class ClTpTripleWrite : private boost::noncopyable
{
public:
  explicit ClTpTripleWrite(ClTpTripleBuffer<T>& buffer)
    : m_pItem(buffer.LockWrite()), m_pBuffer(&buffer)
  {}
  ~ClTpTripleWrite()
  {
    if (m_pBuffer)
      m_pBuffer->CancelWrite();
  }
  T& operator*() const { return *m_pItem; }
  T* operator->() const { return m_pItem; }
  void Publish()
  {
    if (m_pBuffer)
      m_pBuffer->UnlockWrite();
    m_pBuffer = nullptr;
  }

private:
  T* m_pItem;
  ClTpTripleBuffer<T>* m_pBuffer;
};
