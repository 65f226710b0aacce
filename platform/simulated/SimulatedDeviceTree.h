#pragma once

#include "platform/DeviceTree.h"
#include "platform/simulated/MachineFile.h"

namespace ZelmoraTevra::platform {

class SimulatedDeviceTree : public DeviceTree {
 public:
  // The file must outlive this object.
  explicit SimulatedDeviceTree(const MachineFile& file) : file_(file) {}

  DeviceNode root() override { return file_.nodes().empty() ? noDeviceNode : 1; }
  DeviceNode parent(DeviceNode node) override { return at(node).parent; }
  DeviceNode firstChild(DeviceNode node) override { return at(node).firstChild; }
  DeviceNode nextSibling(DeviceNode node) override { return at(node).nextSibling; }
  WideText id(DeviceNode node) override { return at(node).id; }
  WideText driveOf(DeviceNode node) override;

 private:
  [[nodiscard]] const SimulatedNode& at(DeviceNode node) const;

  const MachineFile& file_;
};

}  // namespace ZelmoraTevra::platform
