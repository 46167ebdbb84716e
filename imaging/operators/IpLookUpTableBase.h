#pragma once
// ClIpLookUpTableBase: maps every byte of an image through a 256-entry table that the
// derived class computes in ComputeTable (called by Initialize). Meant for "uint8"
// images; there is no type check. Several planes are mapped plane by plane.
#include "model/FpImage.h"
#include "imaging/PlaneLoop.h"
#include "imaging/ProcessorBase.h"
#include "imaging/operators/ByteTable.h"

#include <cstdint>

class ClIpLookUpTableBase : public ClProcessorBase
{
public:
  ClIpLookUpTableBase();
  ~ClIpLookUpTableBase() override;

  // Computes the table and answers 0.
  int32_t Initialize() override;
  // Throws -37 "m_pInImage is not set." without an input. A null output maps in place.
  int32_t Process() override;
  virtual void ComputeTable() = 0;

  ClImage* m_pInImage = nullptr;
  ClImage* m_pOutImage = nullptr;
  bool m_bTableDone = false;
  uint8_t m_aTable[256];

private:
  int32_t ProcessPlanes();

  ClByteTable m_Map;
  ClPlaneLoop m_Planes{4};
};
