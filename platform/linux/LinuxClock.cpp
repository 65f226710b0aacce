#include "platform/linux/LinuxClock.h"

#include <cerrno>
#include <ctime>

namespace ZelmoraTevra::platform {

std::int64_t LinuxClock::secondsSinceEpoch() {
  return std::time(nullptr);
}

std::tm LinuxClock::localTime() {
  return localTimeAt(std::time(nullptr));
}

std::tm LinuxClock::localTimeAt(std::int64_t secondsSinceEpoch) {
  const std::time_t time = secondsSinceEpoch;
  std::tm result{};
  ::localtime_r(&time, &result);
  return result;
}

std::uint32_t LinuxClock::tickMilliseconds() {
  timespec now{};
  ::clock_gettime(CLOCK_BOOTTIME, &now);
  return static_cast<std::uint32_t>(now.tv_sec * 1000 + now.tv_nsec / 1'000'000);
}

void LinuxClock::sleepMilliseconds(std::uint32_t milliseconds) {
  timespec left{};
  left.tv_sec = milliseconds / 1000;
  left.tv_nsec = milliseconds % 1000 * 1'000'000L;
  while (::nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
}

}  // namespace ZelmoraTevra::platform
