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
enum class EEntry : int {
  eOpenDevice,
  eOpenDeviceOnInterface,
  eCloseDevice,
  eSetOptions,
  eGetOptions,
  eGetDeviceInfo,
  eGetInterfaces,
  eSetBaseInterface,
  eGetBaseInterfaceNumber,
  eGetFakeReplicaInterval,
  eSetFakeReplicaInterval,
  eGetLFDParameters,
  eSetLFDParameters,
  eGetImageSize,
  eGetImage,
  eGetFuzzyImage,
  eGetBacklightImage,
  eGetDarkImage,
  eGetImageByVariableDose,
  eIsFingerPresent,
  eGetFrame,
  eSetDiodesStatus,
  eGetSerialNumber,
  eGetVersion,
  eGetExtMemorySize,
  eSaveExtMemory,
  eRestoreExtMemory,
  eGetLastError,
  eSetLoggingFacilityLevel,
  eGetRawImageSize,
  eGetRawImageByVariableDose,
  eRollStart,
  eRollStarWithVariableDose,
  eRollAbort,
  eRollGetImage,
  eRollGetFrameParameters,
  eGetImage2,
  eSave7ControlBytes,
  eRestore7ControlBytes,
  eChangeSystemNotification,
  eControlPin3,
  eGlobalSetOptions,
  eSaveSerialNumber,
  eGetImageSizes,
  eGetImageOfSpecificSize,
  eGetImageOfSpecificSize2,
  eOpenDeviceWithIoContext,
  eCount
};
constexpr int kEntryCount = int(EEntry::eCount);
constexpr int kMandatoryEntries = 23; // the first ones of the table

// Exported name of an entry, and the entry of a name (eCount when unknown).
const char* EntryName(EEntry e);
EEntry EntryByName(const char* szName);

} // namespace kxsim
