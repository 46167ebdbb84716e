#pragma once
// The scanner-family-neutral interface of one open device. What a family does not
// support raises here; ClRDKXScanAPIWrapper fills in the KX family.
#include "base/Exceptions.h"

#include <cstdint>

class ClBitmap;

class ClRDMVScanAPIHandleBase
{
public:
  ClRDMVScanAPIHandleBase() = default;
  ClRDMVScanAPIHandleBase(const ClRDMVScanAPIHandleBase&) = delete;
  ClRDMVScanAPIHandleBase& operator=(const ClRDMVScanAPIHandleBase&) = delete;
  virtual ~ClRDMVScanAPIHandleBase() = default;

  virtual bool Close() = 0;
  // Text protocol: *pnSize is the room on entry; the needed count (terminator not
  // counted) is stored, -702 if the room is smaller, -701 for a null buffer.
  virtual void GetVersionText(char* szBuffer, uint64_t* pnSize) = 0;
  virtual void GetDeviceFlags(uint32_t* pnFlags)
  {
    if (!pnFlags)
      LSKX2_THROW(eErrBadPointer);
    *pnFlags = m_nDeviceFlags;
  }
  virtual void SetLed(uint32_t nMask) = 0;
  virtual void SetImageMode(int32_t nMode) { LSKX2_THROW(eErrUnsupportedFeature); }
  virtual void GetImageSize(int32_t* pnWidth, int32_t* pnHeight) = 0;
  // One frame into a bitmap of the present mode's size; the third argument is ignored.
  virtual bool GetImage(ClBitmap* pBitmap, uint8_t nDose, uint32_t nIgnored) = 0;
  virtual void GetSerialText(char* szBuffer, uint64_t* pnSize) = 0;
  virtual void GetExtMemorySize(uint16_t* pnSize) = 0;
  virtual void RestoreExtMemory(uint16_t nOffset, uint16_t nLength, void* pBuffer) = 0;
  virtual void SaveExtMemory(uint16_t nOffset, uint16_t nLength, const void* pBuffer) = 0;
  virtual void GetApiVersionText(char* szBuffer, uint64_t* pnSize)
  {
    LSKX2_THROW_MSG("No API version available.", eErrUnsupportedFeature);
  }
  virtual bool IsConnected() { return true; }
  // The pass-through of the capture engine lands here; no KX device has such a call.
  virtual void Reserved(uint32_t a, void* b, void* c) { LSKX2_THROW(eErrUnsupportedFeature); }
  virtual void SetPowerSafeMode(uint32_t nMode)
  {
    LSKX2_THROW_MSG("SetPowerSafeMode not supported", eErrNotImplemented);
  }
  virtual void GetPowerSafeMode(uint32_t* pnMode)
  {
    LSKX2_THROW_MSG("GetPowerSafeMode not supported", eErrNotImplemented);
  }
  virtual bool OpenWithContext(void* pContext) = 0;
  virtual bool Open(int32_t nInterface) = 0;
  virtual void InitDevice() = 0;

  uint32_t DeviceType() const { return m_nDeviceType; }

protected:
  uint32_t m_nDeviceType = 0;
  uint32_t m_nDeviceFlags = 0;
};
