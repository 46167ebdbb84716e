#include "device/RDKX2ScanAPIWrapper.h"

#include "imaging/Bitmap.h"

#include <cstddef>
#include <cstring>

ClRDKX2ScanAPIWrapper::ClRDKX2ScanAPIWrapper(KXDeviceHandle hDevice)
  : ClRDKXScanAPIWrapper(hDevice)
{
  if (!hDevice)
    return;
  m_DeviceInfo.nStructSize = sizeof(KXDeviceInfo);
  if (!g_KXScanAPI.ftrScanGetDeviceInfo(m_hDevice, &m_DeviceInfo))
    RaiseLibraryError("Unable to get device info", -101);
  InitDevice();
}

void ClRDKX2ScanAPIWrapper::InitDevice()
{
  if (m_DeviceInfo.nCompatibility != 7)
    throw ClException("device not supported", -103, true, __FILE__, __LINE__);
  m_nDeviceType = eTypeKX2;
  // Liveness is judged above the device; the library's own check stays off.
  if (!g_KXScanAPI.ftrScanSetOptions(m_hDevice, 1, 0))
    RaiseLibraryError("Option failed: FTR_OPTIONS_CHECK_FAKE_REPLICA", -101);
  if (!g_KXScanAPI.ftrScanGetImageSize(m_hDevice, &m_NormalSize))
    RaiseLibraryError("Unable to get image size", -101);
  if (!g_KXScanAPI.ftrScanGetRawImageSize)
    RaiseMissingEntry("ftrScanGetRawImageSize");
  if (!g_KXScanAPI.ftrScanGetRawImageSize(m_hDevice, &m_RawSize))
    RaiseLibraryError("Unable to get raw image size", -101);
  SetImageMode(eModeNormal);
}

void ClRDKX2ScanAPIWrapper::SetImageMode(int32_t nMode)
{
  if (nMode < eModeNormal || nMode > eModeRaw)
    LSKX2_THROW(-44);
  m_ImageSize = nMode == eModeNormal ? m_NormalSize : m_RawSize;
  m_nImageMode = nMode;
}

bool ClRDKX2ScanAPIWrapper::GetImage(ClBitmap* pBitmap, uint8_t nDose, uint32_t /*nIgnored*/)
{
  std::lock_guard<std::mutex> lock(m_Mutex);
  if (!pBitmap)
    LSKX2_THROW(-701);
  ClBitmap view(*pBitmap);
  if (!view.Header())
    LSKX2_THROW(-44);
  BITMAPINFOHEADER bih = view.HeaderInfo();
  // The library writes width times height bytes: only an 8-bit block of that size fits.
  if (bih.biWidth != m_ImageSize.nWidth || bih.biHeight != m_ImageSize.nHeight ||
      bih.biBitCount != 8 || !view.Bits())
    LSKX2_THROW(-44);

  int32_t (*pfnGet)(KXDeviceHandle, int32_t, void*);
  const char* szFailure;
  switch (m_nImageMode) {
  case eModeNormal:
    pfnGet = g_KXScanAPI.ftrScanGetImage;
    szFailure = "GetImage";
    break;
  case eModeRaw:
    pfnGet = g_KXScanAPI.ftrScanGetRawImageByVariableDose;
    szFailure = "GetImageByVariableDose";
    if (!pfnGet)
      RaiseMissingEntry("ftrScanGetRawImageByVariableDose");
    break;
  default:
    LSKX2_THROW(-103);
  }
  if (!pfnGet(m_hDevice, nDose, view.Bits())) {
    // A transient error gets one more exposure, never two.
    if (!g_KXScanAPI.ftrScanGetLastError || g_KXScanAPI.ftrScanGetLastError() != eKXErrorRetry ||
        !pfnGet(m_hDevice, nDose, view.Bits()))
      RaiseLibraryError(szFailure, -60);
  }
  if (m_nImageMode == eModeNormal) {
    // Raw frames keep whatever resolution the bitmap had.
    int32_t pels = eResolution500Dpi;
    uint8_t* h = reinterpret_cast<uint8_t*>(view.Header());
    std::memcpy(h + offsetof(BITMAPINFOHEADER, biXPelsPerMeter), &pels, sizeof(pels));
    std::memcpy(h + offsetof(BITMAPINFOHEADER, biYPelsPerMeter), &pels, sizeof(pels));
  }
  SetDiodesStatus(m_nDiodeStatus1, m_nDiodeStatus2);
  return true;
}
