#pragma once

#include <vector>

#include "device/RemovableDrive.h"
#include "device/usbDiskIdentifierInterface.h"

namespace ZelmoraTevra {

// The removable drives that tell about themselves, in the order of their letters.
[[nodiscard]] std::vector<ClientDrive> removableDrives();

// Makes the list of the removable drives of the computer, each with what is known of it.
class RemovableDriveFinder {
 public:
  // The identifier must outlive the finder.
  explicit RemovableDriveFinder(usbDiskIdentifierInterface& identifier) : identifier_(identifier) {}

  // A pair is two neighbours: the flash, with its card as second drive, and the card as a drive of its own.
  // Pairs come first, then all other drives; each in the order of the letters. A card that takes no writes
  // makes no pair.
  [[nodiscard]] std::vector<RemovableDrive> findDrives();

 private:
  [[nodiscard]] bool opensPair(const ClientDrive& drive);

  usbDiskIdentifierInterface& identifier_;
};

}  // namespace ZelmoraTevra
