#pragma once

#include "platform/DeviceTree.h"
#include "platform/DiskMaintenance.h"

namespace ZelmoraTevra::platform {

// A computer on which no device is looked for: its tree has no nodes ...
class LinuxDeviceTree : public DeviceTree {
 public:
  DeviceNode root() override { return noDeviceNode; }
  DeviceNode parent(DeviceNode /*node*/) override { return noDeviceNode; }
  DeviceNode firstChild(DeviceNode /*node*/) override { return noDeviceNode; }
  DeviceNode nextSibling(DeviceNode /*node*/) override { return noDeviceNode; }
  WideText id(DeviceNode /*node*/) override { return {}; }
  WideText driveOf(DeviceNode /*node*/) override { return {}; }
};

// ... and no letter names a disk that something could be done with.
class LinuxDiskMaintenance : public DiskMaintenance {
 public:
  std::string examine(char16_t /*letter*/) override { return {}; }
  int format(char16_t /*letter*/, FormatKind /*kind*/, const WideText& /*label*/) override { return 1; }
  DiskCheckAnswer check(char16_t /*letter*/, const DiskCheckParameters& /*parameters*/) override {
    return {.failed = DiskCheckStep::execute};
  }
  DirtyAnswer isDirty(char16_t /*letter*/) override { return {.failed = DiskCheckStep::findQueryResult}; }
  std::optional<std::uint32_t> deviceNumber(const WideText& /*devicePath*/) override { return {}; }
  WideText deviceName(char16_t /*letter*/) override { return {}; }
  std::vector<DeviceInterface> interfaces(DeviceClass /*deviceClass*/) override { return {}; }
  EjectAnswer requestEject(DeviceNode /*node*/) override { return {.result = 1}; }
  void requestEjectAndTellUser(DeviceNode /*node*/) override {}
};

}  // namespace ZelmoraTevra::platform
