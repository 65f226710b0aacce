#pragma once

#include <cstdint>

#include "platform/Text.h"

namespace ZelmoraTevra::platform {

// Handle of a node of the device tree; it holds as long as the process.
using DeviceNode = std::uint32_t;
constexpr DeviceNode noDeviceNode = 0;

// The computer's devices: buses, below them devices, disks and volumes. No operation fails but by telling of
// nothing, and none costs more than its own node.
class DeviceTree {
 public:
  virtual ~DeviceTree() = default;

  // Where every walk begins; `noDeviceNode` if the tree can't be had. From here on the system raises no
  // dialog about a reader without a medium.
  virtual DeviceNode root() = 0;
  // `noDeviceNode` where there is none.
  virtual DeviceNode parent(DeviceNode node) = 0;
  virtual DeviceNode firstChild(DeviceNode node) = 0;
  virtual DeviceNode nextSibling(DeviceNode node) = 0;
  // The node's id text, as "USBSTOR\DISK&VEN_...&PROD_...&REV_...\...&0"; empty if it can't be had.
  virtual WideText id(DeviceNode node) = 0;
  // The root "E:\" of the drive whose volume the node is; empty if it is no volume, or one without a letter.
  virtual WideText driveOf(DeviceNode node) = 0;
};

}  // namespace ZelmoraTevra::platform
