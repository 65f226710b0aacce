#include "platform/simulated/SimulatedDeviceTree.h"

namespace ZelmoraTevra::platform {

WideText SimulatedDeviceTree::driveOf(DeviceNode node) {
  // As with real trees: what can't be named isn't a drive.
  const std::optional<std::size_t> index = at(node).volume;
  if (!index || at(node).id.empty()) return {};
  const SimulatedVolume& volume = file_.volumes()[*index];
  if (volume.ejected || volume.volume.letter == 0) return {};
  return volume.volume.letter + WideText(u":\\");
}

// A node that isn't in the tree has no neighbours, no id and no drive.
const SimulatedNode& SimulatedDeviceTree::at(DeviceNode node) const {
  static const SimulatedNode none{};
  return node == noDeviceNode || node > file_.nodes().size() ? none : file_.nodes()[node - 1];
}

}  // namespace ZelmoraTevra::platform
