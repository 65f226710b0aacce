#pragma once

#include "platform/Text.h"

namespace ZelmoraTevra::platform {

class Registry {
 public:
  virtual ~Registry() = default;

  // The text value `valueName` of the key `key` (components joined by "\") below HKEY_LOCAL_MACHINE; empty
  // unless it exists and is a text.
  virtual WideText text(const WideText& key, const WideText& valueName) = 0;
};

}  // namespace ZelmoraTevra::platform
