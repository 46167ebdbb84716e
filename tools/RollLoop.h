#pragma once
// The application's roll loop over an open scanner. A finger already on the platen when
// the roll starts is asked away first, since the roll processor would take it for the
// roll; then the operator places the finger and holds it still, and is told to roll once
// the processor has settled on it. A finger placed and lifted without rolling is no
// attempt: the roll starts again instead of ending with a defect.

#include "livescannerkx2.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <vector>

// What the operator is asked to do, in the order a roll normally goes.
enum class ERollPrompt { eLiftFinger, ePlaceFinger, eRollNow };

// Short words for a prompt: "lift the finger", "place the finger and hold it still",
// "roll now".
const char* RollPromptText(ERollPrompt ePrompt);

// One frame of the roll as it grows.
struct ClRollFrame
{
  const uint8_t* m_pImage = nullptr; // the roll so far, m_nWidth by m_nHeight, 8 bits
  uint32_t m_nWidth = 0, m_nHeight = 0;
  int m_nRollWidth = 0;   // columns the roll covers, 0 without finger
  ERollPrompt m_ePrompt;  // what the operator was last asked
  uint64_t m_nFrames = 0; // triggers so far
  double m_dSeconds = 0.0;
};

struct ClRollResult
{
  // 0 for a good roll, the roll's defect code, -15 when no roll ended in time, an SDK
  // failure, or nRollStopped.
  int32_t m_nResult = LS_KX2_ERROR_BITMAP_NO_FINGER;
  bool m_bFinished = false; // the SDK handed out a finished roll: image and status are its own
  int32_t m_nStatus = 0;
  double m_dScore = 0.0;
  uint64_t m_nFrames = 0;
  double m_dSeconds = 0.0;
  int m_nRestarts = 0;        // rolls started again because the finger was never rolled
  int32_t m_nRestartCode = 0; // the defect the last of them was given
};

// The loop was stopped from outside; never an SDK code.
constexpr int32_t nRollStopped = 2;

// Hears the loop's steps; every call comes from the thread that runs the loop.
class ClRollListener
{
public:
  virtual ~ClRollListener() = default;
  virtual void OnPrompt(ERollPrompt) {}
  virtual void OnFrame(const ClRollFrame&) {}
  virtual void OnResult(const ClRollResult&) {}
};

class ClRollLoop
{
public:
  using FnNow = std::function<double()>; // seconds on a steady clock

  // bStop ends the loop between two frames.
  ClRollLoop(LS_KX2_HANDLE hScanner, const std::atomic<bool>& bStop, FnNow pfnNow);

  // Sets roll mode when needed, starts a new roll and triggers until a roll ends, dTimeout
  // seconds pass or bStop is set. Returns the result's m_nResult.
  int32_t Run(double dTimeout, ClRollListener& listener);

  const ClRollResult& Result() const { return m_Result; }
  // The last roll image, rows of Width() bytes.
  const std::vector<uint8_t>& Image() const { return m_aImage; }
  uint32_t Width() const { return m_nWidth; }
  uint32_t Height() const { return m_nHeight; }

private:
  int32_t Start();
  int32_t Restart();
  int32_t Step(ClRollListener& listener, bool* pbDone);
  void Ask(ERollPrompt ePrompt, ClRollListener& listener);
  enum class EVerdict { eGoOn, eRestart, eDone };
  // Judges one frame by the roll's width and the SDK's answer.
  EVerdict Judge(int nWidth, bool bFinished, int32_t nStatus, ClRollListener& listener);

  LS_KX2_HANDLE m_hScanner;
  const std::atomic<bool>& m_bStop;
  FnNow m_pfnNow;
  uint32_t m_nWidth = 800, m_nHeight = 750;
  std::vector<uint8_t> m_aImage;
  ClRollResult m_Result;
  double m_dStart = 0.0;
  ERollPrompt m_ePrompt = ERollPrompt::ePlaceFinger;
  bool m_bPrompted = false;
  bool m_bDeciding = true;        // the platen's first frames after a start are being looked at
  int m_nSinceReset = 0;          // frames since the roll was last started
  int m_nFingerFrames = 0;        // frames in a row with a finger
  std::array<int, 4> m_aRecent{}; // roll widths of the last frames with a finger
  int m_nBaseWidth = 0;           // roll width when the finger had settled
  int m_nMaxWidth = 0;
};
