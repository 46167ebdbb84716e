#include "tools/ScannerSession.h"

#include "tools/CaptureAdvice.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>
#include <thread>

namespace {

// Empty previews in a row that count as a lifted finger, and the finger area below which
// a preview counts as empty (the SDK's own limit is about 2 % of the central region).
constexpr int nEmptyFramesForLift = 2;
constexpr double dEmptyAreaPercent = 2.0;
// Frames a condition measurement takes: the first three of a mode are never judged.
constexpr int nConditionFrames = 12;
const char* const szShiftAreasOn =
    R"({"KX2": {"ROLLFINGER": {"ROLL_SHIFT_AREA_ACTIVATION": "1"}}})";

} // namespace

bool IsCaptureOutcome(int32_t nCode)
{
  return nCode == LS_KX2_ERROR_BITMAP_NO_FINGER ||
         (nCode <= LS_KX2_ERROR_DRY_FINGERPRINT && nCode >= LS_KX2_ERROR_ROLLED_LIFTED);
}

std::vector<std::string> AttachedScanners(int32_t* pnCode)
{
  std::vector<std::string> names;
  uint64_t count = 0;
  *pnCode = LS_KX2QueryScanners(nullptr, &count);
  if (*pnCode == LS_KX2_ERROR_SIZE_TOO_SMALL) {
    std::vector<char> records(static_cast<size_t>(count) * 16 + 1, 0);
    *pnCode = LS_KX2QueryScanners(records.data(), &count);
    for (uint64_t k = 0; *pnCode == 0 && k < count; ++k)
      names.emplace_back(&records[k * 16], strnlen(&records[k * 16], 16));
  }
  return names;
}

ClScannerSession::ClScannerSession(const std::atomic<bool>& bStop, ClProgressLine& progress,
                                   FnNow pfnNow, FnNow pfnCaptureClock)
  : m_bStop(bStop), m_Progress(progress), m_pfnNow(pfnNow),
    m_pfnCaptureClock(pfnCaptureClock ? pfnCaptureClock : pfnNow)
{}

int32_t ClScannerSession::Open(const std::string& name)
{
  Close();
  std::string serial = name;
  int32_t rc = 0;
  if (serial.empty()) {
    std::vector<std::string> names = AttachedScanners(&rc);
    if (rc != 0)
      return rc;
    if (names.empty())
      return nNoScanner;
    serial = names.front();
  }
  rc = LS_KX2OpenScanner(serial.c_str(), &m_hScanner);
  if (rc != 0)
    return rc;
  m_sName = serial;
  m_nMode = ~0u;
  uint64_t w = 0, h = 0, dx = 0, dy = 0;
  if ((rc = LS_KX2GetImageSize(m_hScanner, &w, &h)) != 0 ||
      (rc = LS_KX2GetImageDPI(m_hScanner, &dx, &dy)) != 0)
    return rc;
  m_nWidth = static_cast<uint32_t>(w);
  m_nHeight = static_cast<uint32_t>(h);
  m_nDpi = static_cast<uint32_t>(dx);
  // Rows the SDK copies are padded to 4 bytes.
  m_aImage.assign(static_cast<size_t>((w + 3) / 4 * 4 * h), 255);
  return 0;
}

void ClScannerSession::Close()
{
  if (m_hScanner)
    LS_KX2CloseScanner(&m_hScanner);
  m_hScanner = nullptr;
}

int32_t ClScannerSession::Configure(const ClCliOptions& o, std::string* pWhat)
{
  for (const auto& p : o.m_aProperties) {
    *pWhat = "property " + p.first + "=" + p.second;
    if (int32_t rc = LS_KX2SetPropertyA(m_hScanner, p.first.c_str(), p.second.c_str()))
      return rc;
  }
  if (o.m_bShiftAreas) {
    *pWhat = "switching shift areas on";
    if (int32_t rc = WriteScannerData(szShiftAreasOn))
      return rc;
  }
  if (!o.m_sScannerDataFile.empty()) {
    *pWhat = "scanner data " + o.m_sScannerDataFile;
    std::ifstream in(o.m_sScannerDataFile, std::ios::binary);
    if (!in) {
      *pWhat =
          "cannot read the scanner data file " + o.m_sScannerDataFile + ": " + std::strerror(errno);
      return nFileProblem;
    }
    if (int32_t rc = WriteScannerData(
            std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>())))
      return rc;
  }
  pWhat->clear();
  return 0;
}

