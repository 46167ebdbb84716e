// Records and error numbers of the device library interface, as the simulator serves them.
// The records are wire formats: packed, no padding.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kxsim {

#pragma pack(push, 1)
struct ClDeviceInfoRecord
{                         // 9 bytes
  uint32_t nSize;         // set to 9 by the caller
  uint8_t nCompatibility; // device model code
  uint16_t nPixelSizeX;
  uint16_t nPixelSizeY;
};
struct ClImageSizeRecord
{ // 12 bytes
  int32_t nWidth;
  int32_t nHeight;
  int32_t nImageSize;
};
struct ClVersionRecord
{                       // 28 bytes
  uint32_t nSize;       // set to 28 by the caller
  uint16_t aLibrary[4]; // most significant first
  uint16_t aHardware[4];
  uint16_t aFirmware[4];
};
#pragma pack(pop)

static_assert(sizeof(ClDeviceInfoRecord) == 9, "device info record is 9 bytes");
static_assert(sizeof(ClImageSizeRecord) == 12, "image size record is 12 bytes");
static_assert(sizeof(ClVersionRecord) == 28, "version record is 28 bytes");

constexpr int kInterfaceCount = 128; // words of the interface list
constexpr int kSerialBytes = 8;      // what the library writes of a serial
constexpr int kSerialBytesMax = 12;  // the caller's buffer; longer forms are faults
constexpr int kControlBytes = 7;

// States of an interface in the list.
constexpr uint32_t kInterfaceFree = 0;  // a device to try
constexpr uint32_t kInterfaceEmpty = 1; // nothing attached
constexpr uint32_t kInterfaceBusy = 2;  // attached, held elsewhere

// Last error numbers the simulator reports by itself (faults may report any number).
constexpr uint32_t kErrNone = 0;
constexpr uint32_t kErrNoDevice = 2; // nothing on that interface
constexpr uint32_t kErrInvalidHandle = 6;
constexpr uint32_t kErrInvalidData = 13;  // the configuration is unusable
constexpr uint32_t kErrNotSupported = 50; // entry point not served
constexpr uint32_t kErrInvalidParameter = 87;
constexpr uint32_t kErrTimeout = 121; // transient; callers retry once
constexpr uint32_t kErrBusy = 170;    // busy or disconnected

// Entry points in the order of the library's table.
// The library's entry points in its table order: X(entry, exported name).
#define KXSIM_ENTRY_POINTS(X)                                                                      \
  X(eOpenDevice, ftrScanOpenDevice)                                                                \
  X(eOpenDeviceOnInterface, ftrScanOpenDeviceOnInterface)                                          \
  X(eCloseDevice, ftrScanCloseDevice)                                                              \
  X(eSetOptions, ftrScanSetOptions)                                                                \
  X(eGetOptions, ftrScanGetOptions)                                                                \
  X(eGetDeviceInfo, ftrScanGetDeviceInfo)                                                          \
  X(eGetInterfaces, ftrScanGetInterfaces)                                                          \
  X(eSetBaseInterface, ftrSetBaseInterface)                                                        \
  X(eGetBaseInterfaceNumber, ftrGetBaseInterfaceNumber)                                            \
  X(eGetFakeReplicaInterval, ftrScanGetFakeReplicaInterval)                                        \
  X(eSetFakeReplicaInterval, ftrScanSetFakeReplicaInterval)                                        \
  X(eGetLFDParameters, ftrScanGetLFDParameters)                                                    \
  X(eSetLFDParameters, ftrScanSetLFDParameters)                                                    \
  X(eGetImageSize, ftrScanGetImageSize)                                                            \
  X(eGetImage, ftrScanGetImage)                                                                    \
  X(eGetFuzzyImage, ftrScanGetFuzzyImage)                                                          \
  X(eGetBacklightImage, ftrScanGetBacklightImage)                                                  \
  X(eGetDarkImage, ftrScanGetDarkImage)                                                            \
  X(eGetImageByVariableDose, ftrScanGetImageByVariableDose)                                        \
  X(eIsFingerPresent, ftrScanIsFingerPresent)                                                      \
  X(eGetFrame, ftrScanGetFrame)                                                                    \
  X(eSetDiodesStatus, ftrScanSetDiodesStatus)                                                      \
  X(eGetSerialNumber, ftrScanGetSerialNumber)                                                      \
  X(eGetVersion, ftrScanGetVersion)                                                                \
  X(eGetExtMemorySize, ftrScanGetExtMemorySize)                                                    \
  X(eSaveExtMemory, ftrScanSaveExtMemory)                                                          \
  X(eRestoreExtMemory, ftrScanRestoreExtMemory)                                                    \
  X(eGetLastError, ftrScanGetLastError)                                                            \
  X(eSetLoggingFacilityLevel, ftrSetLoggingFacilityLevel)                                          \
  X(eGetRawImageSize, ftrScanGetRawImageSize)                                                      \
  X(eGetRawImageByVariableDose, ftrScanGetRawImageByVariableDose)                                  \
  X(eRollStart, ftrScanRollStart)                                                                  \
  X(eRollStarWithVariableDose, ftrScanRollStarWithVariableDose)                                    \
  X(eRollAbort, ftrScanRollAbort)                                                                  \
  X(eRollGetImage, ftrScanRollGetImage)                                                            \
  X(eRollGetFrameParameters, ftrScanRollGetFrameParameters)                                        \
  X(eGetImage2, ftrScanGetImage2)                                                                  \
  X(eSave7ControlBytes, ftrScanSave7ControlBytes)                                                  \
  X(eRestore7ControlBytes, ftrScanRestore7ControlBytes)                                            \
  X(eChangeSystemNotification, ftrScanChangeSystemNotification)                                    \
  X(eControlPin3, ftrScanControlPin3)                                                              \
  X(eGlobalSetOptions, ftrScanGlobalSetOptions)                                                    \
  X(eSaveSerialNumber, ftrScanSaveSerialNumber)                                                    \
  X(eGetImageSizes, ftrScanGetImageSizes)                                                          \
  X(eGetImageOfSpecificSize, ftrScanGetImageOfSpecificSize)                                        \
  X(eGetImageOfSpecificSize2, ftrScanGetImageOfSpecificSize2)                                      \
  X(eOpenDeviceWithIoContext, ftrScanOpenDeviceWithIoContext)

enum class EEntry : int {
#define KXSIM_ENTRY_ENUM(entry, name) entry,
  KXSIM_ENTRY_POINTS(KXSIM_ENTRY_ENUM)
#undef KXSIM_ENTRY_ENUM
      eCount
};
constexpr int kEntryCount = int(EEntry::eCount);
constexpr int kMandatoryEntries = 23; // the first ones of the table

// Exported name of an entry, and the entry of a name (eCount when unknown).
const char* EntryName(EEntry e);
EEntry EntryByName(const char* szName);

} // namespace kxsim
