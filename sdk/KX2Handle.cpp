#include "sdk/KX2Handle.h"

#include "capture/KX2LiveCaptureR2.h"
#include "device/InterprocessLock.h"
#include "model/FpImage.h"
#include "livescannerkx2.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <sstream>
#include <string>
#include <vector>

namespace {

// Public capture mode (the index) to the engine's.
constexpr int32_t kEngineModes[] = {3, 4, 2, 1, 5, 6};
// The engine's finger state that means a still finger or a finished roll.
constexpr uint32_t kStateDone = 2;
constexpr int32_t kStatusNoFinger = eErrBitmapNoFinger;

template <class T>
T* New()
{
  T* p = new (std::nothrow) T();
  if (!p)
    throw ClExBadAlloc();
  return p;
}

// The SDK object below closes what is left open through this, at its last use.
const bool bCloseHooked = (ClLiveScannerKX2::s_pfnCloseHandles = &ClKX2Handle::CloseAll, true);

} // namespace

ClKX2Handle::ClKX2Handle() : m_Scanner(nullptr) {}

ClKX2Handle::~ClKX2Handle()
{
  delete m_pLock;
  delete m_pCapture;
  // A device left open by a failed open is closed here; Close already did it otherwise.
  m_Scanner.Close();
}

TpHandleLease<ClKX2Handle> ClKX2Handle::FromExport(LS_KX2_HANDLE h)
{
  if (!h)
    LSKX2_THROW(eErrNoHandle);
  return LeaseHandle(h);
}

void ClKX2Handle::CloseExport(LS_KX2_HANDLE* pRef)
{
  if (!*pRef)
    LSKX2_THROW(eErrNoHandle);
  ClLiveScannerKX2::CheckInUse();
  auto* p = static_cast<ClKX2Handle*>(ClSafeHandle::Retire(*pRef));
  SafeHandle* pBlock = ClSafeHandle::Block(*pRef);
  *pRef = nullptr;
  struct ClFree
  {
    ClKX2Handle* p;
    SafeHandle* pBlock;
    ~ClFree()
    {
      ClSafeHandle::Free(pBlock);
      delete p;
    }
  } free{p, pBlock};
  p->Quiesce(pBlock);
  p->OnDestroying();
}

void ClKX2Handle::CloseAll() noexcept
{
  std::vector<SafeHandle*> blocks;
  try {
    ClSafeHandle::RetireAll(blocks);
  } catch (const std::bad_alloc&) {
    // Without room for the list the handles stay open, as they would have before.
  }
  for (SafeHandle* pBlock : blocks) {
    try {
      static_cast<ClKX2Handle*>(pBlock->pObject)->Quiesce(pBlock);
    } catch (const ClException&) {
      // The scanner is as closed as it gets; nobody is left to take the code.
    }
  }
  ClSafeHandle::Revive(blocks);
}

void ClKX2Handle::Quiesce(SafeHandle* pBlock)
{
  ClSafeHandle::WaitUnleased(pBlock, [this] { WakeWaiters(); });
  Close();
}

void ClKX2Handle::WakeWaiters()
{
  std::lock_guard<std::mutex> lock(m_EngineMutex);
  if (m_pCapture)
    m_pCapture->EndWaits();
}

ClKX2LiveCaptureR2& ClKX2Handle::Engine() const
{
  if (!m_pCapture)
    LSKX2_THROW_MSG("Component not initialized yet.", eErrNotInitialized);
  return *m_pCapture;
}

void ClKX2Handle::Open(uint32_t nDevice, const char* szSerial)
{
  delete m_pLock;
  m_pLock = nullptr;
  m_pLock = new (std::nothrow) ClInterprocessLock(szSerial);
  if (!m_pLock)
    throw ClExBadAlloc();
  if (!m_pLock->TryLock()) {
    delete m_pLock;
    m_pLock = nullptr;
    LSKX2_THROW(eErrDeviceOpenFail);
  }
  m_Scanner.Open(static_cast<int32_t>(nDevice));
  ClKX2LiveCaptureR2* pCapture = New<ClKX2LiveCaptureR2>();
  pCapture->SetDevice(&m_Scanner);
  std::lock_guard<std::mutex> lock(m_EngineMutex);
  delete m_pCapture;
  m_pCapture = pCapture;
}

