// A session recorded over the simulator and replayed through the SDK by lskx2 gives the
// same images, result codes and documents; recorded faults come back as the same codes.
#include "recorder/RecordFile.h"
#include "simulator/device/ScanApiRecords.h"
#include "tests/common/Lskx2Launch.h"

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

namespace {

namespace pt = boost::property_tree;

std::string ReadText(const std::string& path)
{
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

class Replay : public ClLskx2Fixture
{
protected:
  // lskx2 with these arguments and a simulator configuration (none: the built-in one); its
  // exit status. What it said is in Log().
  int Run(const std::vector<std::string>& args, const std::string& config)
  {
    ClChildProcess p;
    m_sLog = m_sDir + "/log" + std::to_string(++m_nRuns);
    return Launch(p, args, config, m_sLog) ? p.Wait(600) : -1;
  }
  std::string Log() const { return ReadText(m_sLog); }

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

  std::string m_sLog;
  int m_nRuns = 0;
};

TEST_F(Replay, PlainAndRollReplayBitForBit)
{
  const std::string file = m_sDir + "/demo.kxrec", a = m_sDir + "/a", b = m_sDir + "/b";
  const int recorded = Run({"record", file, "demo", "--out", a}, "");
  ASSERT_NE(recorded, -1) << Log();
  EXPECT_EQ(Run({"replay", file, "demo", "--out", b}, ""), recorded) << Log();
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
  EXPECT_EQ(recorded, 60) << Log(); // the scanner was disconnected
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
  EXPECT_NE(Log().find("offset 0: truncated: a header of 12 bytes"), std::string::npos) << Log();
}

} // namespace
