#pragma once
// ClIpAutoRoll5: builds one rolled fingerprint from a stream of live frames and judges it.
//
// One instance serves a capture engine for its whole life. Per frame the engine sets
// m_pInImage (8-bit, one plane, finger light on dark) and m_pOutImage, calls Run(), and
// then reads GetState(): 0 idle, 1 settling, 2 rolling, 3 finished. The output holds the
// rolled image so far (the newest frame while settling); once finished, GetResultCode()
// gives 0 or the roll's defect code and GetDiagnostics() the measures. Not thread-safe:
// the engine calls everything under its roll mutex; only GetRollShiftAreas may be called
// from another thread.
//
// Inside, images are held inverted (finger dark on light).
#include "model/FpImage.h"
#include "imaging/Ip1to1Base.h"
#include "model/TpArray.h"
#include "imaging/filters/TpIpFilterMax.h"
#include "imaging/filters/TpIpFilterMid.h"
#include "imaging/filters/TpIpFilterMin.h"
#include "imaging/geometry/IpResize.h"
#include "imaging/geometry/IpSubsample.h"
#include "imaging/histogram/Histogram.h"
#include "imaging/regions/IpConnectedComponent2.h"
#include "roll/RollClock.h"
#include "roll/RollFingerContour.h"
#include "roll/RollRegistration.h"
#include "roll/RollShiftAreaDetection.h"

#include <boost/property_tree/ptree.hpp>
#include <cstdint>
#include <shared_mutex>
#include <vector>

class ClIpAutoRoll5 : public NewIpBase::ClIp1to1Base
{
public:
  // The largest borders: the cut frame keeps at least 200 by 200 of the engine's 800 by
  // 750 frames, room for a finger to roll in.
  static constexpr int32_t kMaxBorderSide = 300, kMaxBorderTop = 550;
  // Roll states.
  enum : int32_t { eIdle = 0, eSettling = 1, eRolling = 2, eFinished = 3 };
  // Directions of a roll.
  enum : int32_t { eTowardsRight = 0, eTowardsLeft = 1, eUndecided = 2 };
  // How a frame is blended: as it lies, or registered onto the rolled image first.
  enum : int32_t { eMergeExact = 0, eMergeRegistered = 1 };

  ClIpAutoRoll5();
  ~ClIpAutoRoll5() override;

  void SetDefaultParameters() override;
  ClProcessorBase* Clone() const override { return CloneNew<ClIpAutoRoll5>(); }
  const char* GetName() const override { return "ClIpAutoRoll5"; }
  int32_t Finalize(int32_t nProcessStatus) override { return 0; }
  // A roll clock's time that is no time.
  static constexpr int64_t kNotATime = INT64_MIN;
  // One frame: detection, state machine, merging, and at the end the checks.
  int32_t Process() override;

  // Measures, flags and settings of the roll. Throws -101 when the tree refuses.
  virtual void GetDiagnostics(boost::property_tree::ptree& rTree);
  // Takes the thresholds present in the tree, then goes back to idle. Throws -101, also
  // for a border beyond kMaxBorderSide or kMaxBorderTop, which then keeps its value.
  virtual void LoadThresholds(const boost::property_tree::ptree& rTree);
  // Judges the finished roll; each defect found is appended.
  virtual void CheckRollQuality();
  // Whether the roll touched the edges of the capture area.
  virtual void CheckRollRegion();
  // Begins a new roll with the current frame.
  virtual void RestartRoll();

  // The base's input check, then -14 for an empty input and -701 for missing images.
  void CheckInputType() const override;

  int32_t GetState() const { return m_nState; }
  // 0 or the defect code of the roll; the first non-zero answer of a roll is final.
  int32_t GetResultCode();
  bool HasDefect(int32_t nCode) const;
  // A copy of the last shift areas, taken under their lock.
  boost::property_tree::ptree GetRollShiftAreas() const;
  // Back to idle; the edge columns of the last roll stay until the next roll starts.
  void Reset();

  void SetRollShiftAreaMode(int32_t nMode);
  int32_t GetRollShiftAreaMode() const { return m_nRollShiftAreaMode; }
  int32_t GetStartSettling() const { return m_bStartSettling; }
  void SetStartSettling(int32_t bOn) { m_bStartSettling = bOn; }

