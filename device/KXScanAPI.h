#pragma once
// What the system sees of the closed device library: its packed records and the one
// process-wide table of entry points, filled by ClVeltranoKX1Wrapper.
#include <cstdint>

typedef void* KXDeviceHandle;

#pragma pack(push, 1)
struct KXDeviceInfo
{
  uint32_t nStructSize; // 9, set by the caller
  uint8_t nCompatibility;
  uint16_t nPixelSizeX;
  uint16_t nPixelSizeY;
};

struct KXImageSize
{
  int32_t nWidth;
  int32_t nHeight;
  int32_t nImageSize;
};

struct KXVersionNumber
{
  uint16_t aNumber[4]; // most significant first
};

struct KXVersionInfo
{
  uint32_t nStructSize; // 28, set by the caller
  KXVersionNumber Library;
  KXVersionNumber Hardware;
  KXVersionNumber Firmware;
};
#pragma pack(pop)

static_assert(sizeof(KXDeviceInfo) == 9, "device info record is 9 bytes");
static_assert(sizeof(KXImageSize) == 12, "image size record is 12 bytes");
static_assert(sizeof(KXVersionInfo) == 28, "version record is 28 bytes");

enum {
  eKXInterfaceCount = 128,  // words of the interface list
  eKXSerialBufferSize = 12, // the library fills the first 8
  eKXControlBlockSize = 7,
  eKXErrorRetry = 121, // transient: the call is repeated once
};

// One slot per entry point, in the library's table order; null when an optional one is
// absent. Entries the system never calls keep a generic type: only their presence counts.
struct ClKXScanAPITable
{
  typedef int32_t (*TpAnyEntry)();

  // Mandatory.
  KXDeviceHandle (*ftrScanOpenDevice)();
  KXDeviceHandle (*ftrScanOpenDeviceOnInterface)(int32_t nInterface);
  void (*ftrScanCloseDevice)(KXDeviceHandle h);
  int32_t (*ftrScanSetOptions)(KXDeviceHandle h, uint32_t nMask, uint32_t nFlags);
  TpAnyEntry ftrScanGetOptions;
  int32_t (*ftrScanGetDeviceInfo)(KXDeviceHandle h, KXDeviceInfo* pInfo);
  int32_t (*ftrScanGetInterfaces)(uint32_t* pInterfaces);
  TpAnyEntry ftrSetBaseInterface;
  TpAnyEntry ftrGetBaseInterfaceNumber;
  TpAnyEntry ftrScanGetFakeReplicaInterval;
  TpAnyEntry ftrScanSetFakeReplicaInterval;
  TpAnyEntry ftrScanGetLFDParameters;
  TpAnyEntry ftrScanSetLFDParameters;
  int32_t (*ftrScanGetImageSize)(KXDeviceHandle h, KXImageSize* pSize);
  int32_t (*ftrScanGetImage)(KXDeviceHandle h, int32_t nDose, void* pBuffer);
  TpAnyEntry ftrScanGetFuzzyImage;
  TpAnyEntry ftrScanGetBacklightImage;
  TpAnyEntry ftrScanGetDarkImage;
  TpAnyEntry ftrScanGetImageByVariableDose;
  TpAnyEntry ftrScanIsFingerPresent;
  TpAnyEntry ftrScanGetFrame;
  int32_t (*ftrScanSetDiodesStatus)(KXDeviceHandle h, uint8_t nStatus1, uint8_t nStatus2);
  int32_t (*ftrScanGetSerialNumber)(KXDeviceHandle h, void* pBuffer);

  // Optional.
  int32_t (*ftrScanGetVersion)(KXDeviceHandle h, KXVersionInfo* pVersion);
  int32_t (*ftrScanGetExtMemorySize)(KXDeviceHandle h, int32_t* pnSize);
  int32_t (*ftrScanSaveExtMemory)(KXDeviceHandle h, void* pBuffer, int32_t nOffset,
                                  int32_t nLength);
  int32_t (*ftrScanRestoreExtMemory)(KXDeviceHandle h, void* pBuffer, int32_t nOffset,
                                     int32_t nLength);
  uint32_t (*ftrScanGetLastError)();
  TpAnyEntry ftrSetLoggingFacilityLevel;
  int32_t (*ftrScanGetRawImageSize)(KXDeviceHandle h, KXImageSize* pSize);
  int32_t (*ftrScanGetRawImageByVariableDose)(KXDeviceHandle h, int32_t nDose, void* pBuffer);
  TpAnyEntry ftrScanRollStart;
  TpAnyEntry ftrScanRollStarWithVariableDose;
  TpAnyEntry ftrScanRollAbort;
  TpAnyEntry ftrScanRollGetImage;
  TpAnyEntry ftrScanRollGetFrameParameters;
  TpAnyEntry ftrScanGetImage2;
  int32_t (*ftrScanSave7ControlBytes)(KXDeviceHandle h, void* pBlock, int32_t nFlag);
  int32_t (*ftrScanRestore7ControlBytes)(KXDeviceHandle h, void* pBlock);
  int32_t (*ftrScanChangeSystemNotification)(uint32_t nMask, uint32_t nFlags);
  TpAnyEntry ftrScanControlPin3;
  int32_t (*ftrScanGlobalSetOptions)(uint32_t nOption, void* pValue);
  TpAnyEntry ftrScanSaveSerialNumber;
  TpAnyEntry ftrScanGetImageSizes;
  TpAnyEntry ftrScanGetImageOfSpecificSize;
  TpAnyEntry ftrScanGetImageOfSpecificSize2;
  KXDeviceHandle (*ftrScanOpenDeviceWithIoContext)(void* pContext);
};

// Written only before ClVeltranoKX1Wrapper publishes itself; read-only afterwards.
extern ClKXScanAPITable g_KXScanAPI;
