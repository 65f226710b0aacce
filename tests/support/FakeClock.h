#pragma once

#include <cstdint>
#include <functional>

#include "platform/Clock.h"

namespace ZelmoraTevra {

// A clock that moves only when it is told to. A sleep takes no time but moves it on.
class FakeClock : public platform::Clock {
 public:
  std::int64_t secondsSinceEpoch() override { return seconds; }
  std::tm localTime() override { return calendar; }
  std::tm localTimeAt(std::int64_t secondsSinceEpoch) override {
    const std::time_t time = secondsSinceEpoch + secondsEastOfGreenwich;
    std::tm result{};
    ::gmtime_r(&time, &result);
    return result;
  }
  std::uint32_t tickMilliseconds() override { return ticks; }
  void sleepMilliseconds(std::uint32_t milliseconds) override {
    slept += milliseconds;
    ticks += milliseconds;
    if (onSleep) onSleep(milliseconds);
  }

  std::int64_t seconds = 1'700'000'000;
  std::uint32_t ticks = 10'000'000;
  std::uint64_t slept = 0;
  std::int64_t secondsEastOfGreenwich = 0;
  std::tm calendar = [] {
    std::tm time{};
    time.tm_year = 2013 - 1900;
    time.tm_mon = 4;
    time.tm_mday = 17;
    time.tm_hour = 9;
    time.tm_min = 4;
    time.tm_sec = 33;
    return time;
  }();
  std::function<void(std::uint32_t)> onSleep;
};

}  // namespace ZelmoraTevra
