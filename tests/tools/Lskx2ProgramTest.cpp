// lskx2 run as a user runs it, on the simulator, with scripted scanners.
#include "ToolFiles.h"
#include "tests/common/Lskx2Launch.h"
#include "tools/ReportHtml.h"

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <cmath>
#include <cstring>
#include <csignal>
#include <functional>
#include <thread>

namespace {

namespace pt = boost::property_tree;

struct ProgramRun
{
  int nStatus = -1; // exit status; -1 when killed or timed out
  std::string sOut, sErr;
};

class Lskx2Program : public ClLskx2Fixture
{
protected:
  // Runs lskx2 with a simulator configuration (none: the built-in one) and its own claim
  // folder; pfnDuring is called with the process id every 50 ms while it runs.
  ProgramRun Start(std::vector<std::string> args, const std::string& config,
                   std::function<void(pid_t, const std::string&)> pfnDuring = nullptr,
                   const std::vector<std::string>& extraEnv = {})
  {
    // Runs may overlap: each has its own output files.
    const std::string n = std::to_string(++m_nRuns);
    const std::string out = m_sDir + "/stdout" + n, err = m_sDir + "/stderr" + n;
    ProgramRun run;
    ClChildProcess p;
    if (!Launch(p, args, config, out, err, extraEnv))
      return run;
    const pid_t pid = p.Pid();
    run.nStatus = p.Wait(240, [&] {
      if (pfnDuring)
        pfnDuring(pid, ReadText(out));
    });
    run.sOut = ReadText(out);
    run.sErr = ReadText(err);
    return run;
  }

  pt::ptree Json(const std::string& name)
  {
    pt::ptree tree;
    pt::read_json(m_sDir + "/out/" + name, tree);
    return tree;
  }

  std::string Out() const { return m_sDir + "/out"; }

  std::atomic<int> m_nRuns{0};
};

// One device with the given script; rolls want frames at a realistic pace.
std::string Script(const std::string& steps, const std::string& extra = "")
{
  return R"({"frame_interval_ms": 20, "devices": [{"loop": false, )" + extra + R"("script": [)" +
         steps + "]}]}";
}

// A finger laid down and lifted, then a slow roll.
const char* const szPlainThenRoll = R"({"empty": 6}, {"place": 5}, {"still": 25}, {"lift": 4},
    {"empty": 6}, {"roll": 60, "from_x": 300, "to_x": 500}, {"lift": 4}, {"empty": 30})";

class Lskx2Demo : public Lskx2Program
{
protected:
  void ExpectPicturesAndFigures(const ProgramRun& run)
  {
    ASSERT_EQ(run.nStatus, 0) << run.sOut << run.sErr;
    for (const char* name : {"plain_1", "roll_1"}) {
      PngFile png;
      ASSERT_TRUE(png.Read(Out() + "/" + name + ".png")) << name;
      EXPECT_EQ(png.nWidth, 800u);
      EXPECT_EQ(png.nHeight, 750u);
      EXPECT_EQ(png.nChannels, 1u);
      EXPECT_EQ(std::lround(png.nPpmX * 0.0254), 500);
      EXPECT_EQ(std::lround(png.nPpmY * 0.0254), 500);
    }
    pt::ptree roll = Json("roll_1.json");
    EXPECT_EQ(roll.get<int>("result_code"), 0);
    EXPECT_EQ(roll.get<std::string>("scanner_data.KX2.ROLLFINGER.RETURNCODE"), "0");
    EXPECT_EQ(Json("plain_1.json").get<std::string>("finger"), "true");
    EXPECT_NE(run.sOut.find("report.html"), std::string::npos);
  }
};

