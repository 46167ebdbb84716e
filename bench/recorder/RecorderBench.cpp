// What the recorder costs per frame: the copy the caller's thread pays, and the whole of a
// frame's recording (copy, zstd, the write) as processor time of all threads, which a
// loaded machine does not inflate as it does the wall time; and the bytes a frame takes
// in the file. The argument is the zstd level (the recorder's default is 1). Frames are the simulator's: a finger held flat, the empty platen,
// at the normal size (800 by 750) and the raw size (1600 by 1500).
#include "recorder/RecordFile.h"
#include "simulator/SimRender.h"

#include <benchmark/benchmark.h>

#include <ctime>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

using namespace kxsim;

namespace {

std::vector<uint8_t> Frame(EContact eContact, bool bRaw, uint64_t nFrame)
{
  const int w = bRaw ? kRawWidth : kNormalWidth, h = bRaw ? kRawHeight : kNormalHeight;
  ClFrameRenderer renderer(kNormalWidth, kNormalHeight);
  ClScene s;
  s.dResidue = 0.3;
  s.eContact = eContact;
  s.finger.nSeed = 7;
  std::vector<uint8_t> out(size_t(w) * size_t(h));
  renderer.Render(s, w, h, bRaw ? kRawDose : kNormalDose, nFrame, EOrientation::eDevice,
                  out.data());
  return out;
}

std::string FilePath() { return "/tmp/recorder-bench-" + std::to_string(::getpid()) + ".kxrec"; }

double ProcessCpuSeconds()
{
  timespec t{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return double(t.tv_sec) + 1e-9 * double(t.tv_nsec);
}

uint64_t FileBytes(const std::string& sPath)
{
  struct stat st;
  return ::stat(sPath.c_str(), &st) == 0 ? uint64_t(st.st_size) : 0;
}

// bWait: each frame is compressed and written before the next (the whole cost); else only
// the caller's part is timed, the writer's thread catching up outside the timing.
void Record(benchmark::State& state, EContact eContact, bool bRaw, bool bWait)
{
  // A few different frames, so that the noise differs as from a device.
  std::vector<std::vector<uint8_t>> frames;
  for (uint64_t k = 0; k < 4; ++k)
    frames.push_back(Frame(eContact, bRaw, k));
  const std::string path = FilePath();
  uint64_t stored = 0, n = 0;
  double cpu = 0;
  {
    kxrec::ClRecordWriter writer(path, "{}", int(state.range(0)));
    writer.Flush();
    const uint64_t start = FileBytes(path);
    kxrec::ClCallRecord r;
    r.nEntry = bRaw ? 30 : 14;
    r.nInterface = 0;
    r.nResult = 1;
    const double cpuStart = ProcessCpuSeconds();
    for (auto _ : state) {
      const std::vector<uint8_t>& f = frames[n++ % frames.size()];
      writer.Write(r, f.data(), f.size(), true);
      if (bWait) {
        writer.Flush();
      } else if (n % 8 == 0) {
        state.PauseTiming();
        writer.Flush();
        state.ResumeTiming();
      }
    }
    writer.Flush();
    cpu = ProcessCpuSeconds() - cpuStart;
    stored = FileBytes(path) - start;
  }
  ::unlink(path.c_str());
  state.SetItemsProcessed(int64_t(state.iterations()));
  state.counters["file_bytes_per_frame"] = double(stored) / double(n ? n : 1);
  state.counters["cpu_us_per_frame"] = 1e6 * cpu / double(n ? n : 1);
}

void BM_WholeNormalFinger(benchmark::State& s) { Record(s, EContact::eFlat, false, true); }
void BM_WholeNormalEmpty(benchmark::State& s) { Record(s, EContact::eNone, false, true); }
void BM_WholeRawFinger(benchmark::State& s) { Record(s, EContact::eFlat, true, true); }
void BM_CallerNormalFinger(benchmark::State& s) { Record(s, EContact::eFlat, false, false); }
void BM_CallerRawFinger(benchmark::State& s) { Record(s, EContact::eFlat, true, false); }

} // namespace

BENCHMARK(BM_WholeNormalFinger)
    ->Arg(1)
    ->Arg(-1)
    ->Arg(-3)
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();
BENCHMARK(BM_WholeNormalEmpty)
    ->Arg(1)
    ->Arg(-1)
    ->Arg(-3)
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();
BENCHMARK(BM_WholeRawFinger)
    ->Arg(1)
    ->Arg(-1)
    ->Arg(-3)
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();
BENCHMARK(BM_CallerNormalFinger)->Arg(1)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_CallerRawFinger)->Arg(1)->Unit(benchmark::kMicrosecond)->UseRealTime();

BENCHMARK_MAIN();
