#include "ToolFiles.h"
#include "tools/ReportHtml.h"
#include "tools/PngWriter.h"

#include <gtest/gtest.h>

namespace {

using L = ClReportLayout;

ClCaptureRecord Record(const std::string& name)
{
  ClCaptureRecord r;
  r.m_sName = name;
  r.m_sMode = "plain";
  r.m_sImageFile = name + ".png";
  r.m_nWidth = 800;
  r.m_nHeight = 750;
  r.m_nDpi = 500;
  r.m_sResultText = "No errors occurred.";
  return r;
}

// Page coordinates of image pixel (x, y) of capture k.
std::pair<uint32_t, uint32_t> OnPage(int k, int x, int y)
{
  return {static_cast<uint32_t>(L::nPictureLeft + x * L::nPictureWidth / 800),
          static_cast<uint32_t>(L::nHeaderHeight + k * L::nRowHeight + L::nRowPadding +
                                y * L::nPictureHeight / 750)};
}

TEST(Lskx2Report, PageNamesEveryCaptureAndEscapesText)
{
  ClCaptureRecord roll = Record("roll_1");
  roll.m_nResult = -803;
  roll.m_sResultText = "back <rolled> & \"x\"";
  roll.m_aPolygons = {{2, {{1, 2}, {3, 4}, {5, 6}}}};
  ClCaptureRecord failed = Record("plain_2");
  failed.m_sImageFile.clear();
  std::string html = ReportHtml("t", {Record("plain_1"), roll, failed});
  EXPECT_NE(html.find("<img src=\"plain_1.png\""), std::string::npos);
  EXPECT_NE(html.find("points=\"1,2 3,4 5,6 \""), std::string::npos);
  EXPECT_NE(html.find("-803 back &lt;rolled&gt; &amp; &quot;x&quot;"), std::string::npos);
  EXPECT_NE(html.find("no image"), std::string::npos);
  EXPECT_EQ(html.find("http:"), std::string::npos); // nothing to fetch from a network
}

// The browser decodes the pictures and draws them, with the outline over the second one.
TEST(Lskx2Report, BrowserDrawsPicturesAndOutlines)
{
  std::string dir = MakeTempDir(), error;
  ASSERT_FALSE(dir.empty());
  // First picture: dark left half, light right half. Second: mid grey.
  std::vector<uint8_t> halves(800 * 750), grey(800 * 750, 128);
  for (size_t i = 0; i < halves.size(); ++i)
    halves[i] = i % 800 < 400 ? 10 : 245;
  ASSERT_TRUE(
      WritePng(dir + "/plain_1.png", halves.data(), 800, 750, 800, EPngColour::eGrey, 500, &error));
  ASSERT_TRUE(
      WritePng(dir + "/roll_1.png", grey.data(), 800, 750, 800, EPngColour::eGrey, 500, &error));
  ClCaptureRecord roll = Record("roll_1");
  roll.m_aPolygons = {{2, {{100, 100}, {500, 100}, {500, 500}, {100, 500}}}};
  ASSERT_TRUE(WriteReport(dir + "/report.html", "t", {Record("plain_1"), roll}, &error));

  PngFile shot;
  ASSERT_TRUE(Screenshot(dir + "/report.html", dir, &shot))
      << "chromium missing or failing (bash scripts/install-test-deps.sh); see " << dir
      << "/chromium.log";
  EXPECT_EQ(shot.nWidth, static_cast<uint32_t>(nWindowWidth));
  EXPECT_EQ(shot.nHeight, static_cast<uint32_t>(nWindowHeight));
  ASSERT_GE(shot.nChannels, 3u);
  auto pixel = [&](std::pair<uint32_t, uint32_t> at) { return shot.At(at.first, at.second); };
  for (int y : {50, 375, 700}) {
    EXPECT_LT(pixel(OnPage(0, 200, y))[0], 40) << y;
    EXPECT_GT(pixel(OnPage(0, 600, y))[0], 220) << y;
  }
  const uint8_t* inside = pixel(OnPage(1, 300, 300));
  const uint8_t* outside = pixel(OnPage(1, 700, 650));
  EXPECT_GT(inside[0], inside[1] + 40); // red tint over the grey
  EXPECT_NEAR(outside[0], 128, 8);
  EXPECT_NEAR(outside[1], 128, 8);
  RemoveDir(dir);
}

} // namespace