void ClKX2Handle::Close()
{
  // The engine's threads stop before the device closes under them.
  {
    std::lock_guard<std::mutex> lock(m_EngineMutex);
    delete m_pCapture;
    m_pCapture = nullptr;
  }
  // The table is bound to the engine that just went.
  DropParameters();
  m_Scanner.Close();
  delete m_pLock;
  m_pLock = nullptr;
}

void ClKX2Handle::SetCaptureMode(uint32_t nMode)
{
  if (nMode >= sizeof(kEngineModes) / sizeof(kEngineModes[0]))
    LSKX2_THROW_MSG("Capture mode not supported.", eErrUnsupportedFeature);
  Engine().SetCaptureMode(kEngineModes[nMode]);
}

void ClKX2Handle::GetCaptureMode(uint32_t* pnMode)
{
  if (!pnMode)
    LSKX2_THROW(eErrBadPointer);
  // Triggered and preview modes have no way back: a fact of the interface.
  switch (Engine().GetCaptureMode()) {
  case 1:
    *pnMode = 3;
    break;
  case 2:
    *pnMode = 2;
    break;
  case 3:
    *pnMode = 0;
    break;
  case 4:
    *pnMode = 1;
    break;
  default:
    LSKX2_THROW_MSG("Unexpected capture mode.", eErrUnsupportedFeature);
  }
}

void ClKX2Handle::Trigger() { Engine().Trigger(); }

void ClKX2Handle::CopyImage(EImageKind eKind, uint8_t* pImage, double* pdScore, uint8_t* pbFinger,
                            int32_t* pnStatus)
{
  if (!pImage || !pdScore || !pbFinger || !pnStatus)
    LSKX2_THROW(eErrBadPointer);
  ClKX2LiveCaptureR2& engine = Engine();
  ClImage image;
  uint32_t nStatus = 0;
  switch (eKind) {
  case eImageFinal:
    engine.GetImage(image, &nStatus, pdScore);
    break;
  case eImagePreview:
    engine.GetPreviewImage(image, &nStatus, pdScore);
    break;
  case eImageRoll:
    engine.GetRollImage(image, &nStatus, pdScore);
    break;
  }
  // Never more than the caller's buffer of one image, whatever the device delivered.
  uint64_t nBytes =
      static_cast<uint64_t>(image.LineBytes()) * static_cast<uint64_t>(image.Height());
  nBytes = std::min<uint64_t>(nBytes, uint64_t(kImageWidth) * kImageHeight);
  if (nBytes)
    std::memcpy(pImage, image.Pixels<uint8_t>(), nBytes);
  // Single-shot and triggered modes report state 0, so a good image comes with -15 there:
  // callers of those modes ignore the two outputs.
  if (nStatus != kStateDone) {
    *pbFinger = 0;
    *pnStatus = kStatusNoFinger;
  } else if (eKind == eImageRoll) {
    // Reading a finished roll consumes it: the next call reports no result.
    *pbFinger = 1;
    *pnStatus = engine.TakeRollResult();
  } else {
    *pbFinger = 1;
    *pnStatus = 0;
  }
}

void ClKX2Handle::GetImage(uint8_t* pImage, double* pdScore, uint8_t* pbFinger, int32_t* pnStatus)
{
  CopyImage(eImageFinal, pImage, pdScore, pbFinger, pnStatus);
}

void ClKX2Handle::GetPreviewImage(uint8_t* pImage, double* pdScore, uint8_t* pbFinger,
                                  int32_t* pnStatus)
{
  CopyImage(eImagePreview, pImage, pdScore, pbFinger, pnStatus);
}

