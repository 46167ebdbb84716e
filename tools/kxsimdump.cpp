// Dumps frames of a simulated scanner, and the ground truth of its script, as PNG files,
// so that a person can look at what the simulator produces. Each roll gives its undistorted
// print (roll_truth), the mask of touched skin (roll_mask) and the print as the frames
// showed it at their centre lines (roll_seen).
//
//   kxsimdump [-c config.json] [-i interface] [-f first] [-n count] [-s step]
//             [--raw] [--device-order] [--no-truth] [-o folder]
//
// Without -c it shows the built-in scanner and its demo script; without -n one pass of
// the script. Frames are shown as the SDK shows them (rows flipped) unless --device-order.
#include "tools/PngWriter.h"
#include "simulator/SimRender.h"
#include "simulator/device/SimConfig.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/stat.h>

using namespace kxsim;

namespace {

bool WriteGrey(const std::string& path, const ClGreyImage& img)
{
  std::string error;
  if (!WritePng(path, img.aPixels.data(), uint32_t(img.nWidth), uint32_t(img.nHeight),
                size_t(img.nWidth), EPngColour::eGrey, 0, &error)) {
    std::fprintf(stderr, "kxsimdump: cannot write %s\n", error.c_str());
    return false;
  }
  return true;
}

int Usage()
{
  std::fprintf(stderr,
               "usage: kxsimdump [-c config.json] [-i interface] [-f first] [-n count] [-s step]\n"
               "                 [--raw] [--device-order] [--no-truth] [-o folder]\n");
  return 2;
}

} // namespace

int main(int argc, char** argv)
{
  std::string config, out = "kxsimdump-out";
  int iface = -1, step = 1;
  long long first = 0, count = -1;
  bool raw = false, truth = true;
  EOrientation orientation = EOrientation::eDisplay;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    auto value = [&]() -> const char* { return i + 1 < argc ? argv[++i] : nullptr; };
    const char* v = nullptr;
    if (a == "-c" && (v = value()))
      config = v;
    else if (a == "-o" && (v = value()))
      out = v;
    else if (a == "-i" && (v = value()))
      iface = std::atoi(v);
    else if (a == "-f" && (v = value()))
      first = std::atoll(v);
    else if (a == "-n" && (v = value()))
      count = std::atoll(v);
    else if (a == "-s" && (v = value()))
      step = std::max(1, std::atoi(v));
    else if (a == "--raw")
      raw = true;
    else if (a == "--device-order")
      orientation = EOrientation::eDevice;
    else if (a == "--no-truth")
      truth = false;
    else
      return Usage();
  }

  ClSimConfig cfg;
  try {
    if (config.empty()) {
      cfg = DefaultConfig({{10, 0, 0, 1}});
    } else {
      std::ifstream in(config, std::ios::binary);
      if (!in) {
        std::fprintf(stderr, "kxsimdump: cannot read %s\n", config.c_str());
        return 1;
      }
      std::ostringstream s;
      s << in.rdbuf();
      cfg = ParseConfig(s.str(), config, {{10, 0, 0, 1}});
    }
  } catch (const ClSimConfigError& e) {
    std::fprintf(stderr, "kxsimdump: %s\n", e.what());
    return 1;
  }
  const ClDeviceConfig* dev = nullptr;
  for (const ClDeviceConfig& d : cfg.aDevices)
    if (iface < 0 || d.nInterface == iface) {
      dev = &d;
      break;
    }
  if (!dev) {
    std::fprintf(stderr, "kxsimdump: no device%s in the configuration\n",
                 iface < 0 ? "" : " on that interface");
    return 1;
  }
  if (mkdir(out.c_str(), 0777) != 0 && errno != EEXIST) {
    std::fprintf(stderr, "kxsimdump: cannot create %s: %s\n", out.c_str(), std::strerror(errno));
    return 1;
  }

  ClSimulator sim(dev->script, dev->nNormalWidth, dev->nNormalHeight, dev->nRawWidth,
                  dev->nRawHeight, dev->nPlatenSeed);
  if (count < 0)
    count = sim.FrameCount();
  int written = 0;
  for (long long n = first; n < first + count; n += step) {
    const ClGreyImage img = sim.Frame(uint64_t(n), raw, -1, orientation);
    char name[64];
    std::snprintf(name, sizeof name, "/frame_%05lld.png", n);
    if (!WriteGrey(out + name, img))
      return 1;
    ++written;
  }
  if (truth) {
    ClGreyImage image, mask;
    for (int k = 0; sim.RollTruth(k, orientation, image, mask); ++k) {
      if (!WriteGrey(out + "/roll_truth_" + std::to_string(k) + ".png", image) ||
          !WriteGrey(out + "/roll_mask_" + std::to_string(k) + ".png", mask) ||
          !sim.RollTruth(k, orientation, image, mask, kNormalDose, true) ||
          !WriteGrey(out + "/roll_seen_" + std::to_string(k) + ".png", image))
        return 1;
      written += 3;
    }
    for (int k = 0; sim.PlainTruth(k, orientation, image, mask); ++k) {
      if (!WriteGrey(out + "/plain_truth_" + std::to_string(k) + ".png", image) ||
          !WriteGrey(out + "/plain_mask_" + std::to_string(k) + ".png", mask))
        return 1;
      written += 2;
    }
  }
  std::printf("kxsimdump: %d pictures in %s\n", written, out.c_str());
  return 0;
}
