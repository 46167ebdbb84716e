#include "tools/ProgressLine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace {

// Captures what the progress line writes.
struct Capture
{
  char* pText = nullptr;
  size_t nSize = 0;
  FILE* pFile = open_memstream(&pText, &nSize);
  ~Capture()
  {
    std::fclose(pFile);
    std::free(pText);
  }
  std::string Text()
  {
    std::fflush(pFile);
    return std::string(pText, nSize);
  }
};

ClProgressState State(const char* finger, double seconds)
{
  ClProgressState s;
  s.m_sCapture = "plain 1/1";
  s.m_sFinger = finger;
  s.m_nFrames = 12;
  s.m_dAreaPercent = 14.25;
  s.m_dSeconds = seconds;
  return s;
}

TEST(Lskx2Progress, TerminalLineIsRewrittenInPlace)
{
  Capture out;
  {
    ClProgressLine line(out.pFile, true);
    line.Update(State("none", 0.1));
    line.Update(State("still", 0.2));
    EXPECT_EQ(out.Text().find('\n'), std::string::npos);
  }
  std::string text = out.Text();
  EXPECT_EQ(text.front(), '\r');
  EXPECT_NE(text.find("\r" + ClProgressLine::Format(State("still", 0.2)) + "\033[K\n"),
            std::string::npos);
}

TEST(Lskx2Progress, PlainLinesOnChangeOrEverySecond)
{
  Capture out;
  ClProgressLine line(out.pFile, false);
  for (double t : {0.0, 0.3, 0.6, 1.2}) // the last one a second after the first line
    line.Update(State("none", t));
  line.Update(State("moving", 1.3));
  line.Update(State("moving", 1.4));
  line.End();
  std::string text = out.Text();
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 3);
  EXPECT_EQ(text.find('\r'), std::string::npos);
  EXPECT_NE(text.find("finger: moving"), std::string::npos);
  EXPECT_NE(text.find("area:  14.2 %"), std::string::npos);
  EXPECT_NE(text.find("frames:   12"), std::string::npos);
}

TEST(Lskx2Progress, AreaAndRolledWidthFromMaskedImages)
{
  const uint32_t w = 100, h = 50;
  std::vector<uint8_t> img(w * h, 255);
  EXPECT_EQ(FingerAreaPercent(img.data(), w, h), 0.0);
  EXPECT_EQ(RolledWidth(img.data(), w, h), 0);
  std::vector<uint8_t> unset(w * h, 0); // no roll result yet
  EXPECT_EQ(RolledWidth(unset.data(), w, h), 0);
  // Finger samples over columns 20 to 59, rows 10 to 39; 240 still counts, 241 does not.
  for (uint32_t y = 10; y < 40; ++y)
    for (uint32_t x = 20; x < 60; ++x)
      img[y * w + x] = 240;
  img[2 * w + 90] = 0; // a lone dark sample widens nothing
  for (uint32_t y = 0; y < h; ++y)
    img[y * w + 70] = 241;
  EXPECT_EQ(RolledWidth(img.data(), w, h), 40);
  // Central region: columns 10 to 89, rows 5 to 44, so 40 * 30 of 80 * 40 samples.
  EXPECT_DOUBLE_EQ(FingerAreaPercent(img.data(), w, h), 100.0 * 1200 / 3200);
}

} // namespace
