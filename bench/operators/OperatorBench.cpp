// Operators and filters beside OpenCV's nearest equivalents, on the frame sizes of the
// scanner (800 by 750 and twice that) and, for the floating filters of the masks, on
// the half-size 400 by 375. OpenCV runs on one thread, as ours do. After the run the ratio
// of each operator to its OpenCV counterpart is printed for both frame sizes (medians with
// --benchmark_repetitions).
#include "model/FpImage.h"
#include "imaging/filters/IpFilterMid.h"
#include "imaging/filters/IpFilterVariance.h"
#include "imaging/filters/TpIpFilterMax.h"
#include "imaging/filters/TpIpFilterMid.h"
#include "imaging/filters/TpIpFilterMin.h"
#include "imaging/histogram/Histogram.h"
#include "imaging/operators/IpBinarizeGlobal.h"
#include "imaging/operators/IpSubtract.h"
#include "imaging/operators/TpIpBinarize.h"
#include "imaging/operators/TpIpSubtract.h"

#include <benchmark/benchmark.h>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace {

// A random image and an OpenCV header over the same pixels.
struct TpFrame
{
  ClImage image;
  cv::Mat mat;
  TpFrame(EDataType eType, int32_t w, int32_t h, uint32_t nSeed)
  {
    image.Create(eType, w, h);
    std::mt19937 gen(nSeed);
    for (int32_t y = 0; y < h; ++y) {
      uint8_t* row = image.Data() + y * image.LineBytes();
      if (eType == eFloat32)
        for (int32_t x = 0; x < w; ++x)
          reinterpret_cast<float*>(row)[x] = std::uniform_real_distribution<float>(0, 1)(gen);
      else
        for (int32_t x = 0; x < w; ++x)
          row[x] = uint8_t(gen());
    }
    mat =
        cv::Mat(h, w, eType == eFloat32 ? CV_32F : CV_8U, image.Data(), size_t(image.LineBytes()));
  }
};

int32_t Width(const benchmark::State& s) { return int32_t(s.range(0)); }
int32_t Height(const benchmark::State& s) { return int32_t(s.range(0)) * 15 / 16; }

void SetPixels(benchmark::State& s)
{
  s.SetItemsProcessed(int64_t(s.iterations()) * Width(s) * Height(s));
}

void Mean(benchmark::State& s, int32_t nWidth)
{
  TpFrame in(eUInt8, Width(s), Height(s), 1);
  ClImage out;
  ClIpFilterMid f;
  f.m_pInImage = &in.image;
  f.m_pOutImage = &out;
  f.m_nFilterWidth = nWidth;
  f.m_nMode = ClIpFilterMid::MODE_XY;
  for (auto _ : s)
    benchmark::DoNotOptimize(f.Run());
  SetPixels(s);
}

void CvMean(benchmark::State& s, int32_t nWidth)
{
  TpFrame in(eUInt8, Width(s), Height(s), 1);
  cv::Mat out;
  for (auto _ : s)
    cv::blur(in.mat, out, cv::Size(nWidth, nWidth));
  SetPixels(s);
}

void BM_Mean3x3(benchmark::State& s) { Mean(s, 3); }
void BM_CvBlur3x3(benchmark::State& s) { CvMean(s, 3); }
void BM_Mean11x11(benchmark::State& s) { Mean(s, 11); }
void BM_Mean31x31(benchmark::State& s) { Mean(s, 31); }
void BM_CvBlur31x31(benchmark::State& s) { CvMean(s, 31); }

void BM_TpMean(benchmark::State& s)
{
  TpFrame in(eUInt8, Width(s), Height(s), 1);
  ClImage out;
  ClTpIpFilterMid<uint8_t, uint32_t> f;
  f.m_pInImage = &in.image;
  f.m_pOutImage = &out;
  f.m_nFilterWidth = f.m_nFilterHeight = int32_t(s.range(1));
  for (auto _ : s)
    benchmark::DoNotOptimize(f.Process());
  SetPixels(s);
}

