#pragma once
// An engine on the simulated scanner: the simulator's configuration and controls, the
// liveness stub's settings, and a fixture that opens the device and builds the engine.
#include "capture/KX2LiveCaptureR2.h"
#include "device/RDKX2ScanAPIWrapper.h"
#include "device/VeltranoFakeFingerDetectionKX2Wrapper.h"
#include "model/FpImage.h"
#include "tests/common/TestFailure.h"
#include "tests/device/SimControl.h"

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>
#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace pt = boost::property_tree;

inline std::string BinDir() { return LSKX2_TEST_BIN_DIR; }

// The simulator's controls that SimControl leaves out, and the liveness stub's settings.
class ClCaptureSim
{
public:
  static ClCaptureSim& Get()
  {
    static ClCaptureSim s;
    return s;
  }
  void SetFrameInterval(int nMs) { m_Lib.Fn<KXSIM_SETFRAMEINTERVAL>("kxsimSetFrameInterval")(nMs); }
  kxsimFrameInfo FrameInfo(uint64_t nFrame)
  {
    kxsimFrameInfo info = {};
    info.nSize = sizeof(info);
    m_Lib.Fn<KXSIM_GETFRAMEINFO>("kxsimGetFrameInfo")(0, nFrame, &info);
    return info;
  }
  // JSON settings of the stub; null restores its defaults.
  void ConfigureLiveness(const char* szJson)
  {
    if (m_Fd.Fn<KXSIMFD_CONFIGURE>("kxsimfdConfigure")(szJson) != 1)
      throw std::runtime_error("liveness stub refused its settings");
  }

private:
  ClCaptureSim()
    : m_Lib(BinDir() + "/libkxScanAPI.so"),
      m_Fd(BinDir() + "/" + ClVeltranoFakeFingerDetectionKX2Wrapper::szLibraryFile)
  {}
  ClLib m_Lib;
  ClLib m_Fd;
};

// A KX2 on interface 0 running the given script steps once (the last frame stays).
inline std::string ScriptConfig(const std::string& sSteps, const std::string& sExtra = "")
{
  return R"({"devices":[{"interface":0,"compatibility":7,"serial":"21234567","loop":false,)" +
         (sExtra.empty() ? std::string() : sExtra + ",") + R"("script":[)" + sSteps + "]}]}";
}

// Waits short enough to keep tests quick, long enough for a loaded machine. Workers keep
// normal priority: on a busy machine an idle worker could take seconds per frame.
inline ClKX2LiveCaptureR2::StTuning TestTuning()
{
  ClKX2LiveCaptureR2::StTuning w;
  w.nWorkerMs = 200;
  w.nPreviewMs = 20000;
  w.nResultMs = 20000;
  w.bLowPriority = false;
  return w;
}

struct StPreview
{
  uint32_t nStatus = 0;
  double dScore = 0.0;
};

class EngineFixture : public ::testing::Test
{
protected:
  // Loads the configuration, opens the scanner and builds the engine with the stub found
  // in szFakeDir (the test binaries' folder when null).
  void Open(const std::string& sConfig, const char* szFakeFile = nullptr,
            const std::string& sFakeDir = "")
  {
    Sim().Load(sConfig);
    ASSERT_TRUE(m_Scanner.Open(0));
    const std::string dir = sFakeDir.empty() ? BinDir() : sFakeDir;
    m_pEngine.reset(new ClKX2LiveCaptureR2(
        dir.c_str(),
        szFakeFile ? szFakeFile : ClVeltranoFakeFingerDetectionKX2Wrapper::szLibraryFile));
    m_pEngine->SetDevice(&m_Scanner);
    m_pEngine->SetTuning(TestTuning());
  }
  void TearDown() override
  {
    m_pEngine.reset();
    m_Scanner.Close();
    ClCaptureSim::Get().ConfigureLiveness(nullptr);
  }
  ClSimControl& Sim() { return ClSimControl::Get(); }
  ClKX2LiveCaptureR2& Engine() { return *m_pEngine; }

  // One trigger and the preview of that frame.
  StPreview Step(ClImage* pImage = nullptr)
  {
    ClImage local;
    StPreview p;
    Engine().Trigger();
    Engine().GetPreviewImage(pImage ? *pImage : local, &p.nStatus, &p.dScore);
    return p;
  }
  // Frames delivered by the device so far.
  uint64_t Frames() { return Sim().State(0).nFrames; }
  // The scanner data document, read and written.
  pt::ptree Document()
  {
    std::stringstream s;
    Engine().GetScannerData(s);
    pt::ptree tree;
    pt::read_json(s, tree);
    return tree;
  }
  void Load(const std::string& sJson)
  {
    std::istringstream s(sJson);
    Engine().SetScannerData(s);
  }
  // What the three image calls throw, if anything.
  StFailure PreviewFailure()
  {
    return FailureOf([&] { Call(&ClKX2LiveCaptureR2::GetPreviewImage); });
  }
  StFailure RollFailure()
  {
    return FailureOf([&] { Call(&ClKX2LiveCaptureR2::GetRollImage); });
  }
  StFailure ImageFailure()
  {
    return FailureOf([&] { Call(&ClKX2LiveCaptureR2::GetImage); });
  }
  void Call(void (ClKX2LiveCaptureR2::*pfn)(ClImage&, uint32_t*, double*))
  {
    ClImage image;
    uint32_t nStatus;
    double dScore;
    (Engine().*pfn)(image, &nStatus, &dScore);
  }

  ClRDKX2ScanAPIWrapper m_Scanner;
  std::unique_ptr<ClKX2LiveCaptureR2> m_pEngine;
};
