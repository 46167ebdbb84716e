// Cost of the roll processor on scanner-sized frames (800 by 750) of a scripted roll:
// the frames merged while rolling (mean and worst, split into detection, contour and
// merge) and the frame that ends the roll (the checks and the shift areas), in processor
// time of the calling thread. The registered merge runs on a finger with stretching skin,
// beside the exact merge on the same frames.
#include "roll/IpAutoRoll5.h"
#include "tests/roll/RollScripts.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <time.h>

namespace {

// Processor time of this thread: the machine may be shared, the aim is per core.
double ThreadSeconds()
{
  timespec t;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

const rolltest::FrameList& Frames(bool bRealistic)
{
  auto make = [](bool bReal) {
    rolltest::StRollCase c = rolltest::GoodRolls()[0];
    if (bReal)
      c = rolltest::Realistic(c);
    kxsim::ClSimulator sim(rolltest::Script(c));
    return rolltest::Frames(c, sim);
  };
  static const rolltest::FrameList s_aRigid = make(false), s_aRealistic = make(true);
  return bRealistic ? s_aRealistic : s_aRigid;
}

// One whole roll per iteration; the manual time is the mean of the chosen frames.
void RunRolls(benchmark::State& state, bool bFinalFrame, int32_t nMergeMode = 0,
              bool bRealistic = false)
{
  const rolltest::FrameList& aFrames = Frames(bRealistic);
  rolltest::ClRollRun run;
  run.m_Roll.SetMergeMode(nMergeMode);
  run.m_Roll.SetShiftAreaActivation(1);
  ClIpAutoRoll5::StPhaseTimes times;
  double dWorst = 0.0, dSum = 0.0;
  int64_t nFrames = 0;
  for (auto _ : state) {
    run.m_Roll.Reset();
    double dIteration = 0.0;
    int64_t nIteration = 0;
    for (const auto& pFrame : aFrames) {
      const int32_t nBefore = run.m_Roll.GetState();
      ClIpAutoRoll5::StPhaseTimes frameTimes;
      frameTimes.pfnSeconds = ThreadSeconds;
      run.m_Roll.SetPhaseTimes(&frameTimes);
      const double t0 = ThreadSeconds();
      const int32_t nAfter = run.Feed(*pFrame);
      const double d = ThreadSeconds() - t0;
      const bool bChosen =
          bFinalFrame ? (nBefore == ClIpAutoRoll5::eRolling && nAfter == ClIpAutoRoll5::eFinished)
                      : (nBefore == ClIpAutoRoll5::eRolling && nAfter == ClIpAutoRoll5::eRolling);
      if (!bChosen)
        continue;
      dIteration += d;
      ++nIteration;
      dWorst = std::max(dWorst, d);
      times.dDetect += frameTimes.dDetect;
      times.dContour += frameTimes.dContour;
      times.dMerge += frameTimes.dMerge;
      times.dChecks += frameTimes.dChecks;
    }
    state.SetIterationTime(nIteration ? dIteration / nIteration : 0.0);
    dSum += dIteration;
    nFrames += nIteration;
  }
  run.m_Roll.SetPhaseTimes(nullptr);
  const double n = nFrames ? double(nFrames) : 1.0;
  state.counters["mean_ms"] = dSum / n * 1e3;
  state.counters["worst_ms"] = dWorst * 1e3;
  state.counters["detect_ms"] = times.dDetect / n * 1e3;
  state.counters["contour_ms"] = times.dContour / n * 1e3;
  state.counters[bFinalFrame ? "checks_ms" : "merge_ms"] =
      (bFinalFrame ? times.dChecks : times.dMerge) / n * 1e3;
  state.counters["frames"] = double(nFrames);
}

void BM_RollMergingFrame(benchmark::State& state) { RunRolls(state, false); }
void BM_RollFinalFrame(benchmark::State& state) { RunRolls(state, true); }
void BM_RollMergingFrameStretchedExact(benchmark::State& state)
{
  RunRolls(state, false, ClIpAutoRoll5::eMergeExact, true);
}
void BM_RollMergingFrameStretchedRegistered(benchmark::State& state)
{
  RunRolls(state, false, ClIpAutoRoll5::eMergeRegistered, true);
}

} // namespace

BENCHMARK(BM_RollMergingFrame)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(BM_RollFinalFrame)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(BM_RollMergingFrameStretchedExact)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(10);
BENCHMARK(BM_RollMergingFrameStretchedRegistered)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(10);
BENCHMARK_MAIN();
