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

// The library's entry points, in its table order: X(name, mandatory, result, (arguments)).
// The last one is no vendor's: the simulator and the recorder offer it, so that a roll is
// timed by its frames and a replayed roll measures what the recorded one did. Frame time:
// microseconds of a monotonic clock at which the last frame of the device (null: of any
// device) was delivered, 0 before the first.
// Entries the system never calls keep the generic int32_t () type: only their presence
// counts, and as mandatory ones they mark the oldest library version this system works with.
#define LSKX2_KX_ENTRY_POINTS(X)                                                                   \
  X(ftrScanOpenDevice, true, KXDeviceHandle, ())                                                   \
  X(ftrScanOpenDeviceOnInterface, true, KXDeviceHandle, (int32_t nInterface))                      \
  X(ftrScanCloseDevice, true, void, (KXDeviceHandle h))                                            \
  X(ftrScanSetOptions, true, int32_t, (KXDeviceHandle h, uint32_t nMask, uint32_t nFlags))         \
  X(ftrScanGetOptions, true, int32_t, ())                                                          \
  X(ftrScanGetDeviceInfo, true, int32_t, (KXDeviceHandle h, KXDeviceInfo * pInfo))                 \
  X(ftrScanGetInterfaces, true, int32_t, (uint32_t * pInterfaces))                                 \
  X(ftrSetBaseInterface, true, int32_t, ())                                                        \
  X(ftrGetBaseInterfaceNumber, true, int32_t, ())                                                  \
  X(ftrScanGetFakeReplicaInterval, true, int32_t, ())                                              \
  X(ftrScanSetFakeReplicaInterval, true, int32_t, ())                                              \
  X(ftrScanGetLFDParameters, true, int32_t, ())                                                    \
  X(ftrScanSetLFDParameters, true, int32_t, ())                                                    \
  X(ftrScanGetImageSize, true, int32_t, (KXDeviceHandle h, KXImageSize * pSize))                   \
  X(ftrScanGetImage, true, int32_t, (KXDeviceHandle h, int32_t nDose, void* pBuffer))              \
  X(ftrScanGetFuzzyImage, true, int32_t, ())                                                       \
  X(ftrScanGetBacklightImage, true, int32_t, ())                                                   \
  X(ftrScanGetDarkImage, true, int32_t, ())                                                        \
  X(ftrScanGetImageByVariableDose, true, int32_t, ())                                              \
  X(ftrScanIsFingerPresent, true, int32_t, ())                                                     \
  X(ftrScanGetFrame, true, int32_t, ())                                                            \
  X(ftrScanSetDiodesStatus, true, int32_t, (KXDeviceHandle h, uint8_t nStatus1, uint8_t nStatus2)) \
  X(ftrScanGetSerialNumber, true, int32_t, (KXDeviceHandle h, void* pBuffer))                      \
  X(ftrScanGetVersion, false, int32_t, (KXDeviceHandle h, KXVersionInfo * pVersion))               \
  X(ftrScanGetExtMemorySize, false, int32_t, (KXDeviceHandle h, int32_t * pnSize))                 \
  X(ftrScanSaveExtMemory, false, int32_t,                                                          \
    (KXDeviceHandle h, void* pBuffer, int32_t nOffset, int32_t nLength))                           \
  X(ftrScanRestoreExtMemory, false, int32_t,                                                       \
    (KXDeviceHandle h, void* pBuffer, int32_t nOffset, int32_t nLength))                           \
  X(ftrScanGetLastError, false, uint32_t, ())                                                      \
  X(ftrSetLoggingFacilityLevel, false, int32_t, ())                                                \
  X(ftrScanGetRawImageSize, false, int32_t, (KXDeviceHandle h, KXImageSize * pSize))               \
  X(ftrScanGetRawImageByVariableDose, false, int32_t,                                              \
    (KXDeviceHandle h, int32_t nDose, void* pBuffer))                                              \
  X(ftrScanRollStart, false, int32_t, ())                                                          \
  X(ftrScanRollStarWithVariableDose, false, int32_t, ())                                           \
  X(ftrScanRollAbort, false, int32_t, ())                                                          \
  X(ftrScanRollGetImage, false, int32_t, ())                                                       \
  X(ftrScanRollGetFrameParameters, false, int32_t, ())                                             \
  X(ftrScanGetImage2, false, int32_t, ())                                                          \
  X(ftrScanSave7ControlBytes, false, int32_t, (KXDeviceHandle h, void* pBlock, int32_t nFlag))     \
  X(ftrScanRestore7ControlBytes, false, int32_t, (KXDeviceHandle h, void* pBlock))                 \
  X(ftrScanChangeSystemNotification, false, int32_t, (uint32_t nMask, uint32_t nFlags))            \
  X(ftrScanControlPin3, false, int32_t, ())                                                        \
  X(ftrScanGlobalSetOptions, false, int32_t, (uint32_t nOption, void* pValue))                     \
  X(ftrScanSaveSerialNumber, false, int32_t, ())                                                   \
  X(ftrScanGetImageSizes, false, int32_t, ())                                                      \
  X(ftrScanGetImageOfSpecificSize, false, int32_t, ())                                             \
  X(ftrScanGetImageOfSpecificSize2, false, int32_t, ())                                            \
  X(ftrScanOpenDeviceWithIoContext, false, KXDeviceHandle, (void* pContext))                       \
  X(kxGetFrameTime, false, int32_t, (KXDeviceHandle h, int64_t * pnMicroseconds))

// One slot per entry point; null when an optional one is absent.
struct ClKXScanAPITable
{
#define LSKX2_KX_SLOT(name, mandatory, result, args) result(*name) args;
  LSKX2_KX_ENTRY_POINTS(LSKX2_KX_SLOT)
#undef LSKX2_KX_SLOT
};

// Written only before ClVeltranoKX1Wrapper publishes itself; read-only afterwards.
extern ClKXScanAPITable g_KXScanAPI;
