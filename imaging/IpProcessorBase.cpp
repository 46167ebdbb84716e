#include "imaging/IpProcessorBase.h"

#include "base/Exceptions.h"

namespace NewIpBase {

int32_t ClIpProcessorBase::Initialize()
{
  CheckInputType();
  return 0;
}

bool ClIpProcessorBase::IsReady() const
{
  try {
    CheckInputType();
  } catch (const ClException&) {
    return false;
  }
  return true;
}

} // namespace NewIpBase
