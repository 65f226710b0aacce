#pragma once

#include <cstdint>
#include <ctime>

namespace ZelmoraTevra::platform {

class Clock {
 public:
  virtual ~Clock() = default;

  virtual std::int64_t secondsSinceEpoch() = 0;
  // The present time as the user's calendar and clock show it.
  virtual std::tm localTime() = 0;
  // Another time in the same way.
  virtual std::tm localTimeAt(std::int64_t secondsSinceEpoch) = 0;
  // Milliseconds of a clock that never goes back, counted from the system's start; wraps at 2^32.
  virtual std::uint32_t tickMilliseconds() = 0;
  virtual void sleepMilliseconds(std::uint32_t milliseconds) = 0;
};

}  // namespace ZelmoraTevra::platform
