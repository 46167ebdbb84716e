// The workers of the plain, liveness, preview and triggered modes. Each makes its
// processors once when it starts and loops until interrupted; none reads the device for
// the stream of frames.
#include "capture/KX2FrameJudge.h"
#include "capture/KX2FramePrep.h"
#include "capture/KX2PreviewMask.h"
#include "capture/KX2LiveCaptureR2.h"
#include "device/RDKXScanAPIWrapper.h"
#include "device/VeltranoFakeFingerDetectionKX2Wrapper.h"
#include "masks/IpKX10MaskR2.h"

void ClKX2LiveCaptureR2::FilterWorker()
{
  ClKX2FramePrep prep;
  while (Running()) {
    if (!WaitInput(m_RawFrames))
      continue;
    ClTpTripleRead<ClBitmap> in(m_RawFrames);
    ClTpTripleWrite<ClImage> out(m_FlippedFrames);
    prep.Run(RawView(&*in), *out);
    out.Publish();
    in.Release();
  }
}

void ClKX2LiveCaptureR2::PreviewWorker()
{
  ClKX2PreviewMask mask;
  while (Running()) {
    if (!WaitInput(m_FlippedFrames))
      continue;
    ClTpTripleRead<ClImage> in(m_FlippedFrames);
    ClTpTripleWrite<ClImage> out(m_PreviewFrames);
    mask.Run(*in, *out, UseFastMask(), Sensitivity());
    out.Publish();
    in.Release();
  }
}

void ClKX2LiveCaptureR2::DetectWorker()
{
  const int32_t nMode = m_nMode;
  ClKX2PreviewMask mask;
  ClKX2FrameJudge judge;
  StNormalFrame normal;
  while (Running()) {
    if (!WaitInput(m_FlippedFrames))
      continue;
    ClTpTripleRead<ClImage> in(m_FlippedFrames);
    ClTpTripleWrite<ClImage> out(m_PreviewFrames);
    m_aRecent[m_nFrameCount % 3].Copy(*in);
    const uint64_t nCount = ++m_nFrameCount;
    mask.Run(*in, *out, UseFastMask(), Sensitivity());
    // The first frames of a stream are shown but never judged.
    if (nCount > 3) {
      const int32_t nArea = ClKX2FrameJudge::FingerArea(*out);
      m_nFingerArea = nArea;
      const bool bAccepted = m_nState == eStateStable;
      const uint64_t nMotion = nArea > ClKX2FrameJudge::nEmptyArea
                                   ? ClKX2FrameJudge::Motion(m_aRecent[nCount % 3], *in)
                                   : 0;
      switch (ClKX2FrameJudge::Judge(nArea, nMotion, bAccepted)) {
      case ClKX2FrameJudge::eNoFinger:
        UpdateCondition(judge.ConditionSample(*in));
        m_nState = eStateNone;
        m_dScore = 0.0;
        m_nDetectResult = eErrBitmapNoFinger;
        break;
      case ClKX2FrameJudge::eMoving:
        m_nState = eStateMoving;
        m_dScore = 0.0;
        m_nDetectResult = eErrBitmapNoFinger;
        break;
      case ClKX2FrameJudge::eStill:
        if (m_nCapturedLife > 0)
          --m_nCapturedLife;
        if (nMode == eCapturePlain)
          m_nState = eStateStable;
        else if (ClKX2FrameJudge::WantsCapture(nArea))
          CheckLiveness(normal, mask.Kx10());
        break;
      }
    }
    in.Release();
    out.Publish();
  }
}

void ClKX2LiveCaptureR2::CheckLiveness(StNormalFrame& normal, ClIpKX10MaskR2& mask)
{
  {
    // A trigger waits meanwhile, so no raw frame slips in before the switch back.
    ClDeviceClaim device(*this);
    uint8_t block[7] = {};
    Device().RestoreControlBytes(block);
    CaptureNormal(block, normal, m_Captured, mask);
    m_nCapturedLife = 3;
    RawSetUp(block);
  }
  int32_t nResult;
  if (!m_hFakeFinger) {
    nResult = eErrInvalidHandle;
    m_dScore = -1.0;
  } else {
    double dScore = 0.0;
    const ClImage& raw = normal.flipped;
    nResult = m_pFakeFinger->FD_KX2GetFakeFingerDetectionScore(
        m_hFakeFinger, raw.Width(), raw.Height(), raw.Data(), m_Captured.Data(), &dScore);
    m_dScore = dScore;
  }
  m_nDetectResult = nResult;
  if (nResult == 0)
    m_nState = eStateStable;
}

void ClKX2LiveCaptureR2::TriggeredWorker()
{
  ClIpKX10MaskR2 mask(false);
  while (Running()) {
    if (!WaitInput(m_RawFrames))
      continue;
    {
      ClTpTripleRead<ClBitmap> in(m_RawFrames);
      boost::lock_guard<boost::mutex> result(m_ResultMutex);
      // Flipped before the read ends: afterwards the trigger may write the same bitmap.
      KX2FlipRows(RawView(&*in), m_Frame);
      in.Release();
      mask.m_nSensitivity = Sensitivity();
      mask.Compute(&m_Frame, &m_Result, 500, 1.0);
    }
    NotifyResult();
  }
}
