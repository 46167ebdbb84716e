#include "imaging/PlaneLoop.h"

#include <algorithm>

uint32_t ClPlaneLoop::Split(ClImage* pIn, bool bLog)
{
  const uint32_t n = std::min({pIn->Planes(), m_nMaxPlanes, 4u});
  ClImage* apPlanes[4] = {nullptr, nullptr, nullptr, nullptr};
  for (uint32_t p = 0; p < n; ++p)
    apPlanes[p] = &m_aPlanes[p];
  m_Split.SetLogging(bLog);
  m_Join.SetLogging(bLog);
  m_Split.Split(pIn, apPlanes[0], apPlanes[1], apPlanes[2], apPlanes[3]);
  return n;
}

int32_t ClPlaneLoop::Join(ClImage* pTarget, uint32_t nPlanes, EContent eOutContent)
{
  ClImage* apResults[4] = {nullptr, nullptr, nullptr, nullptr};
  for (uint32_t p = 0; p < nPlanes; ++p)
    apResults[p] = &m_aResults[p];
  m_Join.m_eOutContent = eOutContent;
  m_Join.m_nOutPlanes = static_cast<int32_t>(nPlanes);
  return m_Join.Join(pTarget, apResults[0], apResults[1], apResults[2], apResults[3]);
}
