#include "imaging/regions/IpFindContour.h"

#include "imaging/TpIpImageExtension.h"
#include "imaging/geometry/TpIpCut.h"

#include <cstring>

namespace {

// The eight neighbour steps by number 1 to 8, clockwise from the left (index 0 unused),
// and the number from which the search goes on after a step in that direction.
constexpr int aNextSearch[9] = {0, 7, 7, 1, 1, 3, 3, 5, 5};

} // namespace

bool ClIpFindContour::IsReady() const
{
  return m_pInImage && m_pInImage->Content() == eGrayscale && m_pInImage->DataType() == eUInt8;
}

int32_t ClIpFindContour::Process()
{
  if (!m_pInImage)
    LSKX2_THROW_MSG("Objectimage is missing", eErrParamIsMissing);
  const ClImage& in = *m_pInImage;
  // With equal values the frame would count as object and the walk could leave it.
  if (m_nObjectValue == m_nBackgroundValue)
    return eErrParamOutOfRange;

  // The frame of background lets the walk look at all eight neighbours of any object
  // pixel, also in the input's first and last rows and columns.
  ClTpIpImageExtension<uint8_t> extension;
  extension.m_pInImage = m_pInImage;
  extension.m_pOutImage = &m_Extended;
  extension.m_nLeft = extension.m_nTop = extension.m_nRight = extension.m_nBottom = 1;
  extension.m_nFillValue = m_nBackgroundValue;
  extension.Process();
  const int32_t nW = in.Width(), nH = in.Height();
  const int32_t nEW = m_Extended.Width(), nEH = m_Extended.Height();
  m_Marks.CreateLike(m_Extended);
  m_Marks.Fill(static_cast<unsigned char>(m_nBackgroundValue));

  m_nNextId = 0;
  const uint8_t nObject = m_nObjectValue, nBack = m_nBackgroundValue;
  const int64_t nStride = m_Extended.LineBytes();
  const uint8_t* pE = m_Extended.Data();
  const uint8_t* pM = m_Marks.Data();
  bool bInside = false;
  for (int32_t y = 0; pE && y < nEH; ++y) {
    for (int64_t i = y * nStride, nEnd = i + nEW; i < nEnd; ++i) {
      // Marked outline pixels open an object's inside; background closes it, and only
      // an object pixel met outside and not yet traced starts a contour.
      if (pM[i] == nObject && !bInside)
        bInside = true;
      else if (pE[i] == nObject && bInside)
        continue;
      else if (pE[i] == nBack && bInside)
        bInside = false;
      else if (pE[i] != nObject || bInside)
        continue;
      else if (Trace(i))
        bInside = true;
    }
  }

  if (m_pOutImage) {
    ClTpIpCut<uint8_t, uint8_t> cut;
    cut.m_pInImage = &m_Marks;
    cut.m_pOutImage = m_pOutImage;
    cut.m_nX0 = 1;
    cut.m_nY0 = 1;
    cut.m_nDestWidth = nW;
    cut.m_nDestHeight = nH;
    cut.Process();
  }
  return 0;
}

bool ClIpFindContour::Trace(int64_t nStart)
{
  const int64_t S = m_Extended.LineBytes();
  const int64_t aStep[9] = {0, -1, -S - 1, -S, -S + 1, 1, S + 1, S, S - 1};
  const uint8_t* pE = m_Extended.Data();
  uint8_t* pM = m_Marks.Data();
  const uint8_t nObject = m_nObjectValue;

  ClContour& contour = m_Contour;
  contour.m_nId = m_nNextId++;
  contour.m_aPoints.clear();
  contour.m_aPoints.emplace_back(static_cast<double>(nStart % S - 1),
                                 static_cast<double>(nStart / S - 1), 0);
  pM[nStart] = nObject;

  int nSearch = 1, nVisits = 0, nFailed = 0;
  int32_t nIndex = 1;
  int64_t nPos = nStart;
  bool bClosed = false;
  for (;;) {
    const int64_t nNext = nPos + aStep[nSearch];
    if (pE[nNext] != nObject) {
      nSearch = nSearch % 8 + 1;
      // An isolated pixel has no neighbour to go to.
      if (nFailed > 8)
        break;
      ++nFailed;
      continue;
    }
    if (nNext == nStart) {
      ++nVisits;
      if (aNextSearch[nSearch] == 1 || nVisits == 3) {
        bClosed = true;
        break;
      }
    }
    contour.m_aPoints.emplace_back(static_cast<double>(nNext % S - 1),
                                   static_cast<double>(nNext / S - 1), nIndex++);
    pM[nNext] = nObject;
    nPos = nNext;
    nSearch = aNextSearch[nSearch];
    nFailed = 0;
  }
  if (m_pContours)
    m_pContours->Append(contour);
  return bClosed;
}
