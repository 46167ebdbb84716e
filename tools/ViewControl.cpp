#include "tools/ViewControl.h"

#include <chrono>

bool ClViewControl::Request(EViewAction eAction, int nViewer)
{
  std::lock_guard<std::mutex> lock(m_Mutex);
  if (m_bBusy || eAction == EViewAction::eNone)
    return false;
  m_bBusy = true;
  m_eWaiting = eAction;
  m_nDriver = nViewer;
  m_Changed.notify_all();
  return true;
}

void ClViewControl::Viewer(bool bOpen)
{
  std::lock_guard<std::mutex> lock(m_Mutex);
  m_nViewers += bOpen ? 1 : -1;
  m_Changed.notify_all();
}

bool ClViewControl::WaitForViewers(double dSeconds)
{
  std::unique_lock<std::mutex> lock(m_Mutex);
  return m_Changed.wait_for(lock, std::chrono::duration<double>(dSeconds),
                            [&] { return m_nViewers > 0; });
}

EViewAction ClViewControl::Take(int* pnDriver)
{
  std::lock_guard<std::mutex> lock(m_Mutex);
  EViewAction e = m_eWaiting;
  m_eWaiting = EViewAction::eNone;
  *pnDriver = m_nDriver;
  return e;
}

void ClViewControl::Finish()
{
  std::lock_guard<std::mutex> lock(m_Mutex);
  m_bBusy = false;
  m_nDriver = 0;
}

bool ClViewControl::Interrupting() const
{
  std::lock_guard<std::mutex> lock(m_Mutex);
  return m_eWaiting != EViewAction::eNone || m_nViewers <= 0;
}
