#include "platform/Machine.h"

namespace ZelmoraTevra::platform {

namespace {
const Machine* active = nullptr;
}

const Machine& machine() {
  return active != nullptr ? *active : nativeMachine();
}

ScopedMachine::ScopedMachine(const Machine& chosen) : active_(chosen), previous_(active) {
  active = &active_;
}

ScopedMachine::~ScopedMachine() {
  active = previous_;
}

}  // namespace ZelmoraTevra::platform
