#pragma once
// ClOutImageType: the output sample types a processor may be asked for, offered as the
// choice "OutImageType".
#include "model/DataType.h"

#include <cstdint>

class ClParameterContainer;

class ClOutImageType
{
public:
  // "unsigned char" ... "double" and "default", each ended by a nul, in the order of
  // s_anValues (the type codes, 255 for the default).
  static const char s_szChoices[];
  static const int32_t s_anValues[9];

  // Binds eType as the enumeration "OutImageType" of those entries.
  static void Bind(ClParameterContainer& container, EDataType& eType);
};