void ClKX2Handle::GetRollImage(uint8_t* pImage, double* pdScore, uint8_t* pbFinger,
                               int32_t* pnStatus)
{
  CopyImage(eImageRoll, pImage, pdScore, pbFinger, pnStatus);
}

void ClKX2Handle::GetImageSize(uint64_t* pnWidth, uint64_t* pnHeight) const
{
  if (!pnWidth || !pnHeight)
    LSKX2_THROW(eErrBadPointer);
  *pnWidth = kImageWidth;
  *pnHeight = kImageHeight;
}

void ClKX2Handle::GetImageDPI(uint64_t* pnX, uint64_t* pnY) const
{
  if (!pnX || !pnY)
    LSKX2_THROW(eErrBadPointer);
  *pnX = kImageDpi;
  *pnY = kImageDpi;
}

void ClKX2Handle::GetScannerCondition(uint32_t* pnCondition, uint32_t* pnReserved)
{
  if (!pnCondition || !pnReserved)
    LSKX2_THROW(eErrBadPointer);
  ClKX2LiveCaptureR2& engine = Engine();
  // Only the modes that watch the empty platen judge its condition.
  int32_t nMode = engine.GetCaptureMode();
  bool bJudged = nMode == 6 || nMode == 3 || nMode == 2 || nMode == 4;
  *pnCondition = bJudged ? static_cast<uint32_t>(engine.GetCondition()) : 0;
  *pnReserved = 0;
}

void ClKX2Handle::GetSerialNumber(char* pSerial)
{
  if (!pSerial)
    LSKX2_THROW(eErrBadPointer);
  // The wrapper writes a terminator past the count; the caller has 16 bytes, so a name
  // of 16 characters arrives without one, as in the list of LS_KX2QueryScanners.
  char text[kSerialRecordSize + 1] = {};
  uint64_t n = kSerialRecordSize;
  m_Scanner.GetSerialText(text, &n);
  std::memcpy(pSerial, text, std::min<uint64_t>(n + 1, kSerialRecordSize));
}

void ClKX2Handle::SetLED(uint8_t nLed, uint8_t nState)
{
  if (nLed != 0)
    LSKX2_THROW(eErrParamOutOfRange);
  m_Scanner.SetLed(nState);
}

void ClKX2Handle::GetDeviceVersion(char* pText, uint32_t* pnSize)
{
  if (!pnSize)
    LSKX2_THROW(eErrBadPointer);
  uint64_t n = *pnSize;
  try {
    m_Scanner.GetVersionText(pText, &n);
  } catch (const ClException&) {
    *pnSize = static_cast<uint32_t>(n);
    throw;
  }
  *pnSize = static_cast<uint32_t>(n);
}

void ClKX2Handle::ExtendedAccess(int32_t nId, uint8_t* pData, uint64_t* pnSize)
{
  if (!pnSize)
    LSKX2_THROW(eErrBadPointer);
  if (nId == LS_KX2_ACCESS_GET_SCANNER_DATA) {
    std::ostringstream out;
    Engine().GetScannerData(out);
    const std::string sText = out.str();
    const uint64_t n = sText.size() + 1;
    if (*pnSize < n) {
      *pnSize = n;
      LSKX2_THROW(eErrSizeTooSmall);
    }
    if (!pData)
      LSKX2_THROW(eErrBadPointer);
    std::memcpy(pData, sText.c_str(), n);
    *pnSize = n;
  } else if (nId == LS_KX2_ACCESS_SET_SCANNER_DATA) {
    if (!pData)
      LSKX2_THROW(eErrBadPointer);
    if (*pnSize == 0 || pData[*pnSize - 1] != 0)
      LSKX2_THROW(eErrInvalidParameter);
    std::istringstream in(std::string(reinterpret_cast<const char*>(pData)));
    Engine().SetScannerData(in);
  } else {
    LSKX2_THROW(eErrUnknownParameter);
  }
}
