// Cost of the finger masks on a scanner-sized frame (800 by 750, a flat finger), whole
// and split by stage. The stage benchmarks run the segmenter's operators with its
// settings on the intermediate pictures of the same frame; what they leave out (the
// per-pixel classification and cleaning of the background, the enlargement and the
// local stretch) is the difference between the whole and the sum of the stages.
#include "model/FpImage.h"
#include "imaging/filters/IpFilterVariance.h"
#include "imaging/filters/TpIpFilterMid.h"
#include "imaging/filters/TpIpFilterMax.h"
#include "imaging/filters/TpIpFilterMin.h"
#include "imaging/histogram/Histogram.h"
#include "imaging/operators/TpIpBinarize.h"
#include "imaging/operators/TpIpSubtract.h"
#include "imaging/regions/IpConnectedComponent2.h"
#include "masks/IpKX10MaskR2.h"
#include "masks/IpKX10SegmentMaskR2.h"
#include "masks/IpKX2DevelMask.h"
#include "masks/TpIpDownsample.h"
#include "simulator/SimRender.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>

namespace {

struct StPictures
{
  ClImage frame;      // the input of the masks
  ClImage faded;      // what the KX10 mask hands to the segmenter
  ClImage down;       // D
  ClImage variances;  // V
  ClImage activity;   // A
  ClImage background; // E, not cleaned
  ClImage blobs;      // objects of full activity
  ClImage finger;     // H
  ClImage near;       // J
  ClImage upper;      // smoothed upper envelope

