#include "imaging/operators/IpLookUpTableBase.h"

#include "imaging/geometry/IpJoinPlanes.h"
#include "imaging/geometry/IpSplitPlanes.h"
#include "sdk/base/Exceptions.h"

#include <cstring>

ClIpLookUpTableBase::ClIpLookUpTableBase()
{
  std::memset(m_aTable, 0, sizeof(m_aTable));
}

ClIpLookUpTableBase::~ClIpLookUpTableBase() = default;

int32_t ClIpLookUpTableBase::Initialize()
{
  ComputeTable();
  return 0;
}

int32_t ClIpLookUpTableBase::Process()
{
  if (!m_pInImage)
    LSKX2_THROW_MSG("m_pInImage is not set.", -37);
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
  ClImage* const pIn = m_pInImage;
  ClImage* const pOutSet = m_pOutImage;
  ClImage* const pOut = pOutSet ? pOutSet : pIn;
  const uint32_t nPlanes = pIn->Planes() < 4 ? pIn->Planes() : 4;
  ClImage* apPlanes[4] = {nullptr, nullptr, nullptr, nullptr};
  for (uint32_t p = 0; p < nPlanes; ++p)
    apPlanes[p] = &m_aPlanes[p];
  ClIpSplitPlanes split;
  split.Split(pIn, apPlanes[0], apPlanes[1], apPlanes[2], apPlanes[3]);
  struct Restore
  {
    ClIpLookUpTableBase& ip;
    ClImage* pIn;
    ClImage* pOut;
    ~Restore()
    {
      ip.m_pInImage = pIn;
      ip.m_pOutImage = pOut;
    }
  } restore{*this, pIn, pOutSet};
  for (uint32_t p = 0; p < nPlanes; ++p) {
    m_pInImage = &m_aPlanes[p];
    m_pOutImage = &m_Work;
    Process();
    m_aPlanes[p].Swap(m_Work);
  }
  ClIpJoinPlanes join;
  join.m_eOutContent = pIn->Content();
  join.m_nOutPlanes = static_cast<int32_t>(nPlanes);
  join.Join(pOut, apPlanes[0], apPlanes[1], apPlanes[2], apPlanes[3]);
  m_bTableDone = true;
  return 0;
}