  // The clock of the roll; null restores the steady clock. Not owned.
  void SetClock(const ClRollClock* pClock) { m_pClock = pClock ? pClock : &m_SteadyClock; }
  // Seconds spent in the phases of Process, added up while set (for benchmarks), read
  // from pfnSeconds (a thread's processor time, say). Not owned; null stops the count.
  struct StPhaseTimes
  {
    double (*pfnSeconds)() = nullptr;
    double dDetect = 0, dContour = 0, dMerge = 0, dChecks = 0;
  };
  void SetPhaseTimes(StPhaseTimes* pTimes) { m_pPhaseTimes = pTimes; }

  // Settings. The engine writes these two at each start of a capture; the processor keeps
  // them and never reads them.
  void SetEngineFlag(bool bFlag) { m_bEngineFlag = bFlag; }
  void SetEngineValue(double dValue) { m_dEngineValue = dValue; }
  // "ROLL_SHIFT_AREA_ACTIVATION": 1 or more outlines the shift areas.
  void SetShiftAreaActivation(int32_t n) { m_nRollShiftAreaActivation = n; }
  // "BORDER_SIDE": columns cut away on each side; "BORDER_TOP": rows cut at the end.
  // Unchecked here; the threshold tree refuses borders beyond the largest.
  void SetBorders(int32_t nSide, int32_t nTop)
  {
    m_nBorderSide = nSide;
    m_nBorderTop = nTop;
  }
  // Optional: receives the rolled mask. Not owned.
  void SetOutMask(ClImage* pMask) { m_pOutMask = pMask; }
  // Frames of a series up to which the roll is still settling.
  void SetSettleFrames(int32_t n) { m_nSettleFrames = n; }
  // eMergeExact or eMergeRegistered, taken at the start of each roll.
  void SetMergeMode(int32_t nMode) { m_nMergeMode = nMode; }
  int32_t GetMergeMode() const { return m_nMergeMode; }

  // Measures of the running or last roll.
  struct StMeasures
  {
    int32_t nSeriesLen, nMergedLen, nMergedWidth, nRollDuration, nLostFrames, bNoOverlap;
    int32_t nDirection, nFirstLeft, nMaxRight;
  };
  StMeasures GetMeasures() const
  {
    return {m_nSeriesLen, m_nMergedLen, m_nMergedWidth, m_nRollDuration, m_nLostFrames,
            m_bNoOverlap, m_nDirection, m_nFirstLeft,   m_nMaxRight};
  }
  // The defects found so far, in order of finding.
  const std::vector<int32_t>& GetDefects() const { return m_lDefects; }
  // The velocity measure of the roll in pixels per second (see CheckRollQuality).
  int32_t GetVelocityMeasure() const;
  // Adds a velocity sample taken elsewhere, as a recorded roll replays it.
  void AddVelocitySample(unsigned nPixelsPerSecond) { m_aVelocity.Add(nPixelsPerSecond); }

private:
  // The settings' members, in the order the settings above name them.
  bool m_bEngineFlag = true;
  double m_dEngineValue = 20.0;
  int32_t m_nRollShiftAreaActivation = 0;
  int32_t m_nBorderSide = 0;
  int32_t m_nBorderTop = 0;
  ClImage* m_pOutMask = nullptr;
  int32_t m_nSettleFrames = 5;
  // Consecutive frames without finger that end a roll.
  int32_t m_nLostFrameLimit = 5;

  int32_t m_nState = eIdle;
  ClImage m_Frame;
  ClImage m_FrameMask;
  ClImage m_RolledMask;
  int32_t m_bFingerPresent = 0;
  ClImage m_Rolled;
  int32_t m_nReturnCode = 0;
  int32_t m_nLostFrames = 0;
  int32_t m_bNoOverlap = 0;
  // Microseconds of the roll clock; kNotATime while unset.
  int64_t m_tRollStart = kNotATime;

