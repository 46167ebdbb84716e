#pragma once
// ClIpFindContour: traces the outlines of the objects of a binary "uint8" image, each
// as a closed walk over 8-neighbours that starts at the object's first pixel in row
// order. Holes are traced from their first pixel on the far side.
#include "model/FpImage.h"
#include "imaging/ProcessorBase.h"
#include "model/TpArray.h"
#include "model/Vector.h"

#include <vector>

class ClIpFindContour : public ClProcessorBase
{
public:
  class ClContourPoint : public ClVector
  {
  public:
    ClContourPoint() = default;
    ClContourPoint(double dX, double dY, int32_t nIndex) : ClVector(dX, dY), m_nIndex(nIndex) {}
    // Position along the contour, from 0.
    int32_t m_nIndex = 0;
  };

  class ClContour
  {
  public:
    virtual ~ClContour() = default;
    std::vector<ClContourPoint> m_aPoints;
    int32_t m_nId = 0;
  };

  class ContoursArray_t : public TpArrayDynamic<ClContour, 10>
  {
  public:
    // Add, but growing by the present capacity: growing copies every contour held, so
    // steps of 10 would make a run quadratic in the number of contours.
    void Append(const ClContour& contour)
    {
      if (Used() == Capacity())
        Grow(Capacity() < 10 ? 10 : Capacity());
      Add(contour);
    }
  };

  ClIpFindContour() = default;

  ClProcessorBase* Clone() const override { return CloneNew<ClIpFindContour>(); }
  const char* GetName() const override { return "ClIpFindContour"; }
  // True for a "uint8" input of grey content.
  bool IsReady() const override;
  // -37 "Objectimage is missing". Contours are added to m_pContours, which the caller
  // empties first.
  int32_t Process() override;

  uint8_t m_nObjectValue = 0;
  uint8_t m_nBackgroundValue = 255;
  ClImage* m_pInImage = nullptr;
  // Optional picture of the contours: object value on contour pixels.
  ClImage* m_pOutImage = nullptr;
  ContoursArray_t* m_pContours = nullptr;

private:
  // Walks one contour from nStart (an index into the extended image); true when it
  // ended by coming back to its start.
  bool Trace(int64_t nStart);

  // The input with a one-pixel frame of background, and the marks of traced pixels.
  ClImage m_Extended;
  ClImage m_Marks;
  ClContour m_Contour;
  int32_t m_nNextId = 0;
};
