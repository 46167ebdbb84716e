// A session recorded over the simulator and replayed through the SDK by lskx2 gives the
// same images, result codes and documents; recorded faults come back as the same codes.
#include "recorder/RecordFile.h"
#include "simulator/device/ScanApiRecords.h"

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <spawn.h>
#include <sys/wait.h>

extern char** environ;

namespace {

namespace pt = boost::property_tree;

std::string ReadText(const std::string& path)
{
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

class Replay : public ::testing::Test
{
protected:
  void SetUp() override
  {
    std::string templ = "/tmp/kxrec-replay-XXXXXX";
    ASSERT_TRUE(mkdtemp(&templ[0]));
    m_sDir = templ;
  }
  void TearDown() override
  {
    if (!HasFailure())
      std::system(("rm -rf '" + m_sDir + "'").c_str());
  }

  // lskx2 with these arguments and a simulator configuration (none: the built-in one); its
  // exit status.
  int Run(std::vector<std::string> args, const std::string& config)
  {
    const char* bin = std::getenv("LSKX2_BIN_DIR");
    args.insert(args.begin(), std::string(bin ? bin : ".") + "/lskx2");
    std::vector<std::string> env;
    for (char** e = environ; *e; ++e)
      if (std::strncmp(*e, "KXSIM_", 6) && std::strncmp(*e, "KXREC_", 6))
        env.push_back(*e);
    if (!config.empty()) {
      std::ofstream(m_sDir + "/sim.json") << config;
      env.push_back("KXSIM_CONFIG=" + m_sDir + "/sim.json");
    }
    env.push_back("VELTRANO_SDK_LOCK_DIR=" + m_sDir);
    std::vector<char*> argv, envp;
    for (std::string& a : args)
      argv.push_back(&a[0]);
    for (std::string& e : env)
      envp.push_back(&e[0]);
    argv.push_back(nullptr);
    envp.push_back(nullptr);
    const std::string log = m_sDir + "/log";
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
    posix_spawn_file_actions_addopen(&actions, 2, log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
    pid_t pid = 0;
    const int rc = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    if (rc != 0 || waitpid(pid, &status, 0) != pid || !WIFEXITED(status))
      return -1;
    return WEXITSTATUS(status);
  }

  // Failed calls of the recording, as "entry:error".
  std::vector<std::string> Failures(const std::string& file)
  {
    std::vector<std::string> failed;
    kxrec::ClRecordReader reader(file);
    kxrec::ClCallRecord r;
    while (reader.Next(r))
      if (!r.nResult)
        failed.push_back(std::string(kxsim::EntryName(kxsim::EEntry(r.nEntry))) + ":" +
                         std::to_string(r.nLastError));
    return failed;
  }

  std::string m_sDir;
};

TEST_F(Replay, PlainAndRollReplayBitForBit)
{
  const std::string file = m_sDir + "/demo.kxrec", a = m_sDir + "/a", b = m_sDir + "/b";
  const int recorded = Run({"record", file, "demo", "--out", a}, "");
  ASSERT_NE(recorded, -1) << ReadText(m_sDir + "/log");
  EXPECT_EQ(Run({"replay", file, "demo", "--out", b}, ""), recorded) << ReadText(m_sDir + "/log");
  for (const char* name : {"plain_1", "roll_1"}) {
    const std::string png = ReadText(a + "/" + name + ".png");
    EXPECT_FALSE(png.empty()) << name;
    EXPECT_TRUE(png == ReadText(b + "/" + name + ".png")) << name << " differs";
    EXPECT_EQ(ReadText(a + "/" + name + ".json"), ReadText(b + "/" + name + ".json")) << name;
  }
}

TEST_F(Replay, TransientFaultAndDisconnectReplayAsTheSameCodes)
{
  const std::string file = m_sDir + "/faults.kxrec", a = m_sDir + "/a", b = m_sDir + "/b";
  const std::string config = R"({"frame_interval_ms": 10, "devices": [{"faults": [
      {"call": "ftrScanGetImage", "at": 3, "error": 121},
      {"call": "ftrScanGetRawImageByVariableDose", "at": 3, "error": 121},
      {"disconnect_at_frame": 12}]}]})";
  const int recorded = Run({"record", file, "--out", a}, config);
  EXPECT_EQ(recorded, 60) << ReadText(m_sDir + "/log"); // the scanner was disconnected
  const std::vector<std::string> failed = Failures(file);
  ASSERT_GE(failed.size(), 2u);
  EXPECT_NE(failed.front().find(":121"), std::string::npos) << failed.front();
  EXPECT_NE(failed.back().find(":170"), std::string::npos) << failed.back();
  // The replay's own configuration has no faults: they come from the recording.
  EXPECT_EQ(Run({"replay", file, "--out", b}, ""), recorded);
  EXPECT_EQ(ReadText(a + "/plain_1.json"), ReadText(b + "/plain_1.json"));
  // The frames come out as pictures, the failures in the index beside them.
  ASSERT_EQ(Run({"frames", file, "--out", m_sDir + "/frames"}, ""), 0);
  pt::ptree index;
  pt::read_json(m_sDir + "/frames/index.json", index);
  EXPECT_EQ(index.get_child("frames").size(), 12u);
  EXPECT_EQ(index.get_child("failed_calls").size(), failed.size());
  EXPECT_FALSE(ReadText(m_sDir + "/frames/frame_00011.png").empty());
}

TEST_F(Replay, DamagedRecordingIsRefusedWithItsOffset)
{
  const std::string file = m_sDir + "/cut.kxrec";
  std::ofstream(file) << "KXREC\r\n\x1a\x01";
  EXPECT_EQ(Run({"replay", file}, ""), 1);
  EXPECT_NE(ReadText(m_sDir + "/log").find("offset 0: truncated: a header of 12 bytes"),
            std::string::npos)
      << ReadText(m_sDir + "/log");
}

} // namespace
