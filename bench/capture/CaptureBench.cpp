// Cost of the capture engine per frame: the preview path of plain mode (raw frame to the
// judged, masked preview), the roll path (normal frame to the masked composite), the
// latency from a trigger to its preview, and how long a mode change takes while the
// workers wait for frames. Frames come from the simulator.
#include "capture/KX2FrameJudge.h"
#include "capture/KX2FramePrep.h"
#include "capture/KX2PreviewMask.h"
#include "capture/KX2LiveCaptureR2.h"
#include "device/RDKX2ScanAPIWrapper.h"
#include "masks/IpKX10MaskR2.h"
#include "roll/IpAutoRoll5.h"
#include "simulator/SimRender.h"
#include "simulator/kxsim.h"

#include <benchmark/benchmark.h>

#include <dlfcn.h>

#include <chrono>
#include <cstring>
#include <vector>

namespace {

void ToImage(const kxsim::ClGreyImage& grey, int w, int h, ClImage& image)
{
  image.Create(eUInt8, w, h, 1, 19685, 19685);
  for (int y = 0; y < h; ++y)
    std::memcpy(image.Data() + y * image.LineElements(), grey.Row(y), size_t(w));
}

// Raw frame of a still finger, through preparation, mask and judgement.
void BM_PreviewPath(benchmark::State& state)
{
  kxsim::ClFinger f;
  ClImage raw, flipped, masked, older;
  ToImage(kxsim::RenderPlacedFinger(f, 0.1, 1600, 1500, 9), 1600, 1500, raw);
  ClKX2FramePrep prep;
  ClKX2PreviewMask mask;
  prep.Run(raw, older);
  for (auto _ : state) {
    prep.Run(raw, flipped);
    mask.Run(flipped, masked, false, 3);
    const int32_t nArea = ClKX2FrameJudge::FingerArea(masked);
    benchmark::DoNotOptimize(
        ClKX2FrameJudge::Judge(nArea, ClKX2FrameJudge::Motion(older, flipped), false));
  }
}
BENCHMARK(BM_PreviewPath)->Unit(benchmark::kMillisecond);

// The preparation alone: 3 by 3 mean, halving, flip.
void BM_PreviewPrep(benchmark::State& state)
{
  kxsim::ClFinger f;
  ClImage raw, flipped;
  ToImage(kxsim::RenderPlacedFinger(f, 0.1, 1600, 1500, 9), 1600, 1500, raw);
  ClKX2FramePrep prep;
  for (auto _ : state)
    prep.Run(raw, flipped);
}
BENCHMARK(BM_PreviewPrep)->Unit(benchmark::kMillisecond);

// Normal frames of a whole roll, flipped, rolled and masked with high precision.
void BM_RollPath(benchmark::State& state)
{
  kxsim::ClFinger f;
  kxsim::ClRollMotion r;
  r.aPath = {300, 500};
  kxsim::ClSimulator sim(kxsim::MakeRollScript(f, r, 60));
  std::vector<ClImage> frames(size_t(sim.FrameCount()));
  for (size_t n = 0; n < frames.size(); ++n)
    ToImage(sim.Frame(n), 800, 750, frames[n]);
  ClIpAutoRoll5 roll;
  roll.SetSettleFrames(2);
  ClIpKX10MaskR2 mask(true);
  ClImage frame, composite, result;
  size_t n = 0;
  for (auto _ : state) {
    KX2FlipRows(frames[n], frame);
    roll.m_pInImage = &frame;
    roll.m_pOutImage = &composite;
    roll.Run();
    mask.Compute(&composite, &result, 500, 1.0);
    if (++n == frames.size()) {
      n = 0;
      roll.Reset();
    }
  }
}
BENCHMARK(BM_RollPath)->Unit(benchmark::kMillisecond);

// An engine on the simulated scanner, frames unpaced.
struct StEngine
{
  ClRDKX2ScanAPIWrapper scanner;
  ClKX2LiveCaptureR2* pEngine = nullptr;
  StEngine()
  {
    scanner.Open(0);
    if (void* h = dlopen("libkxScanAPI.so", RTLD_NOW | RTLD_NOLOAD))
      reinterpret_cast<KXSIM_SETFRAMEINTERVAL>(dlsym(h, "kxsimSetFrameInterval"))(0);
    pEngine = new ClKX2LiveCaptureR2();
    pEngine->SetDevice(&scanner);
  }
  ~StEngine()
  {
    delete pEngine;
    scanner.Close();
  }
};

// From the trigger's return to the preview of that frame, in plain mode.
void BM_TriggerToPreview(benchmark::State& state)
{
  StEngine e;
  e.pEngine->SetCaptureMode(3);
  ClImage preview;
  uint32_t nStatus;
  double dScore;
  for (auto _ : state) {
    e.pEngine->Trigger();
    const auto t0 = std::chrono::steady_clock::now();
    e.pEngine->GetPreviewImage(preview, &nStatus, &dScore);
    state.SetIterationTime(
        std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count());
  }
}
BENCHMARK(BM_TriggerToPreview)->UseManualTime()->Unit(benchmark::kMillisecond);

// A mode change while the workers of the old mode wait for frames: stop, set-up, start.
void BM_ModeChangeWhileWaiting(benchmark::State& state)
{
  StEngine e;
  const int32_t modes[] = {3, 6, 4, 5};
  size_t n = 0;
  for (auto _ : state)
    e.pEngine->SetCaptureMode(modes[n++ % 4]);
}
BENCHMARK(BM_ModeChangeWhileWaiting)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
