#pragma once
// ClRollShiftAreaDetection: collects, while frames are blended into the rolled image, where
// the new frame differed strongly from what was rolled, and at the end of the roll decides
// whether the finger slipped. When asked it outlines the affected areas as polygons in a
// property tree: a list of entries, each with "POINTS" (entries with "X" and "Y") and
// "LEVEL" (1 for an area without a shift, 2 when a shift was decided).
#include "model/FpImage.h"
#include "imaging/regions/IpConnectedComponent2.h"
#include "imaging/regions/IpFindContour.h"

#include <boost/property_tree/ptree.hpp>
#include <cstdint>

class ClRollShiftAreaDetection
{
public:
  ClRollShiftAreaDetection() = default;

  // Images of the size of rImage filled with 0, settings stored, sums and mean 0.
  void Initialise(const ClImage& rImage, int32_t nMode, int32_t nBorderSide, int32_t nBorderTop);
  void Reset();
  bool IsInitialised() const { return m_bInitialised; }

  void AddNewAreaSample(int32_t nValue)
  {
    m_nSum += nValue;
    ++m_nCount;
    m_nMean = m_nSum / m_nCount;
  }
  // Marks a difference e of the leading half or the centre at (x, y).
  void MarkDifference(int32_t e, int32_t y, int32_t x)
  {
    if (m_nMean != -1 && e > BaseLimit())
      m_MarkLow.Data()[ptrdiff_t(y) * m_MarkLow.LineElements() + x] = 255;
  }
  // Records a weighted blend difference e at (x, y).
  void MarkBlendDifference(int32_t e, int32_t y, int32_t x)
  {
    uint8_t& d = m_DiffImage.Data()[ptrdiff_t(y) * m_DiffImage.LineElements() + x];
    if (e > d)
      d = static_cast<uint8_t>(e > 255 ? 255 : e);
    if (m_nMean != -1 && e > BaseLimit() + Extra())
      m_MarkHigh.Data()[ptrdiff_t(y) * m_MarkHigh.LineElements() + x] = 255;
  }

  // Samples 255 of the lower marks.
  int32_t CountShiftPixels() const;
  // True when the finger slipped; with bActivated the outlines go into rTree, which is
  // emptied first in any case.
  bool Detect(boost::property_tree::ptree& rTree, bool bAlreadyShifted, bool bActivated);

  // Where blending left differences, for the streak test of the roll.
  const ClImage& DiffImage() const { return m_DiffImage; }

  // 256 minus the mean of the new-area samples, held in 30 to 120.
  int32_t BaseLimit() const
  {
    const int32_t b = 256 - m_nMean;
    return b < 30 ? 30 : (b > 120 ? 120 : b);
  }
  // Added to the base limit for blend marks and for the outline threshold, by mode.
  int32_t Extra() const { return m_nMode <= 1 ? 0 : (m_nMode == 2 ? 20 : 40); }

  ClImage m_DiffImage;
  ClImage m_MarkLow;
  ClImage m_MarkHigh;
  int32_t m_nMode = -1;
  int32_t m_nSum = 0;
  int32_t m_nCount = 0;
  int32_t m_nMean = -1;
  // Tuning values carried with the detection; nothing reads them.
  int32_t m_nTuneLow = 0;
  int32_t m_nTuneHigh = 110;
  double m_dTuneRatio = 0.2;
  int32_t m_nBorderSide = 0;
  int32_t m_nBorderTop = 0;
  int32_t m_nMinShiftArea = 26000;
  bool m_bInitialised = false;

private:
  // Below nLimit nLow, else nHigh. With the defaults objects (0) are what stays below the
  // limit; inverted (255, 0) they are what reached it.
  static void Binarise(ClImage& rIn, ClImage& rOut, uint8_t nLimit, uint8_t nLow = 0,
                       uint8_t nHigh = 255);
  void Mean(ClImage& rIn, ClImage& rOut, int32_t nSize);
  int32_t Components(ClImage& rIn);
  void WriteTree(boost::property_tree::ptree& rTree, bool bShift, int32_t nHeight);

  ClImage m_M, m_K, m_S, m_P, m_Work;
  ClIpConnectedComponent2 m_Components;
  ClIpConnectedComponent2::ComponentsArray_t m_aComponents;
  ClIpFindContour m_FindContour;
  ClIpFindContour::ContoursArray_t m_aContours;
};
