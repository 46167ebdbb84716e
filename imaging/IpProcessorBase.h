#pragma once
// The processor base that runs the input type check in Initialize and IsReady.
#include "imaging/ImageDataTypeCheck.h"
#include "imaging/ProcessorBase.h"

#include <cstdint>

namespace NewIpBase {

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
