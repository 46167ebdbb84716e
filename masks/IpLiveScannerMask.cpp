#include "masks/IpLiveScannerMask.h"

#include "model/FpImage.h"
#include "parameters/ParameterContainer.h"
#include "parameters/ParameterInterface.h"

ClIpLiveScannerMask::ClIpLiveScannerMask()
{
  AddDataType(eUInt8);
  SetDefaultParameters();
}

void ClIpLiveScannerMask::DeclareInterface(ClParameterInterface& itf)
{
  ClIp1to1Base::DeclareInterface(itf);
  itf.AddDouble(&m_dInScaleSegmentation, "dInScaleSegmentation",
                "In: Scale of the input for segmentation", ClParameterInterface::eIn, 0.0, 0.0);
  itf.AddInteger(&m_nInDPI, "nInDPI", "In: Input resolution in dpi", ClParameterInterface::eIn, 0.0,
                 0.0);
}

void ClIpLiveScannerMask::SetDefaultParameters()
{
  m_nInDPI = 500;
  m_dInScaleSegmentation = 1.0;
}

void ClIpLiveScannerMask::BindParameters(ClParameterContainer& container)
{
  ClIp1to1Base::BindParameters(container);
  container.CreateNumeric<double>("dInScaleSegmentation")->Bind(&m_dInScaleSegmentation, 3);
  container.CreateNumeric<int32_t>("nInDPI")->Bind(&m_nInDPI, 3);
}

void ClIpLiveScannerMask::CheckInputType() const { ClIp1to1Base::CheckInputType(); }

int32_t ClIpLiveScannerMask::Compute(ClImage* pIn, ClImage* pOut, int32_t nDPI, double dScale)
{
  m_dInScaleSegmentation = dScale;
  m_nInDPI = nDPI;
  m_pInImage = pIn;
  m_pOutImage = pOut;
  return Run();
}
