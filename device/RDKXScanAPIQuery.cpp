// Enumeration of the attached scanners, their names and the calibration test.
#include "device/RDKXScanAPIQuery.h"

#include "device/RDKXScanAPIWrapper.h"
#include "device/VeltranoKX1Wrapper.h"

#include <cstring>
#include <mutex>
#include <new>

namespace {

// Serialises enumerations of all threads; other processes are the claim's affair.
std::mutex s_QueryMutex;

// Q7 scanners share compatibility bytes 4 and 13 with the KX1 and differ by firmware.
bool IsQ7Firmware(const KXVersionNumber& fw)
{
  const uint16_t* n = fw.aNumber;
  return (n[0] == 17 && n[1] == 0 && n[2] == 10) || (n[0] == 18 && n[1] == 0);
}

// Closes a device the enumeration opened, on every way out of its turn.
struct ClDeviceCloser
{
  KXDeviceHandle h = nullptr;
  ~ClDeviceCloser()
  {
    // A destructor must not raise, even after the binding ended.
    ClKXCall call;
    if (!h || !call.Table() || !call->ftrScanCloseDevice)
      return;
    KXTrail("QueryScanners - close\n");
    call->ftrScanCloseDevice(h);
    KXTrail("QueryScanners - close done\n");
  }
};

// Appends an entry when the filter lets the model through.
void Append(std::list<ScannerEntry>& list, uint32_t nWantedType, uint32_t nType,
            uint8_t nCompatibility, KXDeviceHandle h, int32_t nInterface)
{
  if (nWantedType != 0 && nWantedType != nType)
    return;
  list.push_back(
      ScannerEntry{ClRDKXScanAPIWrapper::MakeScannerName(nCompatibility, h), nInterface, nType});
}

} // namespace

std::string ClRDKXScanAPIWrapper::MakeScannerName(uint8_t nCompatibility, KXDeviceHandle hDevice)
{
  uint8_t buf[eKXSerialBufferSize] = {};
  if (!KXApi()->ftrScanGetSerialNumber(hDevice, buf))
    RaiseLibraryError("GetSerialNumber", eErrInternal);
  static const uint8_t unprogrammed[8] = {255, 255, 255, 255, 255, 255, 255, 255};
  if (std::memcmp(buf, unprogrammed, 8) == 0)
    std::memcpy(buf, "00000000", 9);

  const char* prefix;
  size_t start = 0;
  switch (nCompatibility) {
  case 1:
    prefix = "KX1 ";
    break;
  case 4:
  case 13: {
    KXVersionInfo v = {};
    v.nStructSize = sizeof(v);
    if (!KXApi()->ftrScanGetVersion)
      RaiseMissingEntry("ftrScanGetVersion");
    if (!KXApi()->ftrScanGetVersion(hDevice, &v))
      RaiseLibraryError("ftrScanGetVersion", eErrInternal);
    prefix = IsQ7Firmware(v.Firmware) ? "Q7 " : "KX1 ";
    break;
  }
  case 7:
    // The first byte of a KX2 serial is replaced by the 2 that ends the prefix.
    prefix = "KX2 2";
    start = 1;
    break;
  case 15:
    prefix = "KX10 ";
    break;
  default:
    LSKX2_THROW_MSG("Device not supported", eErrInternal);
  }

  const char* text = reinterpret_cast<const char*>(buf) + start;
  std::string serial(text, strnlen(text, sizeof(buf) - start));
  if (!IsSerialForm(serial))
    LSKX2_THROW_MSG("Invalid serial", eErrParamOutOfRange);
  return prefix + serial;
}

bool ClRDKXScanAPIWrapper::IsSerialForm(const std::string& sSerial)
{
  if (sSerial.size() < 7 || sSerial.size() > 8)
    return false;
  for (char c : sSerial)
    if (c < '0' || c > '9')
      return false;
  return true;
}

bool ClRDKXScanAPIWrapper::HasCalibrationData(KXDeviceHandle hDevice)
{
  if (!hDevice || !KXApi()->ftrScanGetExtMemorySize || !KXApi()->ftrScanRestoreExtMemory)
    return false;
  int32_t nSize = 0;
  if (!KXApi()->ftrScanGetExtMemorySize(hDevice, &nSize) || nSize < kCalibrationMemorySize)
    return false;
  uint8_t m[kCalibrationMemorySize];
  if (!KXApi()->ftrScanRestoreExtMemory(hDevice, m, 0, kCalibrationMemorySize))
    return false;
  // Byte 20 is the length of a variable part in front of the marker.
  static const uint8_t marker[8] = {'C', 'A', 'L', 0, 'G', 'E', 'O', 0};
  return std::memcmp(m + m[20] + 25, marker, sizeof(marker)) == 0;
}

void ClRDKXScanAPIWrapper::QueryScanners(std::list<ScannerEntry>& list, uint32_t nWantedType,
                                         bool bCheckCalibration)
{
  KXTrail("QueryScanners - Enter\n");
  ClVeltranoKX1Wrapper::Start();
  KXTrail("QueryScanners - init done\n");
  std::lock_guard<std::mutex> lock(s_QueryMutex);

  KXTrail("QueryScanners - get\n");
  uint32_t interfaces[eKXInterfaceCount] = {};
  int32_t ok = KXApi()->ftrScanGetInterfaces(interfaces);
  KXTrail("QueryScanners - get done\n");
  if (!ok)
    RaiseLibraryError("Unable to scan interfaces", eErrInternal);

  KXTrail("QueryScanners - iterate\n");
  for (int32_t i = 0; i < eKXInterfaceCount; ++i) {
    if (interfaces[i] != 0)
      continue;
    try {
      ClDeviceCloser device;
      KXDeviceHandle& h = device.h;
      KXTrail("QueryScanners - open\n");
      h = KXApi()->ftrScanOpenDeviceOnInterface(i);
      KXTrail("QueryScanners - open done\n");
      if (!h)
        RaiseLibraryError("skip - unable to open device", eErrInternal);
      KXTrail("QueryScanners - info\n");
      KXDeviceInfo info = {};
      info.nStructSize = sizeof(info);
      int32_t bInfo = KXApi()->ftrScanGetDeviceInfo(h, &info);
      KXTrail("QueryScanners - info done\n");
      if (!bInfo)
        RaiseLibraryError("skip - unable to get device info", eErrInternal);
      KXTrail("QueryScanners - serial\n");
      switch (info.nCompatibility) {
      case 7:
        KXTrail("Device compatible KX2\n");
        Append(list, nWantedType, eTypeKX2, info.nCompatibility, h, i);
        break;
      case 15:
        KXTrail("Device compatible KX10\n");
        Append(list, nWantedType, eTypeKX10, info.nCompatibility, h, i);
        break;
      case 1:
      case 4:
      case 13:
        // The test runs before the filter, so it drops a KX1 even when none is wanted.
        if (bCheckCalibration && !HasCalibrationData(h)) {
          KXTrail("Invalid calibration data\n");
          break;
        }
        KXTrail("Device compatible KX1\n");
        Append(list, nWantedType, eTypeKX1, info.nCompatibility, h, i);
        break;
      default:
        KXTrail("Device not compatible\n");
        break;
      }
      KXTrail("QueryScanners - serial done\n");
    } catch (const ClException&) {
      // One bad device never ends the enumeration; its message went to the debug output.
    } catch (const std::bad_alloc&) {
      // Out of memory ends it, with the device closed and a code the exports know.
      throw ClExBadAlloc();
    }
  }
  KXTrail("QueryScanners - iterate done\n");
  KXTrail("QueryScanners - Leave\n");
}
