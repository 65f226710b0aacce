#pragma once

#include <utility>

#include "platform/Volumes.h"

namespace ZelmoraTevra::platform {

// Volumes that a test chooses and may change.
class FixedVolumes : public Volumes {
 public:
  explicit FixedVolumes(std::vector<Volume> volumes) : volumes_(std::move(volumes)) {}

  const std::vector<Volume>& volumes() override { return volumes_; }
  // Every volume has its medium.
  std::optional<VolumeInformation> information(char16_t letter) override {
    const Volume* const volume = volumeOfLetter(volumes_, letter);
    if (volume == nullptr || volume->fileSystem.empty()) return {};
    return VolumeInformation{volume->label, volume->serial, volume->fileSystem};
  }
  void set(std::vector<Volume> volumes) { volumes_ = std::move(volumes); }

 private:
  std::vector<Volume> volumes_;
};

}  // namespace ZelmoraTevra::platform
