// The roll side of the engine: the roll processor's life, the two roll workers and the
// roll's part of the scanner data. Everything that touches the processor holds
// m_RollMutex.
#include "capture/KX2FrameJudge.h"
#include "capture/KX2FramePrep.h"
#include "capture/KX2LiveCaptureR2.h"
#include "masks/IpKX10MaskR2.h"
#include "roll/IpAutoRoll5.h"

#include <boost/property_tree/ptree.hpp>

void ClKX2LiveCaptureR2::CreateRoll()
{
  m_pRoll = new ClIpAutoRoll5();
  m_pRoll->SetClock(&m_RollClock);
}

void ClKX2LiveCaptureR2::DeleteRoll()
{
  delete m_pRoll;
  m_pRoll = nullptr;
}

void ClKX2LiveCaptureR2::ResetRollProcessor()
{
  m_pRoll->Reset();
  m_pRoll->SetEngineFlag(__atomic_load_n(&m_nRolledPostProcess, __ATOMIC_RELAXED) != 0);
}

uint32_t ClKX2LiveCaptureR2::GetStartSettling()
{
  boost::lock_guard<boost::mutex> roll(m_RollMutex);
  return static_cast<uint32_t>(m_pRoll->GetStartSettling());
}

void ClKX2LiveCaptureR2::SetStartSettling(uint32_t n)
{
  boost::lock_guard<boost::mutex> roll(m_RollMutex);
  m_pRoll->SetStartSettling(static_cast<int32_t>(n));
}

int32_t ClKX2LiveCaptureR2::GetRollMergeMode()
{
  boost::lock_guard<boost::mutex> roll(m_RollMutex);
  return m_pRoll->GetMergeMode();
}

void ClKX2LiveCaptureR2::SetRollMergeMode(int32_t n)
{
  boost::lock_guard<boost::mutex> roll(m_RollMutex);
  m_pRoll->SetMergeMode(n);
}

int32_t ClKX2LiveCaptureR2::TakeRollResult()
{
  boost::lock_guard<boost::mutex> result(m_ResultMutex);
  m_nState = eStateNone;
  return m_nRollResult;
}

void ClKX2LiveCaptureR2::RollDiagnostics(boost::property_tree::ptree& tree)
{
  m_pRoll->GetDiagnostics(tree);
}

void ClKX2LiveCaptureR2::LoadRollThresholds(const boost::property_tree::ptree& tree)
{
  // Taken even though loading may come during a roll: the processor is not thread-safe.
  boost::lock_guard<boost::mutex> roll(m_RollMutex);
  m_pRoll->LoadThresholds(tree);
}

void ClKX2LiveCaptureR2::RollWorker()
{
  {
    boost::lock_guard<boost::mutex> roll(m_RollMutex);
    m_pRoll->SetSettleFrames(2);
    m_pRoll->SetBorders(0, 0);
    m_pRoll->SetEngineValue(20.0);
  }
  ClImage composite;
  ClHistogram histogram;
  ClKX2FrameJudge judge;
  while (Running()) {
    if (!WaitInput(m_RawFrames))
      continue;
    {
      ClTpTripleRead<ClBitmap> in(m_RawFrames);
      boost::lock_guard<boost::mutex> roll(m_RollMutex);
      // Flipped before the read ends: afterwards the trigger may write the same bitmap.
      KX2FlipRows(RawView(&*in), m_Frame);
      m_RollClock.SetFrameTime(m_anRawFrameTimes[&*in - m_aRawBitmaps]);
      in.Release();
      m_pRoll->m_pInImage = &m_Frame;
      m_pRoll->m_pOutImage = &composite;
      m_pRoll->Run();
      m_bRollFrameReady = true;
      switch (m_pRoll->GetState()) {
      case ClIpAutoRoll5::eRolling:
        m_nState = eStateMoving;
        break;
      case ClIpAutoRoll5::eFinished: {
        {
          // Under the result lock, as TakeRollResult: a result taken meanwhile set the
          // state idle, and it is reported once.
          boost::lock_guard<boost::mutex> result(m_ResultMutex);
          if (m_nState != eStateNone) {
            histogram.Create(m_Result);
            const uint32_t nUsed = histogram.UsedBins();
            // A composite of one grey value holds no finger: no result to report.
            if (nUsed >= 2)
              m_nRollResult = m_pRoll->GetResultCode();
            m_nState = nUsed < 2 ? eStateNone : eStateStable;
          }
        }
        UpdateCondition(judge.ConditionSample(m_Frame));
        break;
      }
      default:
        UpdateCondition(judge.ConditionSample(m_Frame));
        break;
      }
    }
    // The last composite keeps flowing after a roll has ended.
    ClTpTripleWrite<ClImage> out(m_RollFrames);
    out->Copy(composite);
    out.Publish();
  }
}

void ClKX2LiveCaptureR2::RollMaskWorker()
{
  ClIpKX10MaskR2 mask(true);
  ClImage local;
  while (Running()) {
    if (!WaitInput(m_RollFrames))
      continue;
    {
      ClTpTripleRead<ClImage> in(m_RollFrames);
      local.Copy(*in);
    }
    {
      boost::lock_guard<boost::mutex> result(m_ResultMutex);
      mask.m_nSensitivity = Sensitivity();
      mask.Compute(&local, &m_Result, 500, 1.0);
    }
    NotifyResult();
  }
}
