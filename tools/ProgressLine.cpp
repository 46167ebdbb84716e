#include "tools/ProgressLine.h"

#include <vector>

namespace {
// Masks leave the background at 255; the SDK counts 240 and darker as finger.
constexpr uint8_t nFingerLimit = 240;
} // namespace

std::string ClProgressLine::Format(const ClProgressState& s)
{
  char buf[160];
  int n = std::snprintf(buf, sizeof(buf), "%s  finger: %-8s frames: %4llu", s.m_sCapture.c_str(),
                        s.m_sFinger.c_str(), static_cast<unsigned long long>(s.m_nFrames));
  std::string line(buf, n > 0 ? static_cast<size_t>(n) : 0);
  if (s.m_dAreaPercent >= 0) {
    std::snprintf(buf, sizeof(buf), "  area: %5.1f %%", s.m_dAreaPercent);
    line += buf;
  }
  if (s.m_nRollWidth >= 0) {
    std::snprintf(buf, sizeof(buf), "  width: %3d px", s.m_nRollWidth);
    line += buf;
  }
  std::snprintf(buf, sizeof(buf), "  %5.1f s", s.m_dSeconds);
  return line + buf;
}

void ClProgressLine::Update(const ClProgressState& state)
{
  if (!m_pOut)
    return;
  if (m_bTerminal) {
    // Back to the start of the line and clear what was there.
    std::fprintf(m_pOut, "\r%s\033[K", Format(state).c_str());
    m_bOpen = true;
  } else if (state.m_sFinger != m_sLastFinger || state.m_dSeconds - m_dLastPrinted >= 1.0) {
    std::fprintf(m_pOut, "%s\n", Format(state).c_str());
    m_sLastFinger = state.m_sFinger;
    m_dLastPrinted = state.m_dSeconds;
  }
  std::fflush(m_pOut);
}

void ClProgressLine::End()
{
  if (!m_pOut)
    return;
  if (m_bOpen)
    std::fputc('\n', m_pOut);
  m_bOpen = false;
  m_sLastFinger.clear();
  m_dLastPrinted = -1e9;
  std::fflush(m_pOut);
}

double FingerAreaPercent(const uint8_t* pImage, uint32_t nWidth, uint32_t nHeight)
{
  uint32_t x0 = nWidth / 10, x1 = 9 * nWidth / 10, y0 = nHeight / 10, y1 = 9 * nHeight / 10;
  if (x1 <= x0 || y1 <= y0)
    return 0.0;
  uint64_t count = 0;
  for (uint32_t y = y0; y < y1; ++y) {
    const uint8_t* row = pImage + static_cast<size_t>(y) * nWidth;
    for (uint32_t x = x0; x < x1; ++x)
      count += row[x] <= nFingerLimit;
  }
  return 100.0 * static_cast<double>(count) / (static_cast<double>(x1 - x0) * (y1 - y0));
}

int RolledWidth(const uint8_t* pImage, uint32_t nWidth, uint32_t nHeight)
{
  std::vector<uint32_t> columns(nWidth, 0);
  uint64_t finger = 0;
  for (uint32_t y = 0; y < nHeight; ++y) {
    const uint8_t* row = pImage + static_cast<size_t>(y) * nWidth;
    for (uint32_t x = 0; x < nWidth; ++x)
      columns[x] += row[x] <= nFingerLimit;
  }
  for (uint32_t c : columns)
    finger += c;
  // A masked picture always keeps some background; one without any holds no roll yet.
  if (finger * 100 > static_cast<uint64_t>(nWidth) * nHeight * 99)
    return 0;
  int first = -1, last = -1;
  for (uint32_t x = 0; x < nWidth; ++x)
    if (nHeight > 0 && columns[x] * 10 >= nHeight) {
      if (first < 0)
        first = static_cast<int>(x);
      last = static_cast<int>(x);
    }
  return first < 0 ? 0 : last - first + 1;
}
