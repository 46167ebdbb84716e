#pragma once
// The KX2 device: checks the model at open, switches the library's own fake check off,
// learns the normal and raw image sizes, and takes frames in either mode.
#include "device/RDKXScanAPIWrapper.h"

class ClRDKX2ScanAPIWrapper : public ClRDKXScanAPIWrapper
{
public:
  enum EImageMode { eModeNormal = 20, eModeRaw = 21 };
  static constexpr int32_t kResolution500Dpi = 19685; // pixels per metre

  // With a null device only the base is built; with an open one, it is identified and
  // set up at once.
  explicit ClRDKX2ScanAPIWrapper(KXDeviceHandle hDevice = nullptr);

  void InitDevice() override;
  // 20 normal, 21 raw; anything else -44 and the mode stays.
  void SetImageMode(int32_t nMode) override;
  // Under the device mutex: one frame of the present mode straight into the caller's
  // 8-bit bitmap (-44 unless it has that size), then the diodes are set again; its time
  // is kept for FrameTime.
  bool GetImage(ClBitmap* pBitmap, uint8_t nDose, uint32_t nIgnored) override;

  int32_t ImageMode() const { return m_nImageMode; }

private:
  int32_t m_nImageMode = eModeNormal;
  KXImageSize m_NormalSize = {};
  KXImageSize m_RawSize = {};
};
