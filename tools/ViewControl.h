#pragma once
// Who watches and who drives: the viewers' requests from the server's thread meet the
// capture thread here. One capture runs at a time, for the viewer who asked for it.

#include <condition_variable>
#include <mutex>

enum class EViewAction { eNone, ePlain, eRoll };

class ClViewControl
{
public:
  // Server thread. False while another capture runs or is waiting.
  bool Request(EViewAction eAction, int nViewer);
  void Viewer(bool bOpen);

  // Capture thread. Waits at most dSeconds for a viewer; true when one watches.
  bool WaitForViewers(double dSeconds);
  // The waiting capture, if any, and who asked for it; it runs until Finish.
  EViewAction Take(int* pnDriver);
  void Finish();
  // Whether the preview should give way: a capture waits or nobody watches.
  bool Interrupting() const;

private:
  mutable std::mutex m_Mutex;
  std::condition_variable m_Changed;
  int m_nViewers = 0;
  EViewAction m_eWaiting = EViewAction::eNone;
  int m_nDriver = 0;
  bool m_bBusy = false;
};
