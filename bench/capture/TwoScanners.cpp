// Processor share of two scanners at once in plain mode, the simulator paced at 33 ms a
// frame: each scanner has a thread of its own that triggers and takes the preview, as an
// application at 30 frames a second does. Prints the process's CPU time over the wall
// time, as a share of one core.
#include "livescannerkx2.h"

#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace {

double CpuSeconds()
{
  rusage u{};
  getrusage(RUSAGE_SELF, &u);
  return double(u.ru_utime.tv_sec + u.ru_stime.tv_sec) +
         double(u.ru_utime.tv_usec + u.ru_stime.tv_usec) * 1e-6;
}

const char* kConfig = R"({ "frame_interval_ms": 33, "devices": [
  { "interface": 0, "serial": "21234567", "script": [ { "empty": 5 },
    { "place": 6, "finger": { "seed": 7, "pressure": 0.8 } }, { "still": 100000 } ] },
  { "interface": 1, "serial": "21234568", "script": [ { "empty": 5 },
    { "place": 6, "finger": { "seed": 9, "pressure": 0.7 } }, { "still": 100000 } ] } ] })";

} // namespace

int main(int argc, char** argv)
{
  const double dSeconds = argc > 1 ? std::atof(argv[1]) : 10.0;
  const std::string path = "/tmp/lskx2_two_scanners.json";
  if (FILE* f = std::fopen(path.c_str(), "w")) {
    std::fputs(kConfig, f);
    std::fclose(f);
  }
  setenv("KXSIM_CONFIG", path.c_str(), 1);
  if (LS_KX2Initialize(nullptr) != 0)
    return 1;
  char aSerials[2 * 16];
  uint64_t nCount = 2;
  if (LS_KX2QueryScanners(aSerials, &nCount) != 0 || nCount < 2) {
    std::fprintf(stderr, "two scanners expected\n");
    return 1;
  }
  LS_KX2_HANDLE ah[2] = {nullptr, nullptr};
  for (int i = 0; i < 2; ++i)
    if (LS_KX2OpenScanner(aSerials + 16 * i, &ah[i]) != 0 ||
        LS_KX2SetCaptureMode(ah[i], LS_KX2_MODE_PLAIN) != 0) {
      std::fprintf(stderr, "scanner %d does not open\n", i);
      return 1;
    }
  const auto tEnd = std::chrono::steady_clock::now() + std::chrono::duration<double>(dSeconds);
  const double dCpu0 = CpuSeconds();
  const auto t0 = std::chrono::steady_clock::now();
  int aFrames[2] = {0, 0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 2; ++i)
    threads.emplace_back([&, i] {
      std::vector<uint8_t> image(800 * 750);
      double dScore;
      uint8_t nFinger;
      int32_t nStatus;
      while (std::chrono::steady_clock::now() < tEnd) {
        LS_KX2TriggerScanner(ah[i]);
        if (LS_KX2GetPreviewImage(ah[i], image.data(), &dScore, &nFinger, &nStatus) == 0)
          ++aFrames[i];
      }
    });
  for (auto& t : threads)
    t.join();
  const double dWall = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  const double dCpu = CpuSeconds() - dCpu0;
  std::printf("two scanners, %.1f s: %d and %d previews (%.1f and %.1f per second), "
              "CPU %.2f s = %.1f %% of one core\n",
              dWall, aFrames[0], aFrames[1], aFrames[0] / dWall, aFrames[1] / dWall, dCpu,
              100.0 * dCpu / dWall);
  for (auto& h : ah)
    LS_KX2CloseScanner(&h);
  LS_KX2Uninitialize();
  return 0;
}
