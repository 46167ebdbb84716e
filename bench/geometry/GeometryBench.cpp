// Geometry and region processors on scanner-sized frames beside the nearest OpenCV
// call: each pair runs on the same pixels, so the ratio of their times is the figure.
#include "model/FpImage.h"
#include "imaging/geometry/IpResize.h"
#include "imaging/geometry/IpRescale.h"
#include "imaging/geometry/IpSubsample.h"
#include "imaging/geometry/TpIpFlip.h"
#include "imaging/regions/IpConnectedComponent2.h"
#include "imaging/regions/IpFindContour.h"
#include "imaging/regions/IpLabeling.h"

#include <benchmark/benchmark.h>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <cstring>
#include <random>
#include <vector>

namespace {

void FillRandom(ClImage& image, int32_t nW, int32_t nH, uint32_t nSeed)
{
  image.Create(eUInt8, nW, nH, 1, 19685, 19685);
  std::mt19937 rng(nSeed);
  for (int32_t y = 0; y < nH; ++y)
    for (int32_t x = 0; x < nW; ++x)
      image.Data()[y * image.LineBytes() + x] = static_cast<uint8_t>(rng());
}

// The image's pixels as an OpenCV matrix without a copy.
cv::Mat View(const ClImage& image)
{
  return cv::Mat(image.Height(), image.Width(), CV_8UC1, image.Data(), image.LineBytes());
}

// Blobs of a mask: smoothed noise cut at its middle, objects 0 as the processors want.
// bNoise leaves pure noise at the given density instead, the worst case for labelling.
void FillBinary(ClImage& image, bool bNoise)
{
  FillRandom(image, 800, 750, 7);
  cv::Mat m = View(image);
  if (bNoise) {
    cv::threshold(m, m, 127, 255, cv::THRESH_BINARY);
    return;
  }
  cv::Mat smooth;
  cv::blur(m, smooth, cv::Size(21, 21));
  cv::threshold(smooth, m, 127, 255, cv::THRESH_BINARY);
}

void SetRate(benchmark::State& state, const ClImage& in)
{
  state.SetItemsProcessed(state.iterations() * int64_t(in.Width()) * in.Height());
}

void BM_RescaleNearestHalf(benchmark::State& state)
{
  ClImage in, out;
  FillRandom(in, 1600, 1500, 1);
  ClIpRescale rescale;
  for (auto _ : state)
    benchmark::DoNotOptimize(rescale.Rescale(&in, &out, 800, 750, ClIpRescale::NearestNeighbour));
  SetRate(state, in);
}
BENCHMARK(BM_RescaleNearestHalf);

void BM_CvResizeNearestHalf(benchmark::State& state)
{
  ClImage in;
  FillRandom(in, 1600, 1500, 1);
  cv::Mat src = View(in), dst;
  for (auto _ : state)
    cv::resize(src, dst, cv::Size(800, 750), 0, 0, cv::INTER_NEAREST);
  SetRate(state, in);
}
BENCHMARK(BM_CvResizeNearestHalf);

void BM_RescaleBiLinearHalf(benchmark::State& state)
{
  ClImage in, out;
  FillRandom(in, 1600, 1500, 2);
  ClIpRescale rescale;
  for (auto _ : state)
    benchmark::DoNotOptimize(rescale.Rescale(&in, &out, 800, 750, ClIpRescale::BiLinear));
  SetRate(state, in);
}
BENCHMARK(BM_RescaleBiLinearHalf);

void BM_CvResizeLinearHalf(benchmark::State& state)
{
  ClImage in;
  FillRandom(in, 1600, 1500, 2);
  cv::Mat src = View(in), dst;
  for (auto _ : state)
    cv::resize(src, dst, cv::Size(800, 750), 0, 0, cv::INTER_LINEAR);
  SetRate(state, in);
}
BENCHMARK(BM_CvResizeLinearHalf);

void BM_RescaleBiLinearDouble(benchmark::State& state)
{
  ClImage in, out;
  FillRandom(in, 800, 750, 3);
  ClIpRescale rescale;
  for (auto _ : state)
    benchmark::DoNotOptimize(rescale.Rescale(&in, &out, 1600, 1500, ClIpRescale::BiLinear));
  SetRate(state, out);
}
BENCHMARK(BM_RescaleBiLinearDouble);

void BM_CvResizeLinearDouble(benchmark::State& state)
{
  ClImage in;
  FillRandom(in, 800, 750, 3);
  cv::Mat src = View(in), dst;
  for (auto _ : state)
    cv::resize(src, dst, cv::Size(1600, 1500), 0, 0, cv::INTER_LINEAR);
  state.SetItemsProcessed(state.iterations() * 1600 * 1500);
}
BENCHMARK(BM_CvResizeLinearDouble);

void BM_ResizeByFour(benchmark::State& state)
{
  ClImage in, out;
  FillRandom(in, 200, 188, 4);
  ClIpResize resize;
  resize.m_pInImage = &in;
  resize.m_pOutImage = &out;
  resize.m_nScaleFactor = 4;
  resize.m_nDestWidth = 800;
  resize.m_nDestHeight = 750;
  for (auto _ : state)
    benchmark::DoNotOptimize(resize.Run());
  SetRate(state, out);
}
BENCHMARK(BM_ResizeByFour);

void BM_CvResizeNearestByFour(benchmark::State& state)
{
  ClImage in;
  FillRandom(in, 200, 188, 4);
  cv::Mat src = View(in), dst;
  for (auto _ : state) {
    cv::resize(src, dst, cv::Size(800, 752), 0, 0, cv::INTER_NEAREST);
    benchmark::DoNotOptimize(dst.data);
  }
  state.SetItemsProcessed(state.iterations() * 800 * 750);
}
BENCHMARK(BM_CvResizeNearestByFour);

void BM_SubsampleMeanByFour(benchmark::State& state)
{
  ClImage in, out;
  FillRandom(in, 800, 750, 5);
  ClIpSubsample sub;
  for (auto _ : state)
    benchmark::DoNotOptimize(sub.Subsample(&in, 4, &out, true));
  SetRate(state, in);
}
BENCHMARK(BM_SubsampleMeanByFour);

void BM_CvResizeAreaByFour(benchmark::State& state)
{
  ClImage in;
  FillRandom(in, 800, 750, 5);
  cv::Mat src = View(in), dst;
  for (auto _ : state)
    cv::resize(src, dst, cv::Size(200, 188), 0, 0, cv::INTER_AREA);
  SetRate(state, in);
}
BENCHMARK(BM_CvResizeAreaByFour);

void BM_FlipVertical(benchmark::State& state)
{
  ClImage in, out;
  FillRandom(in, 800, 750, 6);
  ClTpIpFlip<uint8_t, uint8_t> flip;
  flip.m_bFlipX = false;
  flip.m_bFlipY = true;
  flip.m_pInImage = &in;
  flip.m_pOutImage = &out;
  for (auto _ : state)
    benchmark::DoNotOptimize(flip.Process());
  SetRate(state, in);
}
BENCHMARK(BM_FlipVertical);

void BM_CvFlipVertical(benchmark::State& state)
{
  ClImage in;
  FillRandom(in, 800, 750, 6);
  cv::Mat src = View(in), dst;
  for (auto _ : state)
    cv::flip(src, dst, 0);
  SetRate(state, in);
}
BENCHMARK(BM_CvFlipVertical);

void BM_FlipBoth(benchmark::State& state)
{
  ClImage in, out;
  FillRandom(in, 800, 750, 6);
  ClTpIpFlip<uint8_t, uint8_t> flip;
  flip.m_pInImage = &in;
  flip.m_pOutImage = &out;
  for (auto _ : state)
    benchmark::DoNotOptimize(flip.Process());
  SetRate(state, in);
}
BENCHMARK(BM_FlipBoth);

void BM_CvFlipBoth(benchmark::State& state)
{
  ClImage in;
  FillRandom(in, 800, 750, 6);
  cv::Mat src = View(in), dst;
  for (auto _ : state)
    cv::flip(src, dst, -1);
  SetRate(state, in);
}
BENCHMARK(BM_CvFlipBoth);

// Arg 0: blobs, 1: noise.
void BM_Labeling(benchmark::State& state)
{
  ClImage in, out;
  FillBinary(in, state.range(0) != 0);
  ClIpLabeling labeling;
  labeling.m_pInImage = &in;
  labeling.m_pOutImage = &out;
  for (auto _ : state)
    benchmark::DoNotOptimize(labeling.Run());
  state.counters["labels"] = labeling.m_nLabels;
  SetRate(state, in);
}
BENCHMARK(BM_Labeling)->Arg(0)->Arg(1);

void BM_ConnectedComponent2(benchmark::State& state)
{
  ClImage in, labels;
  FillBinary(in, state.range(0) != 0);
  ClIpConnectedComponent2::ComponentsArray_t components;
  ClIpConnectedComponent2 cc;
  cc.m_pInImage = &in;
  cc.m_pOutImage = &labels;
  cc.m_pComponents = &components;
  for (auto _ : state)
    benchmark::DoNotOptimize(cc.Run());
  state.counters["labels"] = components.Size();
  SetRate(state, in);
}
BENCHMARK(BM_ConnectedComponent2)->Arg(0)->Arg(1);

void BM_CvConnectedComponentsWithStats(benchmark::State& state)
{
  ClImage in;
  FillBinary(in, state.range(0) != 0);
  cv::Mat objects;
  cv::compare(View(in), 0, objects, cv::CMP_EQ);
  cv::Mat labels, stats, centroids;
  int n = 0;
  for (auto _ : state)
    n = cv::connectedComponentsWithStats(objects, labels, stats, centroids, 4, CV_32S);
  state.counters["labels"] = n - 1;
  SetRate(state, in);
}
BENCHMARK(BM_CvConnectedComponentsWithStats)->Arg(0)->Arg(1);

void BM_FindContour(benchmark::State& state)
{
  ClImage in;
  FillBinary(in, state.range(0) != 0);
  ClIpFindContour::ContoursArray_t contours;
  ClIpFindContour fc;
  fc.m_pInImage = &in;
  fc.m_pContours = &contours;
  for (auto _ : state) {
    contours.Clear();
    benchmark::DoNotOptimize(fc.Run());
  }
  state.counters["contours"] = contours.Size();
  SetRate(state, in);
}
BENCHMARK(BM_FindContour)->Arg(0)->Arg(1);

void BM_CvFindContours(benchmark::State& state)
{
  ClImage in;
  FillBinary(in, state.range(0) != 0);
  cv::Mat objects;
  cv::compare(View(in), 0, objects, cv::CMP_EQ);
  std::vector<std::vector<cv::Point>> contours;
  for (auto _ : state) {
    cv::Mat work = objects.clone();
    cv::findContours(work, contours, cv::RETR_LIST, cv::CHAIN_APPROX_NONE);
  }
  state.counters["contours"] = static_cast<double>(contours.size());
  SetRate(state, in);
}
BENCHMARK(BM_CvFindContours)->Arg(0)->Arg(1);

} // namespace

// OpenCV on one thread, as the processors run: the ratios compare one core with one.
int main(int argc, char** argv)
{
  cv::setNumThreads(1);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv))
    return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
