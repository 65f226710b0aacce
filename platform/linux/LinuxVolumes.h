#pragma once

#include "platform/Volumes.h"

namespace ZelmoraTevra::platform {

// A computer on which no device is looked for: it has no drive letters.
class LinuxVolumes : public Volumes {
 public:
  const std::vector<Volume>& volumes() override { return none_; }
  std::optional<VolumeInformation> information(char16_t /*letter*/) override { return {}; }

 private:
  std::vector<Volume> none_;
};

}  // namespace ZelmoraTevra::platform
