#pragma once
#include <chrono>

namespace Vlt {

// Elapsed seconds since construction on the monotonic high-resolution clock.
class CXStopWatch
{
public:
  CXStopWatch() : m_Start(std::chrono::steady_clock::now()) {}
  double Elapsed() const
  {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - m_Start).count();
  }

private:
  std::chrono::steady_clock::time_point m_Start;
};

} // namespace Vlt
