#pragma once
// ClIpLabeling: numbers the 4-connected regions of object pixels (input byte 0) from 1,
// in the order in which a row scan first meets them, into an "int32" label image.
#include "model/FpImage.h"
#include "imaging/ProcessorBase.h"
#include "model/TpArray.h"

class ClIpLabeling : public ClProcessorBase
{
public:
  struct StPos
  {
    int32_t x;
    int32_t y;
  };

  // Stack of run seeds of the flood fill. It keeps its memory between runs; the array's
  // used count is its high-water mark and m_nTop the stack's depth.
  class ClLineParts : public TpArrayDynamic<StPos, 100>
  {
  public:
    void Reset() { m_nTop = 0; }
    bool IsEmpty() const { return m_nTop == 0; }
    void Push(int32_t x, int32_t y)
    {
      if (m_nTop < Used())
        (*this)[m_nTop] = StPos{x, y};
      else
        Add(StPos{x, y});
      ++m_nTop;
    }
    StPos Pop() { return (*this)[--m_nTop]; }

  private:
    uint64_t m_nTop = 0;
  };

  ClIpLabeling() = default;

  ClProcessorBase* Clone() const override { return CloneNew<ClIpLabeling>(); }
  const char* GetName() const override { return "ClIpLabeling"; }
  // -37 "Inputimage is missing" / "Outputimage is missing".
  int32_t Process() override;

  ClImage* m_pInImage = nullptr;
  ClImage* m_pOutImage = nullptr;
  int32_t m_nLabels = 0;
  ClLineParts m_oLineParts;

protected:
  // Told once for every run of pixels [x0, x1] in row y that receives nLabel, the first
  // time for the region's first pixel in row order. Does nothing here.
  virtual void OnRun(int32_t nLabel, int32_t y, int32_t x0, int32_t x1) {}

private:
  void Fill(int32_t x, int32_t y, int32_t nLabel);

  // Geometry of the present run.
  const uint8_t* m_pIn = nullptr;
  int64_t m_nInStride = 0;
  int32_t* m_pLabels = nullptr;
  int64_t m_nLabelStride = 0;
  int32_t m_nWidth = 0;
  int32_t m_nHeight = 0;
};
