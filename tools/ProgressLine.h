#pragma once
// Live progress of a capture: one line rewritten in place on a terminal, plain lines
// (one per change of the finger's state, at most one a second otherwise) when not.

#include <cstdint>
#include <cstdio>
#include <string>

struct ClProgressState
{
  std::string m_sCapture; // "plain 1/2"
  std::string m_sFinger;  // "none", "moving", "still", "rolling", ...
  uint64_t m_nFrames = 0;
  double m_dAreaPercent = -1; // finger area in a preview; below 0 when not shown
  int m_nRollWidth = -1;      // columns covered by the roll so far; below 0 when not shown
  double m_dSeconds = 0.0;
};

class ClProgressLine
{
public:
  // pOut nullptr: silent.
  ClProgressLine(FILE* pOut, bool bTerminal) : m_pOut(pOut), m_bTerminal(bTerminal) {}
  ~ClProgressLine() { End(); }

  void Update(const ClProgressState& state);
  // Ends the line in place, so that the next output starts on a fresh line.
  void End();

  static std::string Format(const ClProgressState& state);

private:
  FILE* m_pOut;
  bool m_bTerminal;
  bool m_bOpen = false; // a terminal line is waiting for its newline
  std::string m_sLastFinger;
  double m_dLastPrinted = -1e9;
};

// Share of the central region (a tenth off each side) that a finger covers in a masked
// image: samples of 240 and darker, as the SDK counts them. 0 to 100.
double FingerAreaPercent(const uint8_t* pImage, uint32_t nWidth, uint32_t nHeight);

// Columns from the leftmost to the rightmost one that holds finger samples in a tenth
// of its rows or more; 0 without finger, and for a picture with almost no background
// (no roll result yet). Lone dark samples stay out of it.
int RolledWidth(const uint8_t* pImage, uint32_t nWidth, uint32_t nHeight);
