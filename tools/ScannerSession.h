#pragma once
// One open scanner and the application loops that capture with it: plain, liveness and
// preview captures wait on previews for a still finger, a roll waits for its result,
// single shot and triggered captures take their image directly.

#include "tools/CliOptions.h"
#include "tools/ProgressLine.h"
#include "tools/CaptureRecord.h"
#include "tools/FrameSink.h"
#include "tools/RollLoop.h"
#include "livescannerkx2.h"

#include <atomic>
#include <functional>
#include <string>
#include <vector>

// Positive results are the program's own, never an SDK code.
constexpr int32_t nNoScanner = 1;
constexpr int32_t nInterrupted = nRollStopped;
// A file of the command line could not be read, or the output could not be written.
constexpr int32_t nFileProblem = 3;

// Results that end one capture but leave the scanner fit for the next: no finger, or a
// roll judged bad.
bool IsCaptureOutcome(int32_t nCode);

// Names of the attached scanners; *pnCode is the SDK's answer to the query.
std::vector<std::string> AttachedScanners(int32_t* pnCode);

class ClScannerSession
{
public:
  using FnNow = double (*)(); // seconds on a steady clock

  // pfnNow paces the loops; pfnCaptureClock (null: pfnNow) times a capture for its record.
  ClScannerSession(const std::atomic<bool>& bStop, ClProgressLine& progress, FnNow pfnNow,
                   FnNow pfnCaptureClock = nullptr);
  ~ClScannerSession() { Close(); }
  ClScannerSession(const ClScannerSession&) = delete;
  ClScannerSession& operator=(const ClScannerSession&) = delete;

  // The named scanner, or the first attached one for an empty name. nNoScanner when
  // none is attached; the SDK's code when the query or the opening fails.
  int32_t Open(const std::string& name);
  void Close();
  const std::string& Name() const { return m_sName; }
  LS_KX2_HANDLE Handle() const { return m_hScanner; }

  // Handle properties, shift areas and the scanner data file of the options, in that order.
  // nFileProblem when the scanner data file cannot be read.
  int32_t Configure(const ClCliOptions& options, std::string* pWhat);

  // One capture into *pRecord and m_aImage. Returns what decides the exit status: 0, the
  // roll's result, -15 when no finger came, an SDK failure, or nInterrupted.
  int32_t Capture(uint32_t nMode, const std::string& label, const ClCliOptions& options,
                  ClCaptureRecord* pRecord);

  // In plain mode, previews until the platen is empty, so that the next capture starts
  // with a new finger.
  int32_t WaitForLift(const std::string& label, double dTimeout);

  // Previews in plain mode until pfnDone says so or the stop flag is set (nInterrupted).
  int32_t Preview(const std::string& label, const std::function<bool()>& pfnDone);

  // Also shows every frame and prompt to pSink (none: nullptr).
  void SetFrameSink(ClFrameSink* pSink) { m_pSink = pSink; }

  // Triggers a few frames in plain mode and reads the platen's condition.
  int32_t MeasureCondition(uint32_t* pnCondition);

  const std::vector<uint8_t>& Image() const { return m_aImage; }

private:
  // Says what the finger does in one preview and whether the wait is over.
  using FnJudge = std::function<const char*(bool bFinger, double dArea, bool* pbDone)>;

  int32_t SetMode(uint32_t nMode);
  // Trigger and preview until judge says done; ends early when interrupted, after
  // dTimeout seconds with nTimeoutCode, or with an SDK failure.
  int32_t Previews(const std::string& label, double dTimeout, int32_t nTimeoutCode,
                   uint64_t* pnFrames, const FnJudge& judge);
  int32_t WaitForFinger(const std::string& label, const ClCliOptions& o, uint64_t* pnFrames);
  int32_t ShowPreviews(const std::string& label, int nFrames, uint64_t* pnFrames);
  int32_t Roll(const std::string& label, const ClCliOptions& o, ClCaptureRecord* r);
  int32_t Triggered(ClCaptureRecord* r);
  int32_t ReadScannerData(ClJson* pData);
  int32_t WriteScannerData(std::string text);
  int32_t PreviewStep(double* pdArea, bool* pbFinger);
  void Show(const std::string& label, const char* finger, uint64_t nFrames, double dArea,
            int nWidth, double dStart, const uint8_t* pImage = nullptr);

  const std::atomic<bool>& m_bStop;
  ClProgressLine& m_Progress;
  ClFrameSink* m_pSink = nullptr;
  FnNow m_pfnNow;
  FnNow m_pfnCaptureClock;
  LS_KX2_HANDLE m_hScanner = nullptr;
  std::string m_sName;
  uint32_t m_nMode = ~0u; // none set yet
  uint32_t m_nWidth = 800, m_nHeight = 750, m_nDpi = 500;
  std::vector<uint8_t> m_aImage;
};
