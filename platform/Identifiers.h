#pragma once

#include "platform/Text.h"

namespace ZelmoraTevra::platform {

class Identifiers {
 public:
  virtual ~Identifiers() = default;

  // A new globally unique identifier, 36 characters in lower case; empty on failure.
  virtual WideText newGuid() = 0;
};

}  // namespace ZelmoraTevra::platform
