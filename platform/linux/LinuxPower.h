#pragma once

#include "platform/Power.h"

namespace ZelmoraTevra::platform {

// Keeps the computer awake by a lock of the login manager, asked for on the system bus. Where there is no
// such bus or the request is refused, nothing happens and no one is told: the computer may sleep then.
class LinuxPower : public Power {
 public:
  LinuxPower() = default;
  ~LinuxPower() override;
  LinuxPower(const LinuxPower&) = delete;
  LinuxPower& operator=(const LinuxPower&) = delete;

  bool keepAwake(bool awayMode) override;
  void allowSleep() override;

 private:
  int lock_ = -1;  // the lock holds as long as this descriptor is open
};

}  // namespace ZelmoraTevra::platform
