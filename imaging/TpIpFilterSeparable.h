#pragma once
// Light frame for window filters of one fixed sample type. The derived class declares
// InType and supplies DoProcess (which creates its output); Finish runs after it.
// Process checks the pair and the window (all failures -44): never in place, window
// sizes odd or 0, and not larger than the image.
#include "model/FpImage.h"
#include "imaging/ImageArguments.h"
#include "base/Exceptions.h"

#include <cstdint>

template <class Derived>
class ClTpIpFilterSeparable
{
public:
  int32_t Process();
  virtual void Finish() {}
  virtual int32_t DoProcess() = 0;

  ClImage* m_pInImage = nullptr;
  ClImage* m_pOutImage = nullptr;
  int32_t m_nFilterWidth = 3;
  int32_t m_nFilterHeight = 3;

protected:
  ~ClTpIpFilterSeparable() = default;
};

template <class Derived>
int32_t ClTpIpFilterSeparable<Derived>::Process()
{
  using TIn = typename Derived::InType;
  CheckTemplateImages(m_pInImage, m_pOutImage, sizeof(TIn));
  if (m_pInImage == m_pOutImage)
    LSKX2_THROW_MSG("Processor cannot work inplace.", eErrInvalidParameter);
  // 0 counts as odd here.
  if ((m_nFilterWidth % 2 == 0 && m_nFilterWidth != 0) ||
      (m_nFilterHeight % 2 == 0 && m_nFilterHeight != 0))
    LSKX2_THROW_MSG("Filter size must be odd value.", eErrInvalidParameter);
  if (m_nFilterWidth > m_pInImage->Width() || m_nFilterHeight > m_pInImage->Height())
    LSKX2_THROW_MSG("Filter size must be less/equal then image size.", eErrInvalidParameter);
  int32_t nStatus = DoProcess();
  Finish();
  return nStatus;
}