template <class F>
void Extreme(benchmark::State& s, EDataType eType)
{
  TpFrame in(eType, Width(s), Height(s), 1);
  ClImage out;
  F f;
  f.m_pInImage = &in.image;
  f.m_pOutImage = &out;
  f.m_nFilterWidth = f.m_nFilterHeight = int32_t(s.range(1));
  for (auto _ : s)
    benchmark::DoNotOptimize(f.Process());
  SetPixels(s);
}

void CvExtreme(benchmark::State& s, EDataType eType, bool bMax)
{
  TpFrame in(eType, Width(s), Height(s), 1);
  cv::Mat out;
  const int k = int(s.range(1));
  const cv::Mat kernel = cv::getStructuringElement(cv::MORPH_RECT, cv::Size(k, k));
  for (auto _ : s) {
    if (bMax)
      cv::dilate(in.mat, out, kernel);
    else
      cv::erode(in.mat, out, kernel);
  }
  SetPixels(s);
}

void BM_Min(benchmark::State& s) { Extreme<ClTpIpFilterMin<uint8_t>>(s, eUInt8); }
void BM_Max(benchmark::State& s) { Extreme<ClTpIpFilterMax<uint8_t>>(s, eUInt8); }
void BM_CvErode(benchmark::State& s) { CvExtreme(s, eUInt8, false); }
void BM_CvDilate(benchmark::State& s) { CvExtreme(s, eUInt8, true); }
void BM_MinFloat(benchmark::State& s) { Extreme<ClTpIpFilterMin<float>>(s, eFloat32); }
void BM_MaxFloat(benchmark::State& s) { Extreme<ClTpIpFilterMax<float>>(s, eFloat32); }
void BM_CvErodeFloat(benchmark::State& s) { CvExtreme(s, eFloat32, false); }
void BM_CvDilateFloat(benchmark::State& s) { CvExtreme(s, eFloat32, true); }

void BM_TpMeanFloat(benchmark::State& s)
{
  TpFrame in(eFloat32, Width(s), Height(s), 1);
  ClImage out;
  ClTpIpFilterMid<float, double> f;
  f.m_pInImage = &in.image;
  f.m_pOutImage = &out;
  f.m_nFilterWidth = f.m_nFilterHeight = int32_t(s.range(1));
  for (auto _ : s)
    benchmark::DoNotOptimize(f.Process());
  SetPixels(s);
}

void BM_CvBlurFloat(benchmark::State& s)
{
  TpFrame in(eFloat32, Width(s), Height(s), 1);
  cv::Mat out;
  const int k = int(s.range(1));
  for (auto _ : s)
    cv::blur(in.mat, out, cv::Size(k, k));
  SetPixels(s);
}

void Variance(benchmark::State& s, EDataType eOut)
{
  TpFrame in(eUInt8, Width(s), Height(s), 1);
  ClImage out;
  ClIpFilterVariance f;
  f.m_pInImage = &in.image;
  f.m_pOutImage = &out;
  f.m_eOutImageType = eOut;
  f.m_nInFilterWidth = int32_t(s.range(1));
  for (auto _ : s)
    benchmark::DoNotOptimize(f.Run());
  SetPixels(s);
}

void CvSqrBox(benchmark::State& s, int nDepth)
{
  TpFrame in(eUInt8, Width(s), Height(s), 1);
  cv::Mat out;
  const int k = int(s.range(1));
  for (auto _ : s)
    cv::sqrBoxFilter(in.mat, out, nDepth, cv::Size(k, k));
  SetPixels(s);
}

