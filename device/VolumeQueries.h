#pragma once

#include <cstdint>
#include <optional>

#include "platform/Volumes.h"

namespace ZelmoraTevra {

// What the volume of a path on a drive tells about itself; nothing for any other path, and for a volume that
// doesn't answer.
[[nodiscard]] std::optional<platform::VolumeInformation> volumeInformation(const WideText& path);

// The serial number of the volume at the path, 0 if it doesn't tell.
[[nodiscard]] std::uint32_t getVolumeSerial(const WideText& path);

// Bytes. Both are 0 where the question fails.
struct VolumeSpace {
  std::uint64_t total = 0;
  std::uint64_t free = 0;
};

// Of a drive as "E:". What is free is what the caller may take.
[[nodiscard]] VolumeSpace spaceOfDrive(const WideText& drive);

// Of the volume on which a folder lies. What is free includes what is kept for the superuser. A question that
// fails is a line in the log.
[[nodiscard]] VolumeSpace spaceOfFolder(const WideText& folder);

}  // namespace ZelmoraTevra
