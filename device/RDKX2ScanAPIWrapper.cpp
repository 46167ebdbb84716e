#include "device/RDKX2ScanAPIWrapper.h"

#include "device/VeltranoKX1Wrapper.h"
#include "model/Bitmap.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

// The library writes packed rows of nImageSize bytes into a bitmap whose rows are padded
// to 4 bytes: a width that is no multiple of 4 would shear the frame, and more bytes than
// width times height would overrun it.
void CheckGeometry(const KXImageSize& s, const char* szKind)
{
  if (s.nWidth > 0 && s.nHeight > 0 && s.nWidth % 4 == 0 && s.nImageSize >= 0 &&
      int64_t(s.nImageSize) <= int64_t(s.nWidth) * s.nHeight)
    return;
  LSKX2_THROW_MSG(("KXScanAPI - unusable " + std::string(szKind) +
                   " image size: " + std::to_string(s.nWidth) + " x " + std::to_string(s.nHeight) +
                   ", " + std::to_string(s.nImageSize) + " bytes")
                      .c_str(),
                  eErrDeviceInternal);
}

} // namespace

ClRDKX2ScanAPIWrapper::ClRDKX2ScanAPIWrapper(KXDeviceHandle hDevice) : ClRDKXScanAPIWrapper(hDevice)
{
  if (!hDevice)
    return;
  m_DeviceInfo.nStructSize = sizeof(KXDeviceInfo);
  if (!KXApi()->ftrScanGetDeviceInfo(m_hDevice, &m_DeviceInfo))
    RaiseLibraryError("Unable to get device info", eErrInternal);
  InitDevice();
}

void ClRDKX2ScanAPIWrapper::InitDevice()
{
  if (m_DeviceInfo.nCompatibility != 7)
    LSKX2_THROW_MSG("device not supported", eErrUnsupportedFeature);
  m_nDeviceType = eTypeKX2;
  // Liveness is judged above the device; the library's own check stays off.
  if (!KXApi()->ftrScanSetOptions(m_hDevice, 1, 0))
    RaiseLibraryError("Option failed: FTR_OPTIONS_CHECK_FAKE_REPLICA", eErrInternal);
  KXImageSize normal = {}, raw = {};
  if (!KXApi()->ftrScanGetImageSize(m_hDevice, &normal))
    RaiseLibraryError("Unable to get image size", eErrInternal);
  if (!KXApi()->ftrScanGetRawImageSize)
    RaiseMissingEntry("ftrScanGetRawImageSize");
  if (!KXApi()->ftrScanGetRawImageSize(m_hDevice, &raw))
    RaiseLibraryError("Unable to get raw image size", eErrInternal);
  CheckGeometry(normal, "normal");
  CheckGeometry(raw, "raw");
  m_NormalSize = normal;
  m_RawSize = raw;
  SetImageMode(eModeNormal);
}

void ClRDKX2ScanAPIWrapper::SetImageMode(int32_t nMode)
{
  if (nMode < eModeNormal || nMode > eModeRaw)
    LSKX2_THROW(eErrInvalidParameter);
  m_ImageSize = nMode == eModeNormal ? m_NormalSize : m_RawSize;
  m_nImageMode = nMode;
}

bool ClRDKX2ScanAPIWrapper::GetImage(ClBitmap* pBitmap, uint8_t nDose, uint32_t /*nIgnored*/)
{
  std::lock_guard<std::mutex> lock(m_Mutex);
  if (!pBitmap)
    LSKX2_THROW(eErrBadPointer);
  ClBitmap view(*pBitmap);
  if (!view.Header())
    LSKX2_THROW(eErrInvalidParameter);
  BITMAPINFOHEADER bih = view.HeaderInfo();
  // Only an 8-bit block of the mode's size, with room for all the device writes, fits.
  if (bih.biWidth != m_ImageSize.nWidth || bih.biHeight != m_ImageSize.nHeight ||
      bih.biBitCount != 8 || !view.Bits())
    LSKX2_THROW(eErrInvalidParameter);
  const int64_t nRoom = ClBitmap::Stride(bih.biWidth, 8) * std::abs(int64_t(bih.biHeight));
  if (nRoom < int64_t(m_ImageSize.nWidth) * m_ImageSize.nHeight || nRoom < m_ImageSize.nImageSize)
    LSKX2_THROW(eErrInvalidParameter);

  int32_t (*pfnGet)(KXDeviceHandle, int32_t, void*);
  const char* szFailure;
  switch (m_nImageMode) {
  case eModeNormal:
    pfnGet = KXApi()->ftrScanGetImage;
    szFailure = "GetImage";
    break;
  case eModeRaw:
    pfnGet = KXApi()->ftrScanGetRawImageByVariableDose;
    szFailure = "GetImageByVariableDose";
    if (!pfnGet)
      RaiseMissingEntry("ftrScanGetRawImageByVariableDose");
    break;
  default:
    LSKX2_THROW(eErrUnsupportedFeature);
  }
  if (!pfnGet(m_hDevice, nDose, view.Bits())) {
    // A transient error gets one more exposure, never two.
    if (!KXApi()->ftrScanGetLastError || KXApi()->ftrScanGetLastError() != eKXErrorRetry ||
        !pfnGet(m_hDevice, nDose, view.Bits()))
      RaiseLibraryError(szFailure, eErrDeviceDisconnected);
  }
  int64_t nFrameTime = -1;
  if (KXApi()->kxGetFrameTime && !KXApi()->kxGetFrameTime(m_hDevice, &nFrameTime))
    nFrameTime = -1;
  m_nFrameTime.store(nFrameTime, std::memory_order_relaxed);
  if (m_nImageMode == eModeNormal) {
    // Raw frames keep whatever resolution the bitmap had.
    int32_t pels = kResolution500Dpi;
    uint8_t* h = reinterpret_cast<uint8_t*>(view.Header());
    std::memcpy(h + offsetof(BITMAPINFOHEADER, biXPelsPerMeter), &pels, sizeof(pels));
    std::memcpy(h + offsetof(BITMAPINFOHEADER, biYPelsPerMeter), &pels, sizeof(pels));
  }
  SetDiodesStatus(m_nDiodeStatus1, m_nDiodeStatus2);
  return true;
}
