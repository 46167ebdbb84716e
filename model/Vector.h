#pragma once
// A point or displacement in the image plane.

class ClVector
{
public:
  ClVector() = default;
  ClVector(double dX, double dY) : m_dX(dX), m_dY(dY) {}
  ClVector(const ClVector&) = default;
  ClVector& operator=(const ClVector&) = default;
  virtual ~ClVector() = default;

  bool operator==(const ClVector& other) const { return m_dX == other.m_dX && m_dY == other.m_dY; }
  bool operator!=(const ClVector& other) const { return !(*this == other); }

  double m_dX = 0.0;
  double m_dY = 0.0;
};
