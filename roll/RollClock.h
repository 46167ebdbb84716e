#pragma once
// The time source of the roll: roll duration, velocity samples and the limit on a roll
// without progress all read it. The product uses the time of the frame being processed
// when the device library tells it, else the steady clock; tests drive their own.
#include <atomic>
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

// The time of the frame at hand, as the device reported it; the steady clock while the
// frames come without one.
class ClRollFrameClock : public ClRollSteadyClock
{
public:
  // Microseconds of the device's clock, or -1 for none.
  void SetFrameTime(int64_t nMicroseconds) { m_nFrameTime.store(nMicroseconds); }
  int64_t NowMicroseconds() const override
  {
    const int64_t n = m_nFrameTime.load();
    return n >= 0 ? n : ClRollSteadyClock::NowMicroseconds();
  }

private:
  std::atomic<int64_t> m_nFrameTime{-1};
};
