#pragma once
// What one capture produced: the figures that go into its JSON file and the report.

#include "tools/Json.h"

#include <cstdint>
#include <string>
#include <vector>

// An outline the roll's shift detection drew, in image pixels; level 2 marks a shift.
struct ClShiftPolygon
{
  int m_nLevel = 0;
  std::vector<std::pair<int, int>> m_aPoints;
};

struct ClCaptureRecord
{
  std::string m_sName; // file stem, "plain_1"
  std::string m_sMode; // "plain", "roll", ...
  std::string m_sScanner;
  std::string m_sImageFile; // empty when no image was obtained
  uint32_t m_nWidth = 0, m_nHeight = 0, m_nDpi = 0;
  int32_t m_nResult = 0; // 0, the roll's result code, or the SDK's failure
  std::string m_sResultText;
  std::string m_sAdvice; // what to do about the result, in words; empty when nothing
  int32_t m_nStatus = 0;
  bool m_bFinger = false;
  double m_dScore = 0.0;
  uint32_t m_nCondition = 0;
  uint64_t m_nFrames = 0; // triggers sent for this capture
  double m_dSeconds = 0.0;
  ClJson m_ScannerData; // extended access id 6; null when not read
  std::vector<ClShiftPolygon> m_aPolygons;

  ClJson ToJson() const;
};

// The shift area outlines of a scanner data document ("KX2.ROLLFINGER.ROLL_SHIFT_AREAS").
std::vector<ClShiftPolygon> ShiftPolygons(const ClJson& scannerData);
