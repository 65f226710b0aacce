#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

#include "platform/Text.h"

namespace ZelmoraTevra::platform {

// The numbers are those that the device logic knows the types by.
enum class DriveType { removable = 2, fixed = 3, cdrom = 5 };

// A volume that is there.
struct Volume {
  char16_t letter = 0;                         // upper case; 0: not reachable by a letter
  WideText folder;                             // where it is mounted, an absolute path
  bool readOnly = false;                       // every change on it fails
  std::optional<std::uint64_t> capacity = {};  // bytes; none: that of the disk on which the folder lies
  DriveType type = DriveType::removable;
  WideText label = {};
  std::uint32_t serial = 0;
  WideText fileSystem = u"FAT32";  // empty: the volume doesn't tell about itself
};

// What a volume tells about itself.
struct VolumeInformation {
  WideText label;
  std::uint32_t serial = 0;
  WideText fileSystem;  // "FAT", "FAT32", ...; never empty
};

class Volumes {
 public:
  virtual ~Volumes() = default;

  // The volumes that are there now. The reference holds until the next call.
  virtual const std::vector<Volume>& volumes() = 0;
  // Asks the volume of an upper-case letter. Nothing for a letter that no volume has, for a reader without a
  // medium, and for a volume whose file system isn't known.
  virtual std::optional<VolumeInformation> information(char16_t letter) = 0;
};

// The volume of an upper-case letter; null if there is none.
[[nodiscard]] inline const Volume* volumeOfLetter(const std::vector<Volume>& volumes, char16_t letter) {
  if (letter == 0) return nullptr;
  const auto named = [letter](const Volume& volume) { return volume.letter == letter; };
  const auto found = std::find_if(volumes.begin(), volumes.end(), named);
  return found == volumes.end() ? nullptr : &*found;
}

}  // namespace ZelmoraTevra::platform