int32_t ClScannerSession::WriteScannerData(std::string text)
{
  uint64_t size = text.size() + 1; // the terminator lies inside the stated size
  return LS_KX2ExtendedScannerAccess(m_hScanner, 7, reinterpret_cast<uint8_t*>(&text[0]), &size);
}

int32_t ClScannerSession::SetMode(uint32_t nMode)
{
  if (nMode == m_nMode)
    return 0;
  int32_t rc = LS_KX2SetCaptureMode(m_hScanner, nMode);
  m_nMode = rc == 0 ? nMode : ~0u;
  return rc;
}

void ClScannerSession::Show(const std::string& label, const char* finger, uint64_t nFrames,
                            double dArea, int nWidth, double dStart, const uint8_t* pImage)
{
  ClProgressState s;
  s.m_sCapture = label;
  s.m_sFinger = finger;
  s.m_nFrames = nFrames;
  s.m_dAreaPercent = dArea;
  s.m_nRollWidth = nWidth;
  s.m_dSeconds = m_pfnNow() - dStart;
  m_Progress.Update(s);
  if (m_pSink && pImage)
    m_pSink->OnFrame(s, pImage, m_nWidth, m_nHeight);
}

int32_t ClScannerSession::PreviewStep(double* pdArea, bool* pbFinger)
{
  double score = 0;
  uint8_t finger = 0;
  int32_t status = 0;
  if (int32_t rc = LS_KX2TriggerScanner(m_hScanner))
    return rc;
  if (int32_t rc = LS_KX2GetPreviewImage(m_hScanner, m_aImage.data(), &score, &finger, &status))
    return rc;
  *pdArea = FingerAreaPercent(m_aImage.data(), m_nWidth, m_nHeight);
  *pbFinger = finger != 0;
  return 0;
}

int32_t ClScannerSession::Previews(const std::string& label, double dTimeout, int32_t nTimeoutCode,
                                   uint64_t* pnFrames, const FnJudge& judge)
{
  const double start = m_pfnNow();
  for (bool bDone = false; !bDone;) {
    if (m_bStop)
      return nInterrupted;
    if (m_pfnNow() - start > dTimeout)
      return nTimeoutCode;
    double area = 0;
    bool finger = false;
    if (int32_t rc = PreviewStep(&area, &finger))
      return rc;
    ++*pnFrames;
    const char* word = judge(finger, area, &bDone);
    Show(label, word, *pnFrames, area, -1, start, m_aImage.data());
  }
  return 0;
}

int32_t ClScannerSession::WaitForFinger(const std::string& label, const ClCliOptions& o,
                                        uint64_t* pnFrames)
{
  return Previews(label, o.m_dTimeout, LS_KX2_ERROR_BITMAP_NO_FINGER, pnFrames,
                  [](bool finger, double area, bool* pbDone) {
                    *pbDone = finger;
                    return finger ? "still" : area >= dEmptyAreaPercent ? "moving" : "none";
                  });
}

int32_t ClScannerSession::WaitForLift(const std::string& label, double dTimeout)
{
  if (m_nMode != eModePlain && m_nMode != eModeLiveness)
    return 0;
  uint64_t frames = 0;
  int empty = 0;
  int32_t rc = Previews(label, dTimeout, LS_KX2_ERROR_INVALID_STATE, &frames,
                        [&](bool finger, double area, bool* pbDone) {
                          empty = !finger && area < dEmptyAreaPercent ? empty + 1 : 0;
                          *pbDone = empty >= nEmptyFramesForLift;
                          return "lift it";
                        });
  m_Progress.End();
  return rc;
}

int32_t ClScannerSession::Preview(const std::string& label, const std::function<bool()>& pfnDone)
{
  if (int32_t rc = SetMode(eModePlain))
    return rc;
  uint64_t frames = 0;
  int32_t rc = Previews(label, std::numeric_limits<double>::infinity(), 0, &frames,
                        [&](bool finger, double area, bool* pbDone) {
                          *pbDone = pfnDone();
                          return finger ? "still" : area >= dEmptyAreaPercent ? "moving" : "none";
                        });
  m_Progress.End();
  return rc;
}

