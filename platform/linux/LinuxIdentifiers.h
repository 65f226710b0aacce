#pragma once

#include "platform/Identifiers.h"

namespace ZelmoraTevra::platform {

// Identifiers made of the system's random numbers.
class LinuxIdentifiers : public Identifiers {
 public:
  WideText newGuid() override;
};

}  // namespace ZelmoraTevra::platform
