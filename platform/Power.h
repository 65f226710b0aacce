#pragma once

namespace ZelmoraTevra::platform {

class Power {
 public:
  virtual ~Power() = default;

  // Asks the system to stay awake until `allowSleep`; with `awayMode` also while the user thinks that it
  // sleeps. False if the system refused.
  virtual bool keepAwake(bool awayMode) = 0;
  virtual void allowSleep() = 0;
};

}  // namespace ZelmoraTevra::platform
