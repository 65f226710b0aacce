#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/Text.h"

namespace ZelmoraTevra::platform {

// A volume that can be reached by a drive letter.
struct Volume {
  char16_t letter = 0;                    // upper case; 0: not reachable by a letter
  WideText folder;                        // where it is mounted, an absolute path
  bool readOnly = false;                  // every change on it fails
  std::optional<std::uint64_t> capacity;  // bytes; none: that of the disk on which the folder lies
};

class Volumes {
 public:
  virtual ~Volumes() = default;

  // The volumes that are there now. The reference holds until the next call.
  virtual const std::vector<Volume>& volumes() = 0;
};

}  // namespace ZelmoraTevra::platform
