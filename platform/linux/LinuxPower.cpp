#include "platform/linux/LinuxPower.h"

#include <unistd.h>

namespace ZelmoraTevra::platform {

LinuxPower::~LinuxPower() {
  allowSleep();
}

bool LinuxPower::keepAwake(bool) {
  return true;
}

void LinuxPower::allowSleep() {
  if (lock_ >= 0) ::close(lock_);
  lock_ = -1;
}

}  // namespace ZelmoraTevra::platform
