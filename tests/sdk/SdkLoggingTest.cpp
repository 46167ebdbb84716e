// Logging reads its environment once at load time, so each case runs the probe program
// in a process of its own with the environment it needs.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <regex>
#include <string>
#include <vector>

namespace {

std::string Probe(const std::string& env, const std::string& args)
{
  const char* dir = std::getenv("LSKX2_BIN_DIR");
  std::string cmd = "env -u VELTRANO_SDK_LOG -u VELTRANO_SDK_LOG_LEVEL " + env + " " +
                    (dir ? std::string(dir) : std::string(".")) + "/lskx2_logprobe " + args;
  std::string out;
  FILE* p = popen(cmd.c_str(), "r");
  if (!p)
    return out;
  char buf[4096];
  size_t n;
  while ((n = fread(buf, 1, sizeof(buf), p)) > 0)
    out.append(buf, n);
  pclose(p);
  return out;
}

std::vector<std::string> Lines(const std::string& s)
{
  std::vector<std::string> v;
  size_t start = 0, nl;
  while ((nl = s.find('\n', start)) != std::string::npos) {
    v.push_back(s.substr(start, nl - start));
    start = nl + 1;
  }
  return v;
}

const std::regex
    s_Stamp(R"(^\d{4}-[A-Z][a-z]{2}-\d{2} \d{2}:\d{2}:\d{2}\.\d{6} \[(\w+)\] - (.*)$)");

std::vector<std::string> Bodies(const std::string& out)
{
  std::vector<std::string> v;
  for (const std::string& line : Lines(out)) {
    std::smatch m;
    EXPECT_TRUE(std::regex_match(line, m, s_Stamp)) << line;
    v.push_back(m[1].str() + "|" + m[2].str());
  }
  return v;
}

} // namespace

TEST(SdkLogging, OffUnlessExactlyOne)
{
  EXPECT_EQ(Probe("", "exports"), "");
  EXPECT_EQ(Probe("VELTRANO_SDK_LOG=10", "exports"), "");
  EXPECT_EQ(Probe("VELTRANO_SDK_LOG=true", "exports"), "");
  EXPECT_EQ(Probe("VELTRANO_SDK_LOG=0", "exports"), "");
}

TEST(SdkLogging, ExportLinesInTheirFormats)
{
  std::vector<std::string> b = Bodies(Probe("VELTRANO_SDK_LOG=1", "exports"));
  std::vector<std::string> expected = {
      "Debug|LS_KX2Initialize((nil)) Enter",
      "Debug|LS_KX2Initialize((nil)) Leave",
      "Debug|LS_KX2CompatibilityCheck Enter",
      "Error|LS_KX2CompatibilityCheck Error(-44): One(or more) parameter(s) is(are) invalid.",
      "Debug|LS_KX2Uninitialize(void) Enter",
      "Debug|LS_KX2Uninitialize(void) Leave",
      "Debug|LS_KX2Uninitialize(void) Enter",
      "Error|LS_KX2Uninitialize(void) Error(-2): Prior initialization is necessary.",
  };
  EXPECT_EQ(b, expected);
}

TEST(SdkLogging, ScannerLinesInTheirFormats)
{
  std::vector<std::string> lines;
  for (const std::string& b : Bodies(Probe("VELTRANO_SDK_LOG=1", "scanner")))
    if (b.find("|LS_KX2") != std::string::npos)
      lines.push_back(b);
  const std::string p = "0x[0-9a-f]+", n = "-?[0-9]+";
  const std::vector<std::string> expected = {
      R"(Debug\|LS_KX2Initialize\(\(nil\)\) Enter)",
      R"(Debug\|LS_KX2Initialize\(\(nil\)\) Leave)",
      // The serial glued to the name on entry only.
      R"(Debug\|LS_KX2OpenScannerKX2 21234567 Enter)",
      R"(Debug\|LS_KX2OpenScanner Leave)",
      // The output pointer as a number on entry, as a pointer after.
      "Debug\\|LS_KX2GetPropertyDoubleA\\(" + p + ", " + p + ", " + n + "\\) Enter",
      "Error\\|LS_KX2GetPropertyDoubleA\\(" + p + ", " + p + ", " + p +
          "\\) Error\\(-44\\): One\\(or more\\) parameter\\(s\\) is\\(are\\) invalid\\.",
      "Debug\\|LS_KX2ExtendedScannerAccess\\(" + p + ", 99, \\(nil\\), " + n + "\\) Enter",
      "Error\\|LS_KX2ExtendedScannerAccess\\(" + p + ", 99, \\(nil\\), " + n +
          "\\) Error\\(-206\\): A given parameter is unknown\\.",
      R"(Debug\|LS_KX2OpenScannerKX2 00000000 Enter)",
      R"(Error\|LS_KX2OpenScanner Error\(-44\): One\(or more\) parameter\(s\) is\(are\) invalid\.)",
      R"(Debug\|LS_KX2CloseScanner Enter)",
      R"(Debug\|LS_KX2CloseScanner Leave)",
      R"(Debug\|LS_KX2Uninitialize\(void\) Enter)",
      R"(Debug\|LS_KX2Uninitialize\(void\) Leave)",
  };
  ASSERT_EQ(lines.size(), expected.size());
  for (size_t i = 0; i < lines.size(); ++i)
    EXPECT_TRUE(std::regex_match(lines[i], std::regex(expected[i]))) << lines[i];
}

TEST(SdkLogging, LevelFiltersTheConsole)
{
  std::vector<std::string> b =
      Bodies(Probe("VELTRANO_SDK_LOG=1 VELTRANO_SDK_LOG_LEVEL=3", "exports"));
  ASSERT_EQ(b.size(), 2u);
  EXPECT_EQ(b[0].substr(0, 6), "Error|");
  EXPECT_EQ(b[1].substr(0, 6), "Error|");
  EXPECT_EQ(Probe("VELTRANO_SDK_LOG=1 VELTRANO_SDK_LOG_LEVEL=2", "exports"), "");
  // Out-of-range levels leave the default 7.
  for (const char* lv : {"8", "-1", "99"})
    EXPECT_EQ(
        Bodies(Probe(std::string("VELTRANO_SDK_LOG=1 VELTRANO_SDK_LOG_LEVEL=") + lv, "exports"))
            .size(),
        8u)
        << lv;
}

TEST(SdkLogging, ExactlyTheBufferSizeIsRefusedOnOrOff)
{
  for (const char* env : {"", "VELTRANO_SDK_LOG=1 VELTRANO_SDK_LOG_LEVEL=0"}) {
    EXPECT_EQ(Probe(env, "size 1024"), "code -49\nnull -49\n");
    EXPECT_EQ(Probe(env, "size 1025"), "code 0\nnull -49\n");
    EXPECT_EQ(Probe(env, "size 1023"), "code 0\nnull -49\n");
  }
}

TEST(SdkLogging, LongMessagesAreCutTo1023)
{
  std::vector<std::string> lines = Lines(Probe("VELTRANO_SDK_LOG=1", "size 2000"));
  ASSERT_EQ(lines.size(), 3u);
  size_t dash = lines[0].find(" - ");
  EXPECT_EQ(lines[0].size() - dash - 3, 1023u);
}
