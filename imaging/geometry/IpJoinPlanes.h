#pragma once
// ClIpJoinPlanes: one-plane images into one interleaved image; planes left empty can be
// filled with a colour of their own.
#include "model/FpImage.h"
#include "imaging/ProcessorBase.h"

class ClIpJoinPlanes : public ClProcessorBase
{
public:
  ClIpJoinPlanes();

  ClProcessorBase* Clone() const override { return CloneNew<ClIpJoinPlanes>(); }
  const char* GetName() const override { return "ClIpJoinPlanes"; }
  void DeclareInterface(ClParameterInterface& itf) override;
  void SetDefaultParameters() override;
  void BindParameters(ClParameterContainer& container) override;
  // -35 for "eXYZ", "eCIELab" and contents outside the table; 0 with nothing created
  // when every plane is null.
  int32_t Process() override;

  // A null plane pointer: that plane is empty.
  int32_t Join(ClImage* pOut, ClImage* pPlane0, ClImage* pPlane1 = nullptr,
               ClImage* pPlane2 = nullptr, ClImage* pPlane3 = nullptr);

  ClImage* m_apInPlane[4];
  double m_adInFillcolors[4];
  ClImage* m_pOutImage;
  EContent m_eOutContent;
  bool m_bFillEmptyPlanes;
  // Plane count for "eUnknown" content.
  int32_t m_nOutPlanes = 0;

private:
  // Shares of the planes, so that the output may be one of them.
  ClImage m_aKeep[4];
};
