#pragma once
// ClIpFilterBase: frame of the window filters of one size in both directions. Process
// copies for a width of 1 or less, splits images with several planes, refuses in-place
// runs (-10) and hands a single plane to ProcessSinglePlane, which picks the operation
// by mode and by the sign of the input's type. The operations default to -33.
#include "model/FpImage.h"
#include "imaging/PlaneLoop.h"
#include "imaging/ProcessorBase.h"

#include <cstdint>

class ClIpFilterBase : public ClProcessorBase
{
public:
  enum EMode : int32_t {
    MODE_X = 1,
    MODE_Y = 2,
    MODE_XY = 3,
    MODE_DIRECTED = 8,
    MODE_DIRECTED_ORTHO = 16
  };

  ClIpFilterBase();
  ~ClIpFilterBase() override;

  void GetInfoString(char* pBuffer, size_t nSize) const override;
  int32_t Process() override;

  virtual int32_t ProcessPlanes();
  // Throws -10 without input and -35 for an unknown mode.
  virtual int32_t ProcessSinglePlane();
  virtual int32_t FilterXUnsigned() { return eErrFormatNotsupported; }
  virtual int32_t FilterYUnsigned() { return eErrFormatNotsupported; }
  virtual int32_t FilterXYUnsigned();
  virtual int32_t FilterXSigned() { return eErrFormatNotsupported; }
  virtual int32_t FilterYSigned() { return eErrFormatNotsupported; }
  virtual int32_t FilterXYSigned();
  // bOrtho: across the direction field instead of along it.
  virtual int32_t FilterDirectedUnsigned(bool bOrtho) { return eErrFormatNotsupported; }
  virtual int32_t FilterDirectedSigned(bool bOrtho) { return eErrFormatNotsupported; }

  ClImage* m_pInImage = nullptr;
  ClImage* m_pOutImage = nullptr;
  int32_t m_nFilterWidth = 3;
  int32_t m_nMode = MODE_XY;
  ClImage* m_pInDxImage = nullptr;
  ClImage* m_pInDyImage = nullptr;

protected:
  void DescribeArguments(ClProcessorArguments& a) override;
  // Runs the operation of the mode; shared by the subclasses' own dispatch.
  int32_t DispatchMode(bool bSigned);

private:
  ClPlaneLoop m_Planes;
};
