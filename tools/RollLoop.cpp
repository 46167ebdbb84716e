#include "tools/RollLoop.h"

#include "tools/ProgressLine.h"

#include <algorithm>
#include <array>

namespace {

// Frames after a new start before the roll image shows the platen as it is now.
constexpr int nStartFrames = 2;
// A finger counts as settled once its contact has grown by no more than nSettledJitter
// over the last nSettledFrames frames; the roll processor itself settles within three.
constexpr int nSettledJitter = 8;
// A finished roll that grew less than this beyond the settled contact was never rolled.
constexpr int nMinGrowth = 40;

} // namespace

const char* RollPromptText(ERollPrompt ePrompt)
{
  switch (ePrompt) {
  case ERollPrompt::eLiftFinger:
    return "lift the finger";
  case ERollPrompt::ePlaceFinger:
    return "place the finger and hold it still";
  default:
    return "roll now";
  }
}

ClRollLoop::ClRollLoop(LS_KX2_HANDLE hScanner, const std::atomic<bool>& bStop, FnNow pfnNow)
  : m_hScanner(hScanner), m_bStop(bStop), m_pfnNow(std::move(pfnNow))
{}

int32_t ClRollLoop::Start()
{
  uint64_t w = 0, h = 0;
  uint32_t mode = 0;
  if (int32_t rc = LS_KX2GetRollImageSize(m_hScanner, &w, &h))
    return rc;
  m_nWidth = static_cast<uint32_t>(w);
  m_nHeight = static_cast<uint32_t>(h);
  // Rows the SDK copies are padded to 4 bytes.
  m_aImage.assign(static_cast<size_t>((w + 3) / 4 * 4 * h), 255);
  // Some modes cannot be read back: anything but a readable roll mode is set anew.
  if (LS_KX2GetCaptureMode(m_hScanner, &mode) != 0 || mode != LS_KX2_MODE_ROLL)
    if (int32_t rc = LS_KX2SetCaptureMode(m_hScanner, LS_KX2_MODE_ROLL))
      return rc;
  return Restart();
}

int32_t ClRollLoop::Restart()
{
  m_nSinceReset = 0;
  m_nFingerFrames = 0;
  m_aRecent.fill(0);
  m_nBaseWidth = -1;
  m_nMaxWidth = 0;
  m_bDeciding = true;
  // Also after a finished roll, the next one starts afresh.
  return LS_KX2SetPropertyLongA(m_hScanner, "nResetImage", 1);
}

void ClRollLoop::Ask(ERollPrompt ePrompt, ClRollListener& listener)
{
  m_bDeciding = false;
  if (m_bPrompted && ePrompt == m_ePrompt)
    return;
  m_ePrompt = ePrompt;
  m_bPrompted = true;
  listener.OnPrompt(ePrompt);
}

int32_t ClRollLoop::Run(double dTimeout, ClRollListener& listener)
{
  m_Result = ClRollResult();
  m_bPrompted = false;
  m_dStart = m_pfnNow();
  int32_t rc = Start();
  for (bool bDone = false; rc == 0 && !bDone;) {
    if (m_bStop)
      rc = nRollStopped;
    else if (m_pfnNow() - m_dStart > dTimeout)
      rc = LS_KX2_ERROR_BITMAP_NO_FINGER;
    else
      rc = Step(listener, &bDone);
  }
  if (rc == 0)
    rc = m_Result.m_nStatus;
  m_Result.m_nResult = rc;
  m_Result.m_dSeconds = m_pfnNow() - m_dStart;
  listener.OnResult(m_Result);
  return rc;
}

int32_t ClRollLoop::Step(ClRollListener& listener, bool* pbDone)
{
  uint8_t finished = 0;
  int32_t status = 0;
  double score = 0.0;
  if (int32_t rc = LS_KX2TriggerScanner(m_hScanner))
    return rc;
  if (int32_t rc = LS_KX2GetRollImage(m_hScanner, m_aImage.data(), &score, &finished, &status))
    return rc;
  ++m_Result.m_nFrames;
  ++m_nSinceReset;
  ClRollFrame frame;
  frame.m_pImage = m_aImage.data();
  frame.m_nWidth = m_nWidth;
  frame.m_nHeight = m_nHeight;
  frame.m_nRollWidth = RolledWidth(m_aImage.data(), m_nWidth, m_nHeight);
  frame.m_nFrames = m_Result.m_nFrames;
  frame.m_dSeconds = m_pfnNow() - m_dStart;
  const EVerdict verdict = Judge(frame.m_nRollWidth, finished != 0, status, listener);
  frame.m_ePrompt = m_ePrompt;
  listener.OnFrame(frame);
  *pbDone = verdict == EVerdict::eDone;
  if (*pbDone) {
    m_Result.m_bFinished = true;
    m_Result.m_nStatus = status;
    m_Result.m_dScore = score;
  }
  return verdict == EVerdict::eRestart ? Restart() : 0;
}

ClRollLoop::EVerdict ClRollLoop::Judge(int nWidth, bool bFinished, int32_t nStatus,
                                       ClRollListener& listener)
{
  if (m_bDeciding) {
    // What the platen shows right after a start: a finger there is not the roll.
    if (m_nSinceReset >= nStartFrames)
      Ask(nWidth > 0 ? ERollPrompt::eLiftFinger : ERollPrompt::ePlaceFinger, listener);
    return EVerdict::eGoOn;
  }
  if (m_ePrompt == ERollPrompt::eLiftFinger) {
    // The processor ends that roll once the finger has gone (or after its own time-out);
    // whatever it says, the platen is looked at afresh.
    return bFinished ? EVerdict::eRestart : EVerdict::eGoOn;
  }
  m_nFingerFrames = nWidth > 0 ? m_nFingerFrames + 1 : 0;
  m_aRecent[m_nFingerFrames % m_aRecent.size()] = nWidth;
  if (m_nFingerFrames == 1 && m_nBaseWidth < 0)
    m_nBaseWidth = nWidth;
  m_nMaxWidth = std::max(m_nMaxWidth, nWidth);
  const auto range = std::minmax_element(m_aRecent.begin(), m_aRecent.end());
  if (m_ePrompt == ERollPrompt::ePlaceFinger && m_nFingerFrames >= int(m_aRecent.size()) &&
      *range.second - *range.first <= nSettledJitter) {
    m_nBaseWidth = nWidth;
    Ask(ERollPrompt::eRollNow, listener);
  }
  if (!bFinished)
    return EVerdict::eGoOn;
  if (nStatus != 0 && m_nMaxWidth - std::max(m_nBaseWidth, 0) < nMinGrowth) {
    // Placed and lifted without rolling: start again rather than judge it.
    ++m_Result.m_nRestarts;
    m_Result.m_nRestartCode = nStatus;
    return EVerdict::eRestart;
  }
  return EVerdict::eDone;
}
