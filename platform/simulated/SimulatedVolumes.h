#pragma once

#include "platform/Volumes.h"
#include "platform/simulated/MachineFile.h"

namespace ZelmoraTevra::platform {

class SimulatedVolumes : public Volumes {
 public:
  // The file must outlive this object.
  explicit SimulatedVolumes(const MachineFile& file) : file_(file) {}

  const std::vector<Volume>& volumes() override { return file_.presentVolumes(); }

  std::optional<VolumeInformation> information(char16_t letter) override {
    const std::optional<std::size_t> index = file_.volumeOf(letter);
    if (!index || !file_.hasMedium(*index)) return {};
    const Volume& volume = file_.volumes()[*index].volume;
    if (volume.fileSystem.empty()) return {};
    return VolumeInformation{volume.label, volume.serial, volume.fileSystem};
  }

 private:
  const MachineFile& file_;
};

}  // namespace ZelmoraTevra::platform
