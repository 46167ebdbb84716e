// Capture: modes, trigger, the three kinds of image, their sizes and resolutions.
#include "livescannerkx2.h"

#include "sdk/ExportShell.h"
#include "sdk/KX2Handle.h"

extern "C" {

LS_KX2_EXPORT int32_t LS_KX2SetCaptureMode(LS_KX2_HANDLE hScanner, uint32_t nMode)
{
  return ClExportShell::RunNamed(__func__,
                                 [&] { ClKX2Handle::FromExport(hScanner)->SetCaptureMode(nMode); });
}

LS_KX2_EXPORT int32_t LS_KX2GetCaptureMode(LS_KX2_HANDLE hScanner, uint32_t* pnMode)
{
  return ClExportShell::RunNamed(
      __func__, [&] { ClKX2Handle::FromExport(hScanner)->GetCaptureMode(pnMode); });
}

LS_KX2_EXPORT int32_t LS_KX2TriggerScanner(LS_KX2_HANDLE hScanner)
{
  return ClExportShell::RunNamed(__func__, [&] { ClKX2Handle::FromExport(hScanner)->Trigger(); });
}

LS_KX2_EXPORT int32_t LS_KX2GetImage(LS_KX2_HANDLE hScanner, uint8_t* pImage, double* pdScore,
                                     uint8_t* pbFinger, int32_t* pnStatus)
{
  return ClExportShell::RunNamed(__func__, [&] {
    ClKX2Handle::FromExport(hScanner)->GetImage(pImage, pdScore, pbFinger, pnStatus);
  });
}

LS_KX2_EXPORT int32_t LS_KX2GetPreviewImage(LS_KX2_HANDLE hScanner, uint8_t* pImage,
                                            double* pdScore, uint8_t* pbFinger, int32_t* pnStatus)
{
  return ClExportShell::RunNamed(__func__, [&] {
    ClKX2Handle::FromExport(hScanner)->GetPreviewImage(pImage, pdScore, pbFinger, pnStatus);
  });
}

LS_KX2_EXPORT int32_t LS_KX2GetRollImage(LS_KX2_HANDLE hScanner, uint8_t* pImage, double* pdScore,
                                         uint8_t* pbFinger, int32_t* pnStatus)
{
  return ClExportShell::RunNamed(__func__, [&] {
    ClKX2Handle::FromExport(hScanner)->GetRollImage(pImage, pdScore, pbFinger, pnStatus);
  });
}

LS_KX2_EXPORT int32_t LS_KX2GetImageSize(LS_KX2_HANDLE hScanner, uint64_t* pnWidth,
                                         uint64_t* pnHeight)
{
  return ClExportShell::RunNamed(
      __func__, [&] { ClKX2Handle::FromExport(hScanner)->GetImageSize(pnWidth, pnHeight); });
}

LS_KX2_EXPORT int32_t LS_KX2GetPreviewImageSize(LS_KX2_HANDLE hScanner, uint64_t* pnWidth,
                                                uint64_t* pnHeight)
{
  return ClExportShell::RunNamed(
      __func__, [&] { ClKX2Handle::FromExport(hScanner)->GetImageSize(pnWidth, pnHeight); });
}

LS_KX2_EXPORT int32_t LS_KX2GetRollImageSize(LS_KX2_HANDLE hScanner, uint64_t* pnWidth,
                                             uint64_t* pnHeight)
{
  return ClExportShell::RunNamed(
      __func__, [&] { ClKX2Handle::FromExport(hScanner)->GetImageSize(pnWidth, pnHeight); });
}

LS_KX2_EXPORT int32_t LS_KX2GetImageDPI(LS_KX2_HANDLE hScanner, uint64_t* pnX, uint64_t* pnY)
{
  return ClExportShell::RunNamed(__func__,
                                 [&] { ClKX2Handle::FromExport(hScanner)->GetImageDPI(pnX, pnY); });
}

LS_KX2_EXPORT int32_t LS_KX2GetPreviewImageDPI(LS_KX2_HANDLE hScanner, uint64_t* pnX, uint64_t* pnY)
{
  return ClExportShell::RunNamed(__func__,
                                 [&] { ClKX2Handle::FromExport(hScanner)->GetImageDPI(pnX, pnY); });
}

LS_KX2_EXPORT int32_t LS_KX2GetRollImageDPI(LS_KX2_HANDLE hScanner, uint64_t* pnX, uint64_t* pnY)
{
  return ClExportShell::RunNamed(__func__,
                                 [&] { ClKX2Handle::FromExport(hScanner)->GetImageDPI(pnX, pnY); });
}

} // extern "C"
