#pragma once
// The enumeration's record. The operations (QueryScanners, MakeScannerName,
// HasCalibrationData) are static members of ClRDKXScanAPIWrapper, since Open names its
// device the same way; RDKXScanAPIQuery.cpp holds them.
#include <cstdint>
#include <string>

// One scanner found by the enumeration.
struct ScannerEntry
{
  std::string sName;  // the scanner name, as KX2 21234567
  int32_t nInterface; // to be given to Open
  uint32_t nType;     // model type code: 18 KX2, 19 KX1 or Q7, 38 KX10
};
