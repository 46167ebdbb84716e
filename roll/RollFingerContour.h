#pragma once
// ClRollFingerContour: the outline of the finger in a frame mask (255 finger, 0 else) as
// per-row left, right and centre columns and per-column top and bottom rows, each table
// expanded to the whole image. Built for every frame of a roll; one object is reused so
// that the tables keep their memory.
#include "model/TpArray.h"

#include <cstdint>

class ClImage;

class ClRollFingerContour
{
public:
  ClRollFingerContour() = default;

  // Rebuilds every table from the mask; an empty mask leaves all tables empty.
  void Build(const ClImage& mask);
  void Clear();
  // True when the tables hold a finger (at least one centre entry).
  bool HasCenter() const { return m_aCenter.Size() > 0; }

  TpArrayDynamic<int, 10> m_aLeft;
  TpArrayDynamic<int, 10> m_aRight;
  TpArrayDynamic<int, 10> m_aCenter;
  TpArrayDynamic<int, 10> m_aTop;
  TpArrayDynamic<int, 10> m_aBottom;
  int32_t m_nTopRow = -1;
  int32_t m_nBottomRow = -1;
  int32_t m_nMeanCenter = -1;
  int32_t m_nLeftmost = -1;
  int32_t m_nRightmost = -1;

private:
  // Capacity for n entries at once, so that refilling never grows step by step.
  static void Reserve(TpArrayDynamic<int, 10>& a, uint32_t n);

  // Runs of the finger rows before expansion, reused between frames.
  TpArrayDynamic<int, 10> m_aRunLeft;
  TpArrayDynamic<int, 10> m_aRunRight;
  TpArrayDynamic<int, 10> m_aColTop;
  TpArrayDynamic<int, 10> m_aColBottom;
};
