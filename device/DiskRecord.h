#pragma once

#include <cstdint>
#include <vector>

#include "platform/DeviceTree.h"
#include "platform/Text.h"

namespace ZelmoraTevra {

// One physical device. Drives are one letter without a colon, empty where there is none.
struct DiskRecord {
  platform::DeviceNode grandParentDevInst = platform::noDeviceNode;  // of the node that carries the volume
  WideText deviceId = {};            // of the node that the record was made for
  WideText internalDrive = {};       // the flash
  WideText internalDeviceId = {};    // of its node
  WideText externalDrive = {};       // the storage card
  WideText externalDeviceId = {};    // of its node
  WideText externalDriveLun0 = {};   // the card, when it was found on unit 0
  WideText externalDriveLun1 = {};   // the card, when it was found on unit 1
  std::uint8_t hasExternal = 0;      // 1 once a card was seen
  std::uint8_t externalChanged = 0;  // 1 when a card's new letter replaced one that is gone
  std::int32_t lunType = 0;          // the unit last stored into internalDrive or externalDriveLun0
};

// Adds a record to the devices found so far, or takes what it knows into the record of the same device: the
// one with its grand-parent node or, with `windows7Mode`, the one whose id differs in the unit number alone.
// True if it was a device of its own.
bool mergeDiskRecord(std::vector<DiskRecord>& records, const DiskRecord& found, bool windows7Mode);

}  // namespace ZelmoraTevra