  StPictures()
  {
    kxsim::ClFinger f;
    f.dPressure = 0.8;
    const kxsim::ClGreyImage grey =
        kxsim::RenderPlacedFinger(f, 0.2, 800, 750, 2, kxsim::EOrientation::eDisplay);
    frame.Create(eUInt8, 800, 750, 1, 19685, 19685);
    for (int y = 0; y < 750; ++y)
      std::memcpy(frame.Data() + y * frame.LineElements(), grey.Row(y), 800);
    faded.Copy(frame);
    for (int y = 0; y < 50; ++y)
      for (int x = 0; x < 800; ++x) {
        uint8_t& v = faded.Data()[y * faded.LineElements() + x];
        v = uint8_t(y < 25 ? 0 : v * (y - 25) / 25);
      }
    ClTpIpDownsample<uint8_t>()(&faded, &down);
    ClIpFilterVariance var;
    var.m_pInImage = &down;
    var.m_pOutImage = &variances;
    var.m_nInFilterWidth = 11;
    var.m_eOutImageType = eFloat32;
    var.Run();
    ClImage t1, t2;
    ClTpIpFilterMin<float> mn;
    ClTpIpFilterMax<float> mx;
    ClTpIpFilterMid<float, double> md;
    mn.m_nFilterWidth = mn.m_nFilterHeight = mx.m_nFilterWidth = mx.m_nFilterHeight = 11;
    md.m_nFilterWidth = md.m_nFilterHeight = 11;
    mn.m_pInImage = &variances, mn.m_pOutImage = &t1, mn.Process();
    mx.m_pInImage = &t1, mx.m_pOutImage = &t2, mx.Process();
    md.m_pInImage = &t2, md.m_pOutImage = &activity, md.Process();
    background.Copy(down);
    blobs.CreateLike(down);
    for (int y = 0; y < down.Height(); ++y)
      for (int x = 0; x < down.Width(); ++x) {
        const double a = activity.Pixels<float>()[y * activity.LineElements() + x];
        uint8_t& e = background.Data()[y * background.LineElements() + x];
        if (a >= 300.0 || e > 100)
          e = 0;
        blobs.Data()[y * blobs.LineElements() + x] = a >= 300.0 ? 0 : 255;
      }
    ClTpIpSubtract<uint8_t, uint8_t, int> sub;
    sub.m_pInImage1 = &down, sub.m_pInImage2 = &background, sub.m_pOutImage = &finger,
    sub.Process();
    ClIpKX10SegmentMaskR2 seg;
    ClImage soft;
    seg.Compute(&faded, &soft);
    ClTpIpDownsample<uint8_t>()(&seg.m_UpperEnvelope, &upper);
    ClTpIpFilterMid<uint8_t, uint32_t> mid;
    ClTpIpBinarize<uint8_t, uint8_t> bin;
    mid.m_nFilterWidth = mid.m_nFilterHeight = 21;
    mid.m_pInImage = &background, mid.m_pOutImage = &t1, mid.Process();
    bin.m_nThreshold = 1;
    bin.m_pInImage = &t1, bin.m_pOutImage = &near, bin.Process();
  }
};

StPictures& Pictures()
{
  static StPictures s_Pictures;
  return s_Pictures;
}

void BM_MaskKX10(benchmark::State& state)
{
  StPictures& p = Pictures();
  ClIpKX10MaskR2 mask(state.range(0) != 0);
  ClImage out;
  for (auto _ : state) {
    mask.Compute(&p.frame, &out, 500, 1.0);
    benchmark::DoNotOptimize(out.Data());
  }
}
BENCHMARK(BM_MaskKX10)->ArgName("HighPrecision")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_MaskKX2Devel(benchmark::State& state)
{
  StPictures& p = Pictures();
  ClIpKX2DevelMask mask;
  ClImage out;
  mask.m_pInImage = &p.frame;
  mask.m_pOutImage = &out;
  for (auto _ : state) {
    mask.Run();
    benchmark::DoNotOptimize(out.Data());
  }
}
BENCHMARK(BM_MaskKX2Devel)->Unit(benchmark::kMillisecond);

void BM_MaskSegmenter(benchmark::State& state)
{
  StPictures& p = Pictures();
  ClIpKX10SegmentMaskR2 seg;
  ClImage out;
  for (auto _ : state) {
    seg.Compute(&p.faded, &out);
    benchmark::DoNotOptimize(out.Data());
  }
}
BENCHMARK(BM_MaskSegmenter)->Unit(benchmark::kMillisecond);

void BM_StageDownsample(benchmark::State& state)
{
  StPictures& p = Pictures();
  ClImage out;
  ClTpIpDownsample<uint8_t> down;
  for (auto _ : state)
    down(&p.faded, &out);
}
BENCHMARK(BM_StageDownsample)->Unit(benchmark::kMicrosecond);

void BM_StageVariance(benchmark::State& state)
{
  StPictures& p = Pictures();
  ClImage out;
  ClIpFilterVariance var;
  var.m_pInImage = &p.down;
  var.m_pOutImage = &out;
  var.m_nInFilterWidth = 11;
  var.m_eOutImageType = eFloat32;
  for (auto _ : state)
    var.Run();
}
BENCHMARK(BM_StageVariance)->Unit(benchmark::kMicrosecond);

void BM_StageVarianceOpening(benchmark::State& state)
{
  StPictures& p = Pictures();
  ClImage t1, t2, out;
  ClTpIpFilterMin<float> mn;
  ClTpIpFilterMax<float> mx;
  ClTpIpFilterMid<float, double> md;
  mn.m_nFilterWidth = mn.m_nFilterHeight = mx.m_nFilterWidth = mx.m_nFilterHeight = 11;
  md.m_nFilterWidth = md.m_nFilterHeight = 11;
  mn.m_pInImage = &p.variances, mn.m_pOutImage = &t1;
  mx.m_pInImage = &t1, mx.m_pOutImage = &t2;
  md.m_pInImage = &t2, md.m_pOutImage = &out;
  for (auto _ : state) {
    mn.Process();
    mx.Process();
    md.Process();
  }
}
BENCHMARK(BM_StageVarianceOpening)->Unit(benchmark::kMicrosecond);

void BM_StageComponents(benchmark::State& state)
{
  StPictures& p = Pictures();
  ClImage labels;
  ClIpConnectedComponent2 cc;
  ClIpConnectedComponent2::ComponentsArray_t components;
  cc.m_pInImage = &p.blobs;
  cc.m_pOutImage = &labels;
  cc.m_pComponents = &components;
  for (auto _ : state)
    cc.Run();
}
BENCHMARK(BM_StageComponents)->Unit(benchmark::kMicrosecond);

// H = D - E, its 11 by 11 minimum and maximum; the mean of E and its binarisation; the
// two envelopes' subtraction and smoothing; the soft mask.
void BM_StageEnvelopes(benchmark::State& state)
{
  StPictures& p = Pictures();
  ClImage h, lo, hi, b, j, w, soft;
  ClTpIpSubtract<uint8_t, uint8_t, int> sub;
  ClTpIpFilterMin<uint8_t> mn;
  ClTpIpFilterMax<uint8_t> mx;
  ClTpIpFilterMid<uint8_t, uint32_t> mid;
  ClTpIpBinarize<uint8_t, uint8_t> bin;
  ClHistogram hist;
  mn.m_nFilterWidth = mn.m_nFilterHeight = mx.m_nFilterWidth = mx.m_nFilterHeight = 11;
  for (auto _ : state) {
    sub.m_pInImage1 = &p.down, sub.m_pInImage2 = &p.background, sub.m_pOutImage = &h, sub.Process();
    mn.m_pInImage = &h, mn.m_pOutImage = &lo, mn.Process();
    mx.m_pInImage = &h, mx.m_pOutImage = &hi, mx.Process();
    mid.m_nFilterWidth = mid.m_nFilterHeight = 21;
    mid.m_pInImage = &p.background, mid.m_pOutImage = &b, mid.Process();
    bin.m_nThreshold = 1;
    bin.m_pInImage = &b, bin.m_pOutImage = &j, bin.Process();
    for (ClImage* pEnvelope : {&lo, &hi}) {
      sub.m_pInImage1 = pEnvelope, sub.m_pInImage2 = &j, sub.m_pOutImage = &w, sub.Process();
      mid.m_nFilterWidth = mid.m_nFilterHeight = 11;
      mid.m_pInImage = &w, mid.m_pOutImage = pEnvelope, mid.Process();
    }
    hist.Create(p.upper);
    bin.m_nThreshold = uint8_t(std::max(hist.MeanInRange(10, 255), 20.0) * 0.25);
    bin.m_pInImage = &p.upper, bin.m_pOutImage = &w, bin.Process();
    mid.m_nFilterWidth = mid.m_nFilterHeight = 51;
    mid.m_pInImage = &w, mid.m_pOutImage = &soft, mid.Process();
  }
}
BENCHMARK(BM_StageEnvelopes)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
