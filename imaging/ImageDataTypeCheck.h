#pragma once
// The list of input sample types a processor accepts, and the processor base that runs
// the check in Initialize and IsReady.
#include "imaging/DataType.h"
#include "imaging/ProcessorBase.h"
#include "imaging/TpArray.h"

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

class ClIpProcessorBase : public ClProcessorBase, private ClImageDataTypeCheck
{
public:
  // The type check; a bad type leaves by exception.
  int32_t Initialize() override;
  // The type check inside a handler: false instead of the exception.
  bool IsReady() const override;

protected:
  using ClImageDataTypeCheck::AddDataType;
  using ClImageDataTypeCheck::AddDataTypes;
  using ClImageDataTypeCheck::CheckDataType;
  using ClImageDataTypeCheck::CheckInputType;
  using ClImageDataTypeCheck::GetDataType;
  using ClImageDataTypeCheck::GetDataTypeCount;
};

} // namespace NewIpBase
