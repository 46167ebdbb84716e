// Cost of one simulated frame: the empty platen, a finger held flat, and a roll patch, at
// the normal size (800 by 750, dose 2) and the raw size (1600 by 1500, dose 9), with the
// default realism (distortion, uneven light), and a dry finger with creases. Texture
// growth, which happens once per finger, is measured apart.
#include "simulator/SimRender.h"
#include "simulator/render/FingerTexture.h"

#include <benchmark/benchmark.h>

using namespace kxsim;

namespace {

ClScene Scene(EContact eContact)
{
  ClScene s;
  s.dResidue = 0.3;
  s.eContact = eContact;
  s.finger.nSeed = 7;
  s.dRollFromX = 220;
  s.dRollToX = 580;
  s.dPatchX = 400;
  s.dRollSpeed = 10; // rolling at a normal pace: the skin stretches
  return s;
}

void RenderFrame(benchmark::State& state, EContact eContact, bool bRaw, bool bDry = false)
{
  const int w = bRaw ? kRawWidth : kNormalWidth, h = bRaw ? kRawHeight : kNormalHeight;
  ClFrameRenderer renderer(kNormalWidth, kNormalHeight);
  ClScene scene = Scene(eContact);
  if (bDry) {
    scene.finger = FingerPreset("dry", scene.finger);
    scene.finger.nCreases = 3;
  }
  std::vector<uint8_t> out(size_t(w) * size_t(h));
  renderer.Render(scene, w, h, bRaw ? kRawDose : kNormalDose, 0, EOrientation::eDevice,
                  out.data()); // warm caches
  uint64_t frame = 0;
  for (auto _ : state) {
    renderer.Render(scene, w, h, bRaw ? kRawDose : kNormalDose, ++frame, EOrientation::eDevice,
                    out.data());
    benchmark::DoNotOptimize(out.data());
  }
  state.SetItemsProcessed(int64_t(state.iterations()));
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(out.size()));
}

void BM_EmptyNormal(benchmark::State& s) { RenderFrame(s, EContact::eNone, false); }
void BM_EmptyRaw(benchmark::State& s) { RenderFrame(s, EContact::eNone, true); }
void BM_FlatFingerNormal(benchmark::State& s) { RenderFrame(s, EContact::eFlat, false); }
void BM_FlatFingerRaw(benchmark::State& s) { RenderFrame(s, EContact::eFlat, true); }
void BM_RollPatchNormal(benchmark::State& s) { RenderFrame(s, EContact::eRoll, false); }
void BM_RollPatchRaw(benchmark::State& s) { RenderFrame(s, EContact::eRoll, true); }
void BM_DryCreasedRaw(benchmark::State& s) { RenderFrame(s, EContact::eFlat, true, true); }

// The capture engine's pattern with a firm finger: a raw frame, then a normal one, each time.
void BM_RawThenNormal(benchmark::State& state)
{
  ClFrameRenderer renderer(kNormalWidth, kNormalHeight);
  const ClScene scene = Scene(EContact::eFlat);
  std::vector<uint8_t> raw(size_t(kRawWidth) * kRawHeight),
      normal(size_t(kNormalWidth) * kNormalHeight);
  uint64_t frame = 0;
  for (auto _ : state) {
    renderer.Render(scene, kRawWidth, kRawHeight, kRawDose, ++frame, EOrientation::eDevice,
                    raw.data());
    renderer.Render(scene, kNormalWidth, kNormalHeight, kNormalDose, frame, EOrientation::eDevice,
                    normal.data());
    benchmark::DoNotOptimize(normal.data());
  }
}

void BM_TextureGrowth(benchmark::State& state)
{
  uint32_t seed = 1000;
  for (auto _ : state) {
    ClFingerTexture t(++seed, EPattern::eAuto);
    benchmark::DoNotOptimize(t.Ridges(true));
  }
}

} // namespace

BENCHMARK(BM_EmptyNormal)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EmptyRaw)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FlatFingerNormal)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FlatFingerRaw)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RollPatchNormal)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RollPatchRaw)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DryCreasedRaw)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RawThenNormal)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TextureGrowth)->Unit(benchmark::kMillisecond)->Iterations(5);

BENCHMARK_MAIN();