// The variance as OpenCV users form it: window means of the samples and of their squares,
// then (mean of squares - squared mean) * n / (n - 1), as our sample variance divides.
void CvVariance(benchmark::State& s, int nDepth)
{
  TpFrame in(eUInt8, Width(s), Height(s), 1);
  cv::Mat mean, squares, meanSquared, out;
  const int k = int(s.range(1));
  const double dScale = double(k * k) / double(k * k - 1);
  for (auto _ : s) {
    cv::boxFilter(in.mat, mean, nDepth, cv::Size(k, k));
    cv::sqrBoxFilter(in.mat, squares, nDepth, cv::Size(k, k));
    cv::multiply(mean, mean, meanSquared);
    cv::addWeighted(squares, dScale, meanSquared, -dScale, 0.0, out);
  }
  SetPixels(s);
}

void BM_Variance(benchmark::State& s) { Variance(s, eDouble64); }
void BM_CvVariance(benchmark::State& s) { CvVariance(s, CV_64F); }
void BM_CvVarianceFloat(benchmark::State& s) { CvVariance(s, CV_32F); }
void BM_CvSqrBox(benchmark::State& s) { CvSqrBox(s, CV_64F); }
void BM_VarianceFloat(benchmark::State& s) { Variance(s, eFloat32); }
void BM_CvSqrBoxFloat(benchmark::State& s) { CvSqrBox(s, CV_32F); }

void BM_Histogram(benchmark::State& s)
{
  TpFrame in(eUInt8, Width(s), Height(s), 1);
  ClHistogram h;
  for (auto _ : s) {
    h.Create(in.image);
    benchmark::DoNotOptimize(h.Bins());
  }
  SetPixels(s);
}

void BM_CvCalcHist(benchmark::State& s)
{
  TpFrame in(eUInt8, Width(s), Height(s), 1);
  cv::Mat hist;
  const int nChannel = 0, nBins = 256;
  const float aRange[] = {0, 256};
  const float* pRange = aRange;
  for (auto _ : s)
    cv::calcHist(&in.mat, 1, &nChannel, cv::Mat(), hist, 1, &nBins, &pRange);
  SetPixels(s);
}

void BM_Subtract(benchmark::State& s)
{
  TpFrame a(eUInt8, Width(s), Height(s), 1), b(eUInt8, Width(s), Height(s), 2);
  ClImage out;
  ClIpSubtract sub;
  sub.m_pInImage1 = &a.image;
  sub.m_pInImage2 = &b.image;
  sub.m_pOutImage = &out;
  for (auto _ : s)
    benchmark::DoNotOptimize(sub.Run());
  SetPixels(s);
}

void BM_TpSubtract(benchmark::State& s)
{
  TpFrame a(eUInt8, Width(s), Height(s), 1), b(eUInt8, Width(s), Height(s), 2);
  ClImage out;
  ClTpIpSubtract<uint8_t, uint8_t, int> sub;
  sub.m_pInImage1 = &a.image;
  sub.m_pInImage2 = &b.image;
  sub.m_pOutImage = &out;
  for (auto _ : s)
    benchmark::DoNotOptimize(sub.Process());
  SetPixels(s);
}

void BM_CvSubtract(benchmark::State& s)
{
  TpFrame a(eUInt8, Width(s), Height(s), 1), b(eUInt8, Width(s), Height(s), 2);
  cv::Mat out;
  for (auto _ : s)
    cv::subtract(a.mat, b.mat, out);
  SetPixels(s);
}

void BM_Binarize(benchmark::State& s)
{
  TpFrame in(eUInt8, Width(s), Height(s), 1);
  ClImage out;
  ClIpBinarizeGlobal bin;
  bin.m_pInImage = &in.image;
  bin.m_pOutImage = &out;
  for (auto _ : s)
    benchmark::DoNotOptimize(bin.Run());
  SetPixels(s);
}

void BM_TpBinarize(benchmark::State& s)
{
  TpFrame in(eUInt8, Width(s), Height(s), 1);
  ClImage out;
  ClTpIpBinarize<uint8_t, uint8_t> bin;
  bin.m_nThreshold = 128;
  bin.m_pInImage = &in.image;
  bin.m_pOutImage = &out;
  for (auto _ : s)
    benchmark::DoNotOptimize(bin.Process());
  SetPixels(s);
}

