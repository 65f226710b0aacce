#pragma once

#include "platform/DiskMaintenance.h"
#include "platform/simulated/MachineFile.h"

namespace ZelmoraTevra::platform {

// Answers as the machine file says, and leaves there what it has done to a volume.
class SimulatedDiskMaintenance : public DiskMaintenance {
 public:
  // The file must outlive this object.
  explicit SimulatedDiskMaintenance(MachineFile& file) : file_(file) {}

  std::string examine(char16_t letter) override;
  // Empties the volume's folder. One that holds the machine file, or its link, or another volume's folder, or
  // that lies on a write-protected volume, is left as it is.
  int format(char16_t letter, FormatKind kind, const WideText& label) override;
  DiskCheckAnswer check(char16_t letter, const DiskCheckParameters& parameters) override;
  DirtyAnswer isDirty(char16_t letter) override;

  std::optional<std::uint32_t> deviceNumber(const WideText& devicePath) override;
  WideText deviceName(char16_t letter) override;
  std::vector<DeviceInterface> interfaces(DeviceClass deviceClass) override;
  EjectAnswer requestEject(DeviceNode node) override;
  void requestEjectAndTellUser(DeviceNode node) override { requestEject(node); }

 private:
  MachineFile& file_;
};

}  // namespace ZelmoraTevra::platform