int32_t ClScannerSession::ShowPreviews(const std::string& label, int nFrames, uint64_t* pnFrames)
{
  if (nFrames <= 0)
    return 0;
  return Previews(label, std::numeric_limits<double>::infinity(), 0, pnFrames,
                  [&](bool, double area, bool* pbDone) {
                    *pbDone = --nFrames <= 0;
                    return area >= dEmptyAreaPercent ? "on" : "none";
                  });
}

namespace {

// The roll loop's steps on the progress line; each prompt on a line of its own.
class ClRollProgress : public ClRollListener
{
public:
  ClRollProgress(ClProgressLine& progress, const std::string& label, ClFrameSink* pSink)
    : m_Progress(progress), m_sLabel(label), m_pSink(pSink)
  {}
  void OnPrompt(ERollPrompt ePrompt) override
  {
    m_Progress.End();
    std::printf("%s: %s\n", m_sLabel.c_str(), RollPromptText(ePrompt));
    if (m_pSink)
      m_pSink->OnPrompt(RollPromptText(ePrompt));
  }
  void OnFrame(const ClRollFrame& f) override
  {
    ClProgressState s;
    s.m_sCapture = m_sLabel;
    s.m_sFinger = f.m_ePrompt == ERollPrompt::eLiftFinger ? "lift it"
                  : f.m_ePrompt == ERollPrompt::eRollNow  ? "rolling"
                  : f.m_nRollWidth > 0                    ? "placed"
                                                          : "none";
    s.m_nFrames = f.m_nFrames;
    s.m_nRollWidth = f.m_nRollWidth;
    s.m_dSeconds = f.m_dSeconds;
    m_Progress.Update(s);
    if (m_pSink)
      m_pSink->OnFrame(s, f.m_pImage, f.m_nWidth, f.m_nHeight);
  }

private:
  ClProgressLine& m_Progress;
  std::string m_sLabel;
  ClFrameSink* m_pSink;
};

} // namespace

int32_t ClScannerSession::Roll(const std::string& label, const ClCliOptions& o, ClCaptureRecord* r)
{
  ClRollProgress progress(m_Progress, label, m_pSink);
  ClRollLoop loop(m_hScanner, m_bStop, m_pfnNow);
  int32_t rc = loop.Run(o.m_dTimeout, progress);
  m_nMode = eModeRoll;
  const ClRollResult& result = loop.Result();
  if (loop.Image().size() == m_aImage.size())
    m_aImage = loop.Image();
  r->m_nFrames = result.m_nFrames;
  r->m_bFinger = result.m_bFinished;
  r->m_nStatus = result.m_nStatus;
  r->m_dScore = result.m_dScore;
  if (rc == nRollStopped)
    return nInterrupted;
  if (rc != LS_KX2_ERROR_BITMAP_NO_FINGER && !IsCaptureOutcome(rc))
    return rc;
  // The roll's own code and flags; one that never ended in a result has them too.
  ClJson data;
  if (ReadScannerData(&data) == 0 && rc == LS_KX2_ERROR_BITMAP_NO_FINGER)
    rc = RollCodeOf(data) ? RollCodeOf(data) : rc;
  r->m_sAdvice = RollAdvice(data);
  if (rc == LS_KX2_ERROR_BITMAP_NO_FINGER && result.m_nRestarts > 0) {
    rc = result.m_nRestartCode;
    r->m_sAdvice = "the finger was placed and lifted without rolling: roll it from one side "
                   "to the other after \"roll now\"";
  } else if (rc == LS_KX2_ERROR_BITMAP_NO_FINGER) {
    r->m_sAdvice = "no roll ended in time: place a finger, hold it still, and roll it after "
                   "\"roll now\"";
  }
  return rc;
}

int32_t ClScannerSession::Triggered(ClCaptureRecord* r)
{
  // The masked frame is only seen when it is finished while the image call waits, so
  // frames keep coming from a second thread until the call returns.
  std::atomic<bool> bDone{false};
  std::atomic<uint64_t> frames{0};
  std::thread trigger([&] {
    while (!bDone && LS_KX2TriggerScanner(m_hScanner) == 0)
      ++frames;
  });
  uint8_t finger = 0;
  int32_t rc = LS_KX2GetImage(m_hScanner, m_aImage.data(), &r->m_dScore, &finger, &r->m_nStatus);
  bDone = true;
  trigger.join();
  r->m_nFrames = frames;
  r->m_bFinger = finger != 0;
  return rc;
}