void BM_CvThreshold(benchmark::State& s)
{
  TpFrame in(eUInt8, Width(s), Height(s), 1);
  cv::Mat out;
  for (auto _ : s)
    cv::threshold(in.mat, out, 127, 255, cv::THRESH_BINARY);
  SetPixels(s);
}

void Frames(benchmark::internal::Benchmark* b)
{
  b->Arg(800)->Arg(1600)->Unit(benchmark::kMicrosecond);
}

void FramesWindow(benchmark::internal::Benchmark* b, std::initializer_list<int> windows)
{
  for (int w : windows)
    b->Args({800, w})->Args({1600, w});
  b->Unit(benchmark::kMicrosecond);
}

// Console output as usual, and the CPU time of every benchmark kept for the ratios: the
// median of repetitions when there are several, else the one run.
class ClRatioReporter : public benchmark::ConsoleReporter
{
public:
  void ReportRuns(const std::vector<Run>& runs) override
  {
    benchmark::ConsoleReporter::ReportRuns(runs);
    for (const Run& r : runs) {
      const std::string sName = r.run_name.str();
      if (r.run_type == Run::RT_Aggregate) {
        if (r.aggregate_name == "median")
          m_Medians[sName] = r.GetAdjustedCPUTime();
      } else {
        m_Runs[sName].push_back(r.GetAdjustedCPUTime());
      }
    }
  }

  // CPU time of a benchmark; negative when it did not run.
  double Time(const std::string& sName)
  {
    const auto m = m_Medians.find(sName);
    if (m != m_Medians.end())
      return m->second;
    auto r = m_Runs.find(sName);
    if (r == m_Runs.end() || r->second.empty())
      return -1.0;
    std::vector<double>& a = r->second;
    std::nth_element(a.begin(), a.begin() + a.size() / 2, a.end());
    return a[a.size() / 2];
  }

  // Our time over OpenCV's for each pair that ran, at both frame sizes.
  void PrintRatios()
  {
    struct StPair
    {
      const char* pWhat;
      const char* pOurs;
      const char* pTheirs;
    };
    static const StPair s_aPairs[] = {
        {"Variance 11x11 double vs OpenCV variance", "BM_Variance/%d/11", "BM_CvVariance/%d/11"},
        {"Variance 11x11 double vs sqrBoxFilter", "BM_Variance/%d/11", "BM_CvSqrBox/%d/11"},
        {"Variance 11x11 float vs OpenCV variance", "BM_VarianceFloat/%d/11",
         "BM_CvVarianceFloat/%d/11"},
        {"Variance 11x11 float vs sqrBoxFilter", "BM_VarianceFloat/%d/11",
         "BM_CvSqrBoxFloat/%d/11"},
        {"Mean 31x31 vs blur", "BM_Mean31x31/%d", "BM_CvBlur31x31/%d"},
        {"Subtract vs subtract", "BM_Subtract/%d", "BM_CvSubtract/%d"},
        {"Subtract (template) vs subtract", "BM_TpSubtract/%d", "BM_CvSubtract/%d"},
        {"Histogram vs calcHist", "BM_Histogram/%d", "BM_CvCalcHist/%d"},
        {"Min 11x11 vs erode", "BM_Min/%d/11", "BM_CvErode/%d/11"},
        {"Max 11x11 vs dilate", "BM_Max/%d/11", "BM_CvDilate/%d/11"},
        {"Mean 3x3 vs blur", "BM_Mean3x3/%d", "BM_CvBlur3x3/%d"},
        {"Binarize vs threshold", "BM_Binarize/%d", "BM_CvThreshold/%d"},
        {"Binarize (template) vs threshold", "BM_TpBinarize/%d", "BM_CvThreshold/%d"},
    };
    std::printf("\nRatio of our CPU time to OpenCV's (below 1: faster)\n%-44s %9s %9s\n", "",
                "800x750", "1600x1500");
    for (const StPair& p : s_aPairs) {
      double aRatio[2] = {-1.0, -1.0};
      for (int i = 0; i < 2; ++i) {
        char aOurs[64], aTheirs[64];
        std::snprintf(aOurs, sizeof aOurs, p.pOurs, i == 0 ? 800 : 1600);
        std::snprintf(aTheirs, sizeof aTheirs, p.pTheirs, i == 0 ? 800 : 1600);
        const double dOurs = Time(aOurs), dTheirs = Time(aTheirs);
        if (dOurs > 0 && dTheirs > 0)
          aRatio[i] = dOurs / dTheirs;
      }
      if (aRatio[0] < 0 && aRatio[1] < 0)
        continue;
      std::printf("%-44s", p.pWhat);
      for (double d : aRatio)
        d < 0 ? std::printf(" %9s", "-") : std::printf(" %8.2fx", d);
      std::printf("\n");
    }
  }

private:
  std::map<std::string, double> m_Medians;
  std::map<std::string, std::vector<double>> m_Runs;
};

} // namespace

