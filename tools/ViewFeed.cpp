#include "tools/ViewFeed.h"

#include "tools/Json.h"

#include <cstring>
#include <memory>
#include <time.h>

namespace {

// Frames between two readings of the platen's condition.
constexpr uint64_t nConditionFrames = 15;

double ThreadCpuSeconds()
{
  timespec ts = {};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
  return ts.tv_sec + ts.tv_nsec * 1e-9;
}

// Each sample the mean of a 2 by 2 block; source rows are padded to 4 bytes.
void HalfSize(const uint8_t* pImage, uint32_t nWidth, uint32_t nHeight, uint8_t* pOut)
{
  const size_t stride = (nWidth + 3) / 4 * 4;
  const uint32_t w = nWidth / 2, h = nHeight / 2;
  for (uint32_t y = 0; y < h; ++y) {
    const uint8_t* a = pImage + 2 * y * stride;
    const uint8_t* b = a + stride;
    uint8_t* out = pOut + static_cast<size_t>(y) * w;
    for (uint32_t x = 0; x < w; ++x)
      out[x] = static_cast<uint8_t>((a[2 * x] + a[2 * x + 1] + b[2 * x] + b[2 * x + 1] + 2) / 4);
  }
}

} // namespace

void ClViewFeed::SetActivity(const std::string& activity, int nDriver)
{
  m_sActivity = activity;
  m_nDriver = nDriver;
  m_sPrompt.clear();
}

void ClViewFeed::SetResult(const std::string& name, int32_t nCode, const std::string& text,
                           size_t nCaptures)
{
  ClJson r = ClJson::Object();
  r.Set("name", ClJson::String(name));
  r.Set("code", ClJson::Integer(nCode));
  r.Set("text", ClJson::String(text));
  m_sResult = r.Dump();
  m_nCaptures = nCaptures;
}

std::string ClViewFeed::Header(const ClProgressState& s, uint32_t nWidth, uint32_t nHeight) const
{
  char buf[512];
  std::snprintf(buf, sizeof(buf),
                "{\"w\": %u, \"h\": %u, \"frame\": %llu, \"finger\": %s, \"area\": %.1f, "
                "\"roll_width\": %d, \"condition\": %u, \"activity\": %s, \"driver\": %d, "
                "\"prompt\": %s, \"captures\": %zu, \"result\": ",
                nWidth, nHeight, static_cast<unsigned long long>(m_nFrames),
                JsonQuote(s.m_sFinger).c_str(), s.m_dAreaPercent, s.m_nRollWidth, m_nCondition,
                JsonQuote(m_sActivity).c_str(), m_nDriver, JsonQuote(m_sPrompt).c_str(),
                m_nCaptures);
  return buf + m_sResult + "}";
}

void ClViewFeed::OnFrame(const ClProgressState& state, const uint8_t* pImage, uint32_t nWidth,
                         uint32_t nHeight)
{
  const double start = ThreadCpuSeconds();
  if (m_nFrames++ % nConditionFrames == 0) {
    uint32_t reserved = 0;
    LS_KX2GetScannerCondition(m_hScanner, &m_nCondition, &reserved);
  }
  const uint32_t w = nWidth / 2, h = nHeight / 2;
  const std::string header = Header(state, w, h);
  auto message =
      std::make_shared<std::string>(4 + header.size() + static_cast<size_t>(w) * h, '\0');
  const uint32_t n = static_cast<uint32_t>(header.size());
  for (int k = 0; k < 4; ++k)
    (*message)[k] = static_cast<char>((n >> (8 * k)) & 0xff);
  std::memcpy(&(*message)[4], header.data(), n);
  HalfSize(pImage, nWidth, nHeight, reinterpret_cast<uint8_t*>(&(*message)[4 + n]));
  m_Server.Broadcast(std::move(message));
  m_dCpuSeconds += ThreadCpuSeconds() - start;
}
