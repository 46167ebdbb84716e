// roll_pictures DIR [NAME|SCRIPT.json ...]: runs scripted rolls of the simulator through
// the roll processor and writes, per roll, into DIR/NAME/: the frames, the rolled image,
// the rolled mask, the ground truth, the difference of rolled image and truth, and the
// shift areas drawn in red over the rolled image, as PNG. It prints the result code, the
// fidelity figures and the diagnostics tree as JSON. Without names it runs every scripted
// roll of the tests; a .json argument is a device script (a JSON array of steps) whose
// first roll is taken, with shift areas switched on.
#include "tools/PngWriter.h"
#include "model/FpImage.h"
#include "roll/IpAutoRoll5.h"
#include "simulator/SimRender.h"
#include "tests/roll/RollScripts.h"

#include <boost/property_tree/json_parser.hpp>
#include <sys/stat.h>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

namespace {

bool WriteGrey(const std::string& sPath, const ClImage& image)
{
  return WritePng(sPath, image.Data(), uint32_t(image.Width()), uint32_t(image.Height()),
                  size_t(image.LineElements()), EPngColour::eGrey, 0, nullptr);
}

// The shift polygons' points in red over the rolled image; "Y" counts from the end of
// the rows, as the device delivers them.
bool WriteAreas(const std::string& sPath, const ClImage& rolled,
                const boost::property_tree::ptree& areas)
{
  const int32_t w = rolled.Width(), h = rolled.Height();
  std::vector<uint8_t> aRgb(size_t(w) * h * 3);
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x) {
      uint8_t* p = &aRgb[3 * (size_t(y) * w + x)];
      p[0] = p[1] = p[2] = rolled.Data()[ptrdiff_t(y) * rolled.LineElements() + x];
    }
  for (const auto& area : areas) {
    const bool bShift = area.second.get<int>("LEVEL", 1) == 2;
    for (const auto& point : area.second.get_child("POINTS")) {
      const int32_t x = point.second.get<int>("X"), y = h - point.second.get<int>("Y");
      for (int32_t dy = -1; dy <= 1; ++dy)
        for (int32_t dx = -1; dx <= 1; ++dx) {
          if (x + dx < 0 || x + dx >= w || y + dy < 0 || y + dy >= h)
            continue;
          uint8_t* p = &aRgb[3 * (size_t(y + dy) * w + x + dx)];
          p[0] = 255;
          p[1] = bShift ? 0 : 200;
          p[2] = 0;
        }
    }
  }
  return WritePng(sPath, aRgb.data(), uint32_t(w), uint32_t(h), size_t(w) * 3, EPngColour::eRgb, 0,
                  nullptr);
}

int RunCase(const std::string& sDir, const std::string& sName, const kxsim::ClScript& script,
            const rolltest::StRollCase& c, bool bAreas)
{
  const std::string sOut = sDir + "/" + sName;
  mkdir(sOut.c_str(), 0777);
  kxsim::ClSimulator sim(script);
  rolltest::ClRollRun run(c.nBorderTop);
  run.m_Roll.SetShiftAreaActivation(bAreas ? 1 : 0);
  rolltest::FrameList aFrames = rolltest::Frames(c, sim);
  for (size_t i = 0; i < aFrames.size(); ++i) {
    run.Feed(*aFrames[i]);
    char szName[64];
    std::snprintf(szName, sizeof(szName), "/frame_%03zu.png", i);
    WriteGrey(sOut + szName, *aFrames[i]);
  }
  const int32_t nResult = run.m_Roll.GetResultCode();
  WriteGrey(sOut + "/rolled.png", run.m_Out);
  WriteGrey(sOut + "/rolled_mask.png", run.m_OutMask);
  WriteAreas(sOut + "/shift_areas.png", run.m_Out, run.m_Roll.GetRollShiftAreas());

  kxsim::ClGreyImage truth, mask;
  if (sim.RollTruth(0, kxsim::EOrientation::eDisplay, truth, mask)) {
    ClImage truthImage, diff;
    rolltest::ToImage(truth, truthImage);
    WriteGrey(sOut + "/truth.png", truthImage);
    diff.Create(eUInt8, truth.nWidth, truth.nHeight, 1);
    diff.Fill(static_cast<unsigned char>(0));
    for (int32_t y = 0; y < truth.nHeight && y < run.m_Out.Height(); ++y)
      for (int32_t x = 0; x < truth.nWidth && x < run.m_Out.Width(); ++x)
        if (mask.At(x, y))
          diff.Data()[ptrdiff_t(y) * diff.LineElements() + x] = uint8_t(std::abs(
              int(run.m_Out.Data()[ptrdiff_t(y) * run.m_Out.LineElements() + x]) - truth.At(x, y)));
    WriteGrey(sOut + "/difference.png", diff);
    const rolltest::StFidelity f = rolltest::Compare(run.m_Out, run.m_OutMask, truth, mask);
    std::printf("%s: result %d, correlation %.3f, coverage %.3f\n", sName.c_str(), nResult,
                f.dCorrelation, f.dCoverage);
  } else {
    std::printf("%s: result %d (no ground truth)\n", sName.c_str(), nResult);
  }
  boost::property_tree::ptree diag;
  run.m_Roll.GetDiagnostics(diag);
  boost::property_tree::write_json(std::cout, diag, true);
  return 0;
}

} // namespace

int main(int argc, char** argv)
{
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s DIR [NAME|SCRIPT.json ...]\n", argv[0]);
    return 2;
  }
  const std::string sDir = argv[1];
  mkdir(sDir.c_str(), 0777);
  std::vector<std::string> aNames(argv + 2, argv + argc);
  if (aNames.empty()) {
    for (const auto& c : rolltest::GoodRolls())
      aNames.push_back(c.sName);
    for (const auto& c : rolltest::DefectRolls())
      aNames.push_back(c.sName);
  }
  try {
    for (const std::string& sName : aNames) {
      if (sName.size() > 5 && sName.compare(sName.size() - 5, 5, ".json") == 0) {
        std::ifstream in(sName);
        std::stringstream text;
        text << in.rdbuf();
        kxsim::ClScript script = kxsim::ClScript::FromJson(text.str());
        script.SetLoop(false);
        rolltest::StRollCase c;
        const size_t nSlash = sName.find_last_of('/');
        RunCase(sDir, sName.substr(nSlash == std::string::npos ? 0 : nSlash + 1), script, c, true);
        continue;
      }
      const rolltest::StRollCase* pCase = rolltest::FindRoll(sName);
      if (!pCase) {
        std::fprintf(stderr, "unknown roll %s\n", sName.c_str());
        return 2;
      }
      RunCase(sDir, sName, rolltest::Script(*pCase), *pCase, true);
    }
  } catch (const std::exception& e) {
    std::fprintf(stderr, "%s\n", e.what());
    return 1;
  }
  return 0;
}
