#include "tools/CliOptions.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

ClCliOptions Parse(std::vector<const char*> args)
{
  args.insert(args.begin(), "lskx2");
  return ParseArguments(static_cast<int>(args.size()), args.data());
}

TEST(Lskx2Args, CommandsChooseTheirCaptures)
{
  EXPECT_EQ(Parse({"demo"}).m_aModes, (std::vector<uint32_t>{eModePlain, eModeRoll}));
  EXPECT_EQ(Parse({"roll"}).m_aModes, std::vector<uint32_t>{eModeRoll});
  EXPECT_EQ(Parse({"capture"}).m_aModes, std::vector<uint32_t>{eModePlain});
  EXPECT_EQ(Parse({"capture", "--mode", "single"}).m_aModes,
            std::vector<uint32_t>{eModeSingleShot});
  EXPECT_EQ(Parse({"capture", "--mode=triggered"}).m_aModes, std::vector<uint32_t>{eModeTriggered});
  EXPECT_TRUE(Parse({"demo"}).m_bShiftAreas);
  EXPECT_FALSE(Parse({"roll"}).m_bShiftAreas);
  EXPECT_TRUE(Parse({"roll", "--shift-areas"}).m_bShiftAreas);
  EXPECT_EQ(Parse({"list"}).m_eCommand, ECommand::eList);
  EXPECT_EQ(Parse({"view"}).m_sListen, "127.0.0.1:0");
  EXPECT_EQ(Parse({"view", "--listen", "0.0.0.0:8080"}).m_sListen, "0.0.0.0:8080");
  EXPECT_EQ(Parse({"roll", "--help"}).m_eCommand, ECommand::eHelp);
  EXPECT_STREQ(ModeName(eModePreview), "preview");
  EXPECT_STREQ(ModeName(eModeSingleShot), "single");
}

TEST(Lskx2Args, CaptureOptionsAndPropertiesInOrder)
{
  ClCliOptions o =
      Parse({"capture", "--scanner", "KX2 21234567", "--count=3", "--out", "o2", "--property",
             "nUseFastMask=1", "--mask-sensitivity", "5",
             "--property=nRolledPostProcess=", "--roll-merge", "registered", "--timeout", "2.5"});
  EXPECT_EQ(o.m_sScanner, "KX2 21234567");
  EXPECT_EQ(o.m_nCount, 3);
  EXPECT_EQ(o.m_sOutDir, "o2");
  EXPECT_DOUBLE_EQ(o.m_dTimeout, 2.5);
  using P = std::pair<std::string, std::string>;
  EXPECT_EQ(o.m_aProperties, (std::vector<P>{{"nUseFastMask", "1"},
                                             {"nMaskSensitivity", "5"},
                                             {"nRolledPostProcess", ""},
                                             {"nRollMergeMode", "1"}}));
  ClCliOptions info = Parse({"info", "--check", "1.3", "--error", "-803", "--error", "7"});
  EXPECT_EQ(info.m_sCheck, "1.3");
  EXPECT_EQ(info.m_aErrors, (std::vector<int32_t>{-803, 7}));
}

TEST(Lskx2Args, RefusesWhatItCannotFollow)
{
  const std::vector<std::vector<const char*>> bad = {
      {},
      {"shoot"},
      {"capture", "--mode", "fast"},
      {"roll", "--mode", "plain"},
      {"capture", "--count", "0"},
      {"capture", "--count", "2x"},
      {"capture", "--out"},
      {"capture", "--property", "=1"},
      {"roll", "--roll-merge", "warped"},
      {"capture", "--property", "nUseFastMask"},
      {"capture", "--timeout", "-1"},
      {"capture", "--check", "1.4"},
      {"info", "--count", "2"},
      {"list", "--out", "x"},
      {"capture", "--listen", "127.0.0.1:80"},
  };
  for (const auto& args : bad)
    EXPECT_THROW(Parse(args), ClUsageError) << (args.empty() ? "(none)" : args.back());
}

} // namespace