TEST_F(Lskx2Demo, WritesPicturesFiguresAndReport)
{
  ProgramRun run = Start({"demo", "--out", Out(), "--timeout", "300"}, Script(szPlainThenRoll));
  ExpectPicturesAndFigures(run);
  // The browser shows both pictures: ridges alternate dark and light across each one.
  PngFile shot;
  ASSERT_TRUE(Screenshot(Out() + "/report.html", m_sDir, &shot));
  EXPECT_EQ(shot.nWidth, static_cast<uint32_t>(nWindowWidth));
  EXPECT_EQ(shot.nHeight, static_cast<uint32_t>(nWindowHeight));
  for (int k = 0; k < 2; ++k) {
    int dark = 0, light = 0;
    const uint32_t cx = ClReportLayout::nPictureLeft + ClReportLayout::nPictureWidth / 2;
    const uint32_t cy = ClReportLayout::nHeaderHeight + k * ClReportLayout::nRowHeight +
                        ClReportLayout::nRowPadding + ClReportLayout::nPictureHeight / 2;
    for (uint32_t x = cx - 40; x < cx + 40; ++x) {
      dark += shot.At(x, cy)[0] < 100;
      light += shot.At(x, cy)[0] > 160;
    }
    EXPECT_GT(dark, 10) << k;
    EXPECT_GT(light, 10) << k;
  }
}

// The simulator's built-in script, as scripts/run.sh uses it.
TEST_F(Lskx2Demo, BuiltInScript) { ExpectPicturesAndFigures(Start({"demo", "--out", Out()}, "")); }

// A fresh process on the built-in script meets the flat finger first: it is asked to roll,
// lifted unrolled, and the roll starts again for the real one.
TEST_F(Lskx2Program, FirstRollOfTheBuiltInScriptIsGood)
{
  for (std::vector<std::string> args :
       {std::vector<std::string>{"roll"}, std::vector<std::string>{"capture", "--mode", "roll"}}) {
    args.insert(args.end(), {"--out", Out()});
    ProgramRun run = Start(args, "");
    EXPECT_EQ(run.nStatus, 0) << run.sOut << run.sErr;
    EXPECT_EQ(Json("roll_1.json").get<int>("result_code"), 0);
    size_t place = run.sOut.find("place the finger and hold it still");
    EXPECT_NE(run.sOut.find("roll now", place), std::string::npos) << run.sOut;
  }
}