BENCHMARK(BM_Mean3x3)->Apply(Frames);
BENCHMARK(BM_CvBlur3x3)->Apply(Frames);
BENCHMARK(BM_Mean11x11)->Apply(Frames);
BENCHMARK(BM_Mean31x31)->Apply(Frames);
BENCHMARK(BM_CvBlur31x31)->Apply(Frames);
BENCHMARK(BM_TpMean)->Apply([](auto* b) { FramesWindow(b, {5, 11, 31, 61}); });
BENCHMARK(BM_Min)->Apply([](auto* b) { FramesWindow(b, {11, 31}); });
BENCHMARK(BM_CvErode)->Apply([](auto* b) { FramesWindow(b, {11, 31}); });
BENCHMARK(BM_Max)->Apply([](auto* b) { FramesWindow(b, {11, 31}); });
BENCHMARK(BM_CvDilate)->Apply([](auto* b) { FramesWindow(b, {11, 31}); });
BENCHMARK(BM_Variance)->Apply([](auto* b) { FramesWindow(b, {11, 31}); });
BENCHMARK(BM_CvSqrBox)->Apply([](auto* b) { FramesWindow(b, {11}); });
BENCHMARK(BM_CvVariance)->Apply([](auto* b) { FramesWindow(b, {11}); });
BENCHMARK(BM_VarianceFloat)->Apply([](auto* b) { FramesWindow(b, {11}); });
BENCHMARK(BM_CvSqrBoxFloat)->Apply([](auto* b) { FramesWindow(b, {11}); });
BENCHMARK(BM_CvVarianceFloat)->Apply([](auto* b) { FramesWindow(b, {11}); });
BENCHMARK(BM_Histogram)->Apply(Frames);
BENCHMARK(BM_CvCalcHist)->Apply(Frames);
BENCHMARK(BM_Subtract)->Apply(Frames);
BENCHMARK(BM_TpSubtract)->Apply(Frames);
BENCHMARK(BM_CvSubtract)->Apply(Frames);
BENCHMARK(BM_Binarize)->Apply(Frames);
BENCHMARK(BM_TpBinarize)->Apply(Frames);
BENCHMARK(BM_CvThreshold)->Apply(Frames);
// The masks' floating filters run on the half-size frame.
BENCHMARK(BM_TpMeanFloat)->Args({400, 11})->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_CvBlurFloat)->Args({400, 11})->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_MinFloat)->Args({400, 11})->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_CvErodeFloat)->Args({400, 11})->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_MaxFloat)->Args({400, 11})->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_CvDilateFloat)->Args({400, 11})->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_VarianceFloat)->Args({400, 11})->Unit(benchmark::kMicrosecond);

int main(int argc, char** argv)
{
  cv::setNumThreads(1);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv))
    return 1;
  ClRatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintRatios();
  benchmark::Shutdown();
  return 0;
}
