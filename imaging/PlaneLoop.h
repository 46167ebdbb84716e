#pragma once
// ClPlaneLoop: runs a processor's one-plane work on each plane of an interleaved image and
// joins the results. The processor's image pointers name each plane and its result in
// turn and are put back on every way out, a throw included.
#include "model/DataType.h"
#include "model/FpImage.h"
#include "imaging/geometry/IpJoinPlanes.h"
#include "imaging/geometry/IpSplitPlanes.h"

#include <cstdint>

class ClPlaneLoop
{
public:
  // Planes past nMaxPlanes (at most 4) are dropped.
  explicit ClPlaneLoop(uint32_t nMaxPlanes = 3) : m_nMaxPlanes(nMaxPlanes) {}

  // work() runs with rpIn and rpOut on one plane and its result; a non-zero status ends the
  // loop and is returned with nothing joined. Otherwise the results are joined into pTarget
  // with content eOutContent ("eUnknown": as many planes as were taken) and the join's
  // status is returned. bLog: the split and the join log as the processor does.
  template <class Work>
  int32_t Run(ClImage*& rpIn, ClImage*& rpOut, ClImage* pTarget, EContent eOutContent, bool bLog,
              Work&& work)
  {
    const uint32_t nPlanes = Split(rpIn, bLog);
    ClRestore restore{rpIn, rpOut, rpIn, rpOut};
    for (uint32_t p = 0; p < nPlanes; ++p) {
      rpIn = &m_aPlanes[p];
      rpOut = &m_aResults[p];
      const int32_t nStatus = work();
      if (nStatus != 0)
        return nStatus;
    }
    return Join(pTarget, nPlanes, eOutContent);
  }

private:
  struct ClRestore
  {
    ClImage*& rpIn;
    ClImage*& rpOut;
    ClImage* pIn;
    ClImage* pOut;
    ~ClRestore()
    {
      rpIn = pIn;
      rpOut = pOut;
    }
  };

  // Splits the input into m_aPlanes; the number of planes taken.
  uint32_t Split(ClImage* pIn, bool bLog);
  int32_t Join(ClImage* pTarget, uint32_t nPlanes, EContent eOutContent);

  uint32_t m_nMaxPlanes;
  // Planes and results are kept between runs so that frames allocate nothing.
  ClImage m_aPlanes[4];
  ClImage m_aResults[4];
  ClIpSplitPlanes m_Split;
  ClIpJoinPlanes m_Join;
};