  std::vector<int32_t> m_lDefects;
  int32_t m_nSeriesLen = 0;
  int32_t m_nMergedLen = 0;
  int32_t m_nMergedWidth = 0;
  int32_t m_nRollDuration = 0;
  int32_t m_nSeriesLenThreshold = 15;
  int32_t m_nMergedWidthThreshold = 150;
  int32_t m_nMergedLenThreshold = 3;
  int32_t m_nShiftDistanceThreshold = 85000;
  double m_dRotationThreshold = 0.1;
  double m_dLastAngle = -1.0;
  int32_t m_nLastCenter = -1;
  int64_t m_tLastSample = kNotATime;
  TpArrayDynamic<unsigned, 10> m_aVelocity;
  int32_t m_nRollVelocityThreshold = 500;
  ClRollShiftAreaDetection m_ShiftDetection;
  int32_t m_nRollShiftAreaMode = 2;
  int32_t m_nRefCenter = -1;
  int32_t m_nDirection = eUndecided;
  int32_t m_nCountRight = 0;
  int32_t m_nCountLeft = 0;
  int32_t m_nMinLeft = -1;
  int32_t m_nMaxRight = -1;
  int32_t m_nFirstLeft = -1;
  int32_t m_nFirstRight = -1;
  double m_dAngleMax = 0.0;
  double m_dAngleMin = 999.0;
  int64_t m_nBlendSmooth = 3;
  int32_t m_nBlendBand = 40;
  int32_t m_bStartSettling = 1;
  int32_t m_nMergeMode = eMergeExact;
  StPhaseTimes* m_pPhaseTimes = nullptr;

  // Milliseconds from a time of the roll clock to now.
  int64_t MillisecondsSince(int64_t tFrom) const;
  // Cut and invert the input into m_Frame.
  void TakeFrame();
  // Finger detection at a quarter of the resolution: m_FrameMask and the answer.
  bool DetectFinger();
  void AdvanceState();
  // The state machine's restart: a new roll whose image is the current frame.
  void StartSeries();
  // True when the frame mask moved by more than the jump limit against the rolled mask.
  bool FingerJumped();
  // Merges the current frame; true when it had a direction.
  bool Merge();
  int32_t FrameDirection(const ClImage& rNew);
  // nMixBand: the band samples are cross-faded over; differences are marked over
  // m_nBlendBand whatever it is.
  template <int32_t D>
  void BlendRows(const ClImage& rNew, const ClImage& rFrame, int32_t nMixBand);
  // The frame with the skin behind the seam registered onto the rolled image, and the
  // band to cross-fade it over; the frame itself and m_nBlendBand where too little could
  // be matched.
  const ClImage& RegisteredFrame(int32_t d, int32_t& nMixBand);
  // Pixels per second since the last sample, 0 for the first one or without finger.
  unsigned VelocitySample();
  bool StreakTest();
  void WriteOutput();

  const ClRollClock* m_pClock;
  ClRollSteadyClock m_SteadyClock;
  ClRollFingerContour m_Contour;
  // The merge mode of the running roll.
  int32_t m_nMergeModeOfRoll = eMergeExact;
  ClRollRegistration m_Registration;
  ClImage m_Warped;
  boost::property_tree::ptree m_ShiftAreas;
  // The first lock is kept for the layout; nothing takes it. The second guards m_ShiftAreas.
  mutable std::shared_mutex m_Lock;
  mutable std::shared_mutex m_AreaLock;

  // Work images and processors, kept so that a running roll does not allocate.
  ClImage m_Cut, m_Small, m_Smooth, m_Labels, m_LabelsNew, m_New, m_Overlap, m_Work, m_Extended;
  ClImage m_Lo, m_Hi, m_Tmp;
  // The velocity samples sorted, reused by the measure.
  mutable std::vector<unsigned> m_aSorted;
  ClIpSubsample m_Subsample;
  ClTpIpFilterMid<uint8_t, uint32_t> m_Mean;
  ClTpIpFilterMin<uint8_t> m_FilterMin;
  ClTpIpFilterMax<uint8_t> m_FilterMax;
  ClIpResize m_Resize;
  ClIpConnectedComponent2 m_Components;
  ClIpConnectedComponent2::ComponentsArray_t m_aComponents;
  std::vector<int32_t> m_aOrder;
  ClHistogram m_Histogram;
};
