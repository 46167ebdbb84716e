// Cost of the processor frame: a whole Run of a trivial processor on a 1x1 image (the
// fixed overhead of checks, dispatch and output preparation), and the 256-entry table
// loop of "uint8" images against OpenCV's cv::LUT on scanner-sized frames.
#include "model/FpImage.h"
#include "imaging/Ip1to1Base.h"
#include "imaging/TpDispatch.h"

#include <benchmark/benchmark.h>
#include <opencv2/core.hpp>

#include <cstdint>

namespace {

// 255 - v through ProcessPixel: the frame builds the table and runs its loop.
class ClIpBenchInvert : public NewIpBase::ClIp1to1Base
{
public:
  ClIpBenchInvert() { AddDataType(eUInt8); }
  ClProcessorBase* Clone() const override { return CloneNew<ClIpBenchInvert>(); }
  const char* GetName() const override { return "ClIpBenchInvert"; }
  double ProcessPixel(ClImage*, ClImage*, double d) override { return 255.0 - d; }
};

// Overrides ProcessImage with a typed kernel behind one dispatch: what operators do.
class ClIpBenchTyped : public ClIpBenchInvert
{
public:
  int32_t ProcessImage(ClImage* pIn, ClImage* pOut) override
  {
    return DispatchType(pIn->DataType(), [&](auto tag) {
      using T = typename decltype(tag)::Type;
      const int32_t nRows = pIn->Height(), nCount = pIn->Width() * int32_t(pIn->Planes());
      const T* pSrc = pIn->Pixels<T>();
      T* pDst = pOut->Pixels<T>();
      for (int32_t y = 0; y < nRows; ++y, pSrc += pIn->LineElements(), pDst += pOut->LineElements())
        for (int32_t x = 0; x < nCount; ++x)
          pDst[x] = pSrc[x];
      return 0;
    });
  }
};

void Ramp(ClImage& img, int32_t w, int32_t h)
{
  img.Create(eUInt8, w, h);
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x)
      img.Data()[y * img.LineBytes() + x] = uint8_t(x * 7 + y * 13);
}

template <class P>
void BM_Run1x1(benchmark::State& state)
{
  ClImage in, out;
  Ramp(in, 1, 1);
  P ip;
  ip.m_pInImage = &in;
  ip.m_pOutImage = &out;
  for (auto _ : state) {
    benchmark::DoNotOptimize(ip.Run());
    benchmark::ClobberMemory();
  }
}
BENCHMARK_TEMPLATE(BM_Run1x1, ClIpBenchInvert)->Name("FrameRun1x1/TableBuild");
BENCHMARK_TEMPLATE(BM_Run1x1, ClIpBenchTyped)->Name("FrameRun1x1/TypedDispatch");

void BM_DispatchOnly(benchmark::State& state)
{
  EDataType eType = eUInt8;
  benchmark::DoNotOptimize(eType);
  for (auto _ : state) {
    int32_t n = DispatchTypes(eType, eType, eType, [](auto a, auto b, auto c) {
      return int32_t(sizeof(typename decltype(a)::Type) + sizeof(typename decltype(b)::Type) +
                     sizeof(typename decltype(c)::Type));
    });
    benchmark::DoNotOptimize(n);
  }
}
BENCHMARK(BM_DispatchOnly)->Name("Dispatch512/Lookup");

void BM_FrameLookUp(benchmark::State& state)
{
  ClImage in, out;
  Ramp(in, int32_t(state.range(0)), int32_t(state.range(1)));
  ClIpBenchInvert ip;
  ip.m_pInImage = &in;
  ip.m_pOutImage = &out;
  for (auto _ : state) {
    benchmark::DoNotOptimize(ip.Run());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * state.range(0) * state.range(1));
}
BENCHMARK(BM_FrameLookUp)->Name("LookUp/Frame")->Args({800, 750})->Args({1600, 1500});

void BM_FrameGenericLoop(benchmark::State& state)
{
  ClImage in, out;
  Ramp(in, int32_t(state.range(0)), int32_t(state.range(1)));
  ClIpBenchInvert ip;
  ip.m_bUseLookUp = false;
  ip.m_pInImage = &in;
  ip.m_pOutImage = &out;
  for (auto _ : state) {
    benchmark::DoNotOptimize(ip.Run());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * state.range(0) * state.range(1));
}
BENCHMARK(BM_FrameGenericLoop)->Name("PerPixelVirtual/Frame")->Args({800, 750});

void BM_CvLut(benchmark::State& state)
{
  cv::Mat in(int(state.range(1)), int(state.range(0)), CV_8UC1), out;
  for (int y = 0; y < in.rows; ++y)
    for (int x = 0; x < in.cols; ++x)
      in.at<uint8_t>(y, x) = uint8_t(x * 7 + y * 13);
  cv::Mat table(1, 256, CV_8UC1);
  for (int i = 0; i < 256; ++i)
    table.at<uint8_t>(i) = uint8_t(255 - i);
  for (auto _ : state) {
    cv::LUT(in, table, out);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * state.range(0) * state.range(1));
}
BENCHMARK(BM_CvLut)->Name("LookUp/cv::LUT")->Args({800, 750})->Args({1600, 1500});

// cv::LUT may spread a large image over threads; one thread compares like with like.
void BM_CvLutOneThread(benchmark::State& state)
{
  int nThreads = cv::getNumThreads();
  cv::setNumThreads(1);
  BM_CvLut(state);
  cv::setNumThreads(nThreads);
}
BENCHMARK(BM_CvLutOneThread)->Name("LookUp/cv::LUT1thread")->Args({800, 750})->Args({1600, 1500});

} // namespace

BENCHMARK_MAIN();
