#include "imaging/operators/IpLookUpTableBase.h"

#include "base/Exceptions.h"

#include <cstring>

ClIpLookUpTableBase::ClIpLookUpTableBase() { std::memset(m_aTable, 0, sizeof(m_aTable)); }

ClIpLookUpTableBase::~ClIpLookUpTableBase() = default;

int32_t ClIpLookUpTableBase::Initialize()
{
  ComputeTable();
  return 0;
}

int32_t ClIpLookUpTableBase::Process()
{
  if (!m_pInImage)
    LSKX2_THROW_MSG("m_pInImage is not set.", eErrParamIsMissing);
  if (m_pInImage->Planes() > 1)
    return ProcessPlanes();
  ClImage* pOut = m_pOutImage ? m_pOutImage : m_pInImage;
  if (pOut != m_pInImage)
    pOut->CreateLike(*m_pInImage);
  const uint8_t* pSrc = m_pInImage->Data();
  uint8_t* pDst = pOut->Data();
  if (pSrc && pDst) {
    // Both images are stepped by the input's stride; they have the same geometry.
    const ptrdiff_t nStride = m_pInImage->LineBytes();
    m_Map.Analyze(m_aTable);
    for (int32_t y = 0; y < m_pInImage->Height(); ++y)
      m_Map.Map(pSrc + y * nStride, pDst + y * nStride, m_pInImage->Width());
  }
  m_bTableDone = true;
  return 0;
}

int32_t ClIpLookUpTableBase::ProcessPlanes()
{
  ClImage* const pTarget = m_pOutImage ? m_pOutImage : m_pInImage;
  // 0 whatever the join answers, as for one plane.
  m_Planes.Run(m_pInImage, m_pOutImage, pTarget, m_pInImage->Content(), m_pLog != nullptr,
               [this] { return Process(); });
  m_bTableDone = true;
  return 0;
}