int32_t ClScannerSession::Capture(uint32_t nMode, const std::string& label, const ClCliOptions& o,
                                  ClCaptureRecord* r)
{
  const double start = m_pfnNow(), clockStart = m_pfnCaptureClock();
  r->m_sMode = ModeName(nMode);
  r->m_sScanner = m_sName;
  int32_t rc = SetMode(nMode);
  uint8_t finger = 0;
  bool bImage = false; // an image call delivered, whatever it said of the finger
  if (rc == 0)
    switch (nMode) {
    case eModeRoll:
      rc = Roll(label, o, r);
      bImage = r->m_bFinger;
      break;
    case eModeTriggered:
      Show(label, "-", 0, -1, -1, start);
      rc = Triggered(r);
      bImage = rc == 0;
      break;
    case eModeSingleShot:
      Show(label, "-", 0, -1, -1, start);
      rc = LS_KX2GetImage(m_hScanner, m_aImage.data(), &r->m_dScore, &finger, &r->m_nStatus);
      r->m_bFinger = finger != 0;
      bImage = rc == 0;
      break;
    default:
      rc = nMode == eModePreview ? ShowPreviews(label, o.m_nPreviewFrames, &r->m_nFrames)
                                 : WaitForFinger(label, o, &r->m_nFrames);
      if (rc == 0) {
        rc = LS_KX2GetImage(m_hScanner, m_aImage.data(), &r->m_dScore, &finger, &r->m_nStatus);
        bImage = rc == 0;
        // Single shot and triggered captures report no finger; these modes do.
        if (rc == 0 && r->m_nStatus != 0)
          rc = r->m_nStatus;
      }
      r->m_bFinger = finger != 0;
    }
  m_Progress.End();
  r->m_dSeconds = m_pfnCaptureClock() - clockStart;
  if (rc == nInterrupted)
    return rc;
  r->m_nResult = rc;
  r->m_sResultText = LS_KX2GetErrorDescriptionA(rc);
  if (rc == 0 && (nMode == eModeSingleShot || nMode == eModeTriggered) &&
      FingerAreaPercent(m_aImage.data(), m_nWidth, m_nHeight) < dEmptyAreaPercent)
    r->m_sAdvice = "no finger was seen on the platen";
  else if (rc == LS_KX2_ERROR_BITMAP_NO_FINGER && nMode != eModeRoll)
    r->m_sAdvice = "no finger was held still in time: place a finger and hold it still";
  if (bImage) {
    r->m_nWidth = m_nWidth;
    r->m_nHeight = m_nHeight;
    r->m_nDpi = m_nDpi;
  }
  // A roll judged bad or a missing finger still leaves figures worth keeping.
  if (rc == 0 || IsCaptureOutcome(rc)) {
    uint32_t reserved = 0;
    LS_KX2GetScannerCondition(m_hScanner, &r->m_nCondition, &reserved);
    if (ReadScannerData(&r->m_ScannerData) == 0)
      r->m_aPolygons = ShiftPolygons(r->m_ScannerData);
  }
  return rc;
}

int32_t ClScannerSession::ReadScannerData(ClJson* pData)
{
  std::vector<uint8_t> buf(64 * 1024);
  uint64_t size = buf.size();
  int32_t rc = LS_KX2ExtendedScannerAccess(m_hScanner, 6, buf.data(), &size);
  if (rc == LS_KX2_ERROR_SIZE_TOO_SMALL) {
    buf.resize(static_cast<size_t>(size));
    rc = LS_KX2ExtendedScannerAccess(m_hScanner, 6, buf.data(), &size);
  }
  if (rc != 0)
    return rc;
  std::string text(reinterpret_cast<const char*>(buf.data()),
                   strnlen(reinterpret_cast<const char*>(buf.data()), buf.size()));
  return ClJson::FromScannerText(text, pData) ? 0 : LS_KX2_ERROR_INTERNAL;
}

int32_t ClScannerSession::MeasureCondition(uint32_t* pnCondition)
{
  if (int32_t rc = SetMode(eModePlain))
    return rc;
  for (int i = 0; i < nConditionFrames && !m_bStop; ++i) {
    double area = 0;
    bool finger = false;
    if (int32_t rc = PreviewStep(&area, &finger))
      return rc;
  }
  uint32_t reserved = 0;
  return LS_KX2GetScannerCondition(m_hScanner, pnCondition, &reserved);
}
