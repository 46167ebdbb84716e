#pragma once
// Turns the capture loops' frames into the live view's frame messages and offers them to
// every viewer: the state as JSON and the picture at half size, one byte a sample, so
// that no frame costs an image encoding.
//
// Message: 4 bytes little-endian length n, n bytes of JSON (w, h, frame, finger, area,
// roll_width, condition, activity, driver, prompt, captures, result), w * h samples.

#include "tools/FrameSink.h"
#include "tools/ViewServer.h"
#include "livescannerkx2.h"

#include <cstdint>
#include <string>
#include <vector>

class ClViewFeed : public ClFrameSink
{
public:
  // The platen's condition is read from hScanner now and then.
  ClViewFeed(ClViewServer& server, LS_KX2_HANDLE hScanner) : m_Server(server), m_hScanner(hScanner)
  {}

  void OnFrame(const ClProgressState& state, const uint8_t* pImage, uint32_t nWidth,
               uint32_t nHeight) override;
  void OnPrompt(const char* szPrompt) override { m_sPrompt = szPrompt; }

  // What the capture thread is doing ("preview", "plain", "roll") and for whom.
  void SetActivity(const std::string& activity, int nDriver);
  void SetResult(const std::string& name, int32_t nCode, const std::string& text, size_t nCaptures);

  uint64_t Frames() const { return m_nFrames; }
  // CPU seconds spent making frame messages.
  double CpuSeconds() const { return m_dCpuSeconds; }

private:
  std::string Header(const ClProgressState& state, uint32_t nWidth, uint32_t nHeight) const;

  ClViewServer& m_Server;
  LS_KX2_HANDLE m_hScanner;
  std::string m_sActivity = "preview";
  int m_nDriver = 0;
  std::string m_sPrompt;
  uint32_t m_nCondition = 0;
  std::string m_sResult = "null"; // JSON of the last capture's result
  size_t m_nCaptures = 0;
  uint64_t m_nFrames = 0;
  double m_dCpuSeconds = 0.0;
};
