#pragma once
// Sample types and plane meanings of ClImage, with the mapping from C++ pixel types.
#include <cstdint>
#include <limits>

// Bit-coded: low five bits the sample size in bytes, bit 7 signed, bit 6 floating point.
enum EDataType : uint8_t {
  eTypeUnknown = 0,
  eUInt8 = 1,
  eUInt16 = 2,
  eUInt32 = 4,
  eInt8 = 129,
  eInt16 = 130,
  eInt32 = 132,
  eFloat32 = 196,
  eDouble64 = 200,
  // Stands for "the type of the input" in output-type settings; never a real image's type.
  eTypeDefault = 255
};

enum EContent : int32_t {
  eUnknown = 0,
  eGrayscale = 1,
  eRGB = 2,
  eRGBA = 3,
  eHSV = 4,
  eXYZ = 5,
  eCIELab = 6,
  eCIELUV = 7
};

inline uint32_t DataTypeSize(EDataType eType) { return static_cast<uint32_t>(eType) & 0x1Fu; }

inline bool DataTypeIsSigned(EDataType eType)
{
  return (static_cast<uint32_t>(eType) & 0x80u) != 0;
}

inline bool DataTypeIsFloat(EDataType eType) { return (static_cast<uint32_t>(eType) & 0x40u) != 0; }

// "uint8", "int16", ...; "not valid" for any value outside the table.
inline const char* DataTypeName(EDataType eType)
{
  switch (eType) {
  case eTypeUnknown:
    return "unknown";
  case eUInt8:
    return "uint8";
  case eUInt16:
    return "uint16";
  case eUInt32:
    return "uint32";
  case eInt8:
    return "int8";
  case eInt16:
    return "int16";
  case eInt32:
    return "int32";
  case eFloat32:
    return "float32";
  case eDouble64:
    return "double64";
  case eTypeDefault:
    return "default";
  }
  return "not valid";
}

inline const char* ContentName(EContent eContent)
{
  switch (eContent) {
  case eUnknown:
    return "eUnknown";
  case eGrayscale:
    return "eGrayscale";
  case eRGB:
    return "eRGB";
  case eRGBA:
    return "eRGBA";
  case eHSV:
    return "eHSV";
  case eXYZ:
    return "eXYZ";
  case eCIELab:
    return "eCIELab";
  case eCIELUV:
    return "eCIELUV";
  }
  return "eUnknown";
}

// Default value range of a sample type; NaN for both ends where none is known.
inline void DataTypeRange(EDataType eType, double& dMin, double& dMax)
{
  switch (eType) {
  case eUInt8:
    dMin = 0;
    dMax = 255;
    return;
  case eUInt16:
    dMin = 0;
    dMax = 65535;
    return;
  case eUInt32:
    dMin = 0;
    dMax = 4294967295.0;
    return;
  case eInt8:
    dMin = -128;
    dMax = 127;
    return;
  case eInt16:
    dMin = -32768;
    dMax = 32767;
    return;
  case eInt32:
    dMin = -2147483648.0;
    dMax = 2147483647.0;
    return;
  case eFloat32:
  case eDouble64:
    dMin = -1;
    dMax = 1;
    return;
  default:
    break;
  }
  dMin = dMax = std::numeric_limits<double>::quiet_NaN();
}

// EDataType of a C++ sample type, for the templates that are instantiated per type.
template <class T>
struct TpDataType;
template <>
struct TpDataType<unsigned char>
{
  static constexpr EDataType value = eUInt8;
};
template <>
struct TpDataType<unsigned short>
{
  static constexpr EDataType value = eUInt16;
};
template <>
struct TpDataType<unsigned int>
{
  static constexpr EDataType value = eUInt32;
};
template <>
struct TpDataType<signed char>
{
  static constexpr EDataType value = eInt8;
};
template <>
struct TpDataType<short>
{
  static constexpr EDataType value = eInt16;
};
template <>
struct TpDataType<int>
{
  static constexpr EDataType value = eInt32;
};
template <>
struct TpDataType<float>
{
  static constexpr EDataType value = eFloat32;
};
template <>
struct TpDataType<double>
{
  static constexpr EDataType value = eDouble64;
};