// A finger still lying on the platen as the roll starts is asked away, not rolled.
TEST_F(Lskx2Program, FingerOnThePlatenIsAskedAwayFirst)
{
  ProgramRun run = Start({"roll", "--out", Out(), "--timeout", "60"},
                         Script(R"({"place": 3}, {"still": 30}, {"lift": 4}, {"empty": 6},
                                   {"roll": 60, "from_x": 300, "to_x": 500, "settle": 8},
                                   {"lift": 4}, {"empty": 30})"));
  EXPECT_EQ(run.nStatus, 0) << run.sOut << run.sErr;
  size_t lift = run.sOut.find("lift the finger");
  ASSERT_NE(lift, std::string::npos) << run.sOut;
  EXPECT_NE(run.sOut.find("place the finger", lift), std::string::npos) << run.sOut;
}

// The other modes give their image without a roll or a finger wait of their own.
TEST_F(Lskx2Program, EveryModeWritesItsImage)
{
  for (const char* mode : {"single", "triggered", "preview", "liveness"}) {
    ProgramRun run = Start({"capture", "--mode", mode, "--preview-frames", "8", "--out", Out()},
                           Script(R"({"place": 3}, {"still": 200})"));
    EXPECT_EQ(run.nStatus, 0) << mode << run.sOut << run.sErr;
    PngFile png;
    EXPECT_TRUE(png.Read(Out() + "/" + mode + "_1.png")) << mode;
    EXPECT_EQ(png.nWidth, 800u) << mode;
    EXPECT_EQ(Json(std::string(mode) + "_1.json").get<std::string>("mode"), mode);
  }
}

// Rolls that end without a result wait out the time-out, then report the roll's own code
// and what to do.
TEST_F(Lskx2Program, RollWithoutResultReportsItsOwnCode)
{
  struct
  {
    const char* szSteps;
    int nCode;
    const char* szAdvice;
  } cases[] = {
      {R"({"empty": 6}, {"roll": 8, "from_x": 250, "to_x": 550}, {"lift": 4}, {"empty": 9000})",
       -802, "roll slower"},
      {R"({"empty": 6}, {"place": 5}, {"still": 25}, {"lift": 4}, {"empty": 9000})", -805,
       "lifted without rolling"},
      {R"({"empty": 9000})", -15, "no roll ended in time"},
  };
  // The simulator's first frames grow its finger textures: seconds in a sanitizer build.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  const char* szTimeout = "15";
#else
  const char* szTimeout = "3";
#endif
  for (const auto& c : cases) {
    ProgramRun run = Start({"roll", "--out", Out(), "--timeout", szTimeout}, Script(c.szSteps));
    EXPECT_EQ(run.nStatus, -c.nCode & 0xff) << run.sOut << run.sErr;
    pt::ptree json = Json("roll_1.json");
    EXPECT_EQ(json.get<int>("result_code"), c.nCode);
    EXPECT_NE(json.get<std::string>("advice").find(c.szAdvice), std::string::npos);
    EXPECT_NE(run.sErr.find(c.szAdvice), std::string::npos) << run.sErr;
  }
}

// Waits for the roll processor to find a roll back over unrolled skin; the finger rests
// until its contact has grown.
TEST_F(Lskx2Program, BackwardsRollEndsWithItsCode)
{
  ProgramRun run = Start({"roll", "--out", Out(), "--timeout", "300"},
                         Script(R"({"empty": 6}, {"roll": 50, "path": [400, 580, 240], "settle": 8},
                                   {"lift": 4}, {"empty": 20})"));
  EXPECT_EQ(run.nStatus, 803 & 0xff) << run.sOut << run.sErr;
  EXPECT_EQ(Json("roll_1.json").get<int>("result_code"), -803);
  EXPECT_NE(run.sErr.find("-803 Finger has been rolled backwards"), std::string::npos);
}

TEST_F(Lskx2Program, DisconnectEndsTheCaptureWithItsText)
{
  ProgramRun run = Start({"capture", "--out", Out()},
                         Script(R"({"empty": 30})", R"("faults": [{"disconnect_at_frame": 8}], )"));
  EXPECT_EQ(run.nStatus, 60) << run.sOut << run.sErr;
  pt::ptree json = Json("plain_1.json");
  EXPECT_EQ(json.get<int>("result_code"), -60);
  EXPECT_EQ(json.get<std::string>("result_text"),
            "Function call failed, because assigned device was disconnected.");
  EXPECT_NE(run.sErr.find("-60 Function call failed"), std::string::npos);
  EXPECT_TRUE(ReadText(Out() + "/report.html").find("plain_1") != std::string::npos);
}

TEST_F(Lskx2Program, MissingScannersAreNamed)
{
  ProgramRun unknown = Start({"capture", "--scanner", "KX2 99999999", "--out", Out()}, "");
  EXPECT_EQ(unknown.nStatus, 44);
  EXPECT_NE(unknown.sErr.find("-44"), std::string::npos);
  EXPECT_NE(unknown.sErr.find("KX2 21234567"), std::string::npos); // what is attached
  ProgramRun none = Start({"demo", "--out", Out()}, R"({"devices": []})");
  EXPECT_EQ(none.nStatus, 1);
  EXPECT_NE(none.sErr.find("no scanner attached"), std::string::npos);
}

// What goes wrong before any capture says what to do, with a status of its own.
TEST_F(Lskx2Program, ProblemsSayWhatToDo)
{
  std::ofstream(m_sDir + "/file") << "x";
  struct
  {
    std::vector<std::string> args;
    int nStatus;
    const char* szText;
  } cases[] = {
      {{"capture", "--property", "nNoSuch=1"}, 206, "nMaskSensitivity (0 to 5)"},
      {{"capture", "--scanner-data", m_sDir + "/none.json"}, 3, "cannot read the scanner data"},
      {{"capture", "--out", m_sDir + "/file/out"}, 3, "cannot create"},
      {{"info", "--check", "abc"}, 44, "-44"},
      {{"capture", "--mask-sensitivity", "6"}, 2, "from 0 to 5"},
  };
  for (const auto& c : cases) {
    ProgramRun run = Start(c.args, "");
    EXPECT_EQ(run.nStatus, c.nStatus) << c.args[1];
    EXPECT_NE((run.sOut + run.sErr).find(c.szText), std::string::npos) << run.sOut << run.sErr;
  }
}

TEST_F(Lskx2Program, MissingDeviceLibraryIsNamed)
{
  // The SDK library beside a program without the simulator: the loader finds no device.
  namespace fs = std::filesystem;
  const std::string bin = std::getenv("LSKX2_BIN_DIR") ? std::getenv("LSKX2_BIN_DIR") : ".";
  fs::create_directory(m_sDir + "/alone");
  for (const char* f : {"lskx2", "liblivescannerkx2.so.1"})
    fs::copy_file(bin + "/" + f, m_sDir + "/alone/" + f);
  setenv("LSKX2_BIN_DIR", (m_sDir + "/alone").c_str(), 1);
  ProgramRun run = Start({"list"}, "");
  setenv("LSKX2_BIN_DIR", bin.c_str(), 1);
  EXPECT_EQ(run.nStatus, 1);
  EXPECT_NE(run.sErr.find("libkxScanAPI.so"), std::string::npos) << run.sErr;
  EXPECT_NE(run.sErr.find("livescannerkx2-sim lskx2 list"), std::string::npos) << run.sErr;
}

TEST_F(Lskx2Program, ScannerInUseSaysSo)
{
  std::atomic<bool> bHeld{false};
  std::thread holder([&] {
    Start({"capture", "--out", m_sDir + "/held", "--timeout", "20"}, Script(R"({"empty": 9000})"),
          [&](pid_t pid, const std::string& out) {
            if (bHeld)
              kill(pid, SIGINT);
            else if (out.find("finger: none") != std::string::npos) {
              ProgramRun second = Start({"capture", "--out", Out()}, "");
              EXPECT_EQ(second.nStatus, 61);
              EXPECT_NE(second.sErr.find("another program holds the scanner"), std::string::npos)
                  << second.sErr;
              bHeld = true;
            }
          });
  });
  holder.join();
  EXPECT_TRUE(bHeld);
}

// A second run into the same folder leaves only its own files; the report names the run.
TEST_F(Lskx2Program, RerunLeavesNoStaleFiles)
{
  const std::string still = Script(R"({"place": 3}, {"still": 200})");
  Start({"capture", "--mode", "single", "--count", "2", "--out", Out()}, still);
  ProgramRun run = Start({"capture", "--mode", "single", "--out", Out()}, still);
  EXPECT_EQ(run.nStatus, 0) << run.sErr;
  EXPECT_TRUE(std::filesystem::exists(Out() + "/single_1.png"));
  EXPECT_FALSE(std::filesystem::exists(Out() + "/single_2.png"));
  EXPECT_FALSE(std::filesystem::exists(Out() + "/single_2.json"));
  const std::string report = ReadText(Out() + "/report.html");
  for (const char* text : {"SDK 1.8.1", "KX2 21234567", "single_1", "20"})
    EXPECT_NE(report.find(text), std::string::npos) << text;
  // An empty platen is said to be empty.
  ProgramRun empty =
      Start({"capture", "--mode", "triggered", "--out", Out()}, Script(R"({"empty": 9000})"));
  EXPECT_NE(empty.sOut.find("no finger was seen"), std::string::npos) << empty.sOut;
}

TEST_F(Lskx2Program, InterruptClosesTheScanner)
{
  bool bSent = false;
  ProgramRun run = Start({"capture", "--out", Out()}, Script(R"({"empty": 1000})"),
                         [&](pid_t pid, const std::string& out) {
                           if (!bSent && out.find("finger: none") != std::string::npos) {
                             kill(pid, SIGINT);
                             bSent = true;
                           }
                         },
                         {"VELTRANO_SDK_LOG=1"}); // the log shows the closing calls

  EXPECT_TRUE(bSent);
  EXPECT_EQ(run.nStatus, 130) << run.sOut << run.sErr;
  EXPECT_NE(run.sErr.find("scanner closed"), std::string::npos);
  size_t close = run.sOut.find("LS_KX2CloseScanner Leave");
  EXPECT_NE(close, std::string::npos);
  EXPECT_NE(run.sOut.find("LS_KX2Uninitialize(void) Leave", close), std::string::npos);
}

} // namespace
