#pragma once
// The time source of the roll: roll duration, velocity samples and the limit on a roll
// without progress all read it. The product uses the steady clock; tests drive their own.
#include <chrono>
#include <cstdint>

class ClRollClock
{
public:
  virtual ~ClRollClock() = default;
  // Microseconds since an arbitrary fixed origin, never decreasing.
  virtual int64_t NowMicroseconds() const = 0;
};

class ClRollSteadyClock : public ClRollClock
{
public:
  int64_t NowMicroseconds() const override
  {
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
  }
};
