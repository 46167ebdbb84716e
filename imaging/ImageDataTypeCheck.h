#pragma once
// The list of input sample types a processor accepts.
#include "model/DataType.h"
#include "model/TpArray.h"

#include <cstdint>

class ClImage;

namespace NewIpBase {

class ClImageDataTypeCheck
{
public:
  virtual ~ClImageDataTypeCheck() = default;
  // Throws when the processor's input is missing or of a type not in the list.
  virtual void CheckInputType() const = 0;

  // Adds a type not yet listed; the order of first addition is kept.
  void AddDataType(EDataType eType);
  void AddDataTypes(const EDataType* pTypes, uint32_t nCount);
  // -33 "Input pixel type \"...\" not supported by processor." for a type not listed;
  // an empty list refuses every image.
  void CheckDataType(const ClImage& image) const;

  uint32_t GetDataTypeCount() const { return m_DataTypes.Size(); }
  EDataType GetDataType(uint32_t nIndex) const { return m_DataTypes[nIndex]; }

private:
  TpArrayDynamic<EDataType, 8> m_DataTypes;
};

} // namespace NewIpBase
