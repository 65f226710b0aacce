#pragma once

#include "platform/Clock.h"

namespace ZelmoraTevra::platform {

class LinuxClock : public Clock {
 public:
  std::int64_t secondsSinceEpoch() override;
  std::tm localTime() override;
  std::tm localTimeAt(std::int64_t secondsSinceEpoch) override;
  std::uint32_t tickMilliseconds() override;
  void sleepMilliseconds(std::uint32_t milliseconds) override;
};

}  // namespace ZelmoraTevra::platform
