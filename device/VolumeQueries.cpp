#include "device/VolumeQueries.h"

#include <algorithm>

#include "core/Directory_new.h"
#include "platform/DrivePath.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

std::optional<platform::VolumeInformation> volumeInformation(const WideText& path) {
  return platform::machine().volumes->information(platform::driveLetter(path));
}

std::uint32_t getVolumeSerial(const WideText& path) {
  const std::optional<platform::VolumeInformation> information = volumeInformation(path);
  return information ? information->serial : 0;
}

VolumeSpace spaceOfDrive(const WideText& drive) {
  platform::ErrorCode error;
  platform::Space space;
  if (!platform::machine().files->space(drive, space, error)) return {};
  return {space.capacity, space.available};
}

VolumeSpace spaceOfFolder(const WideText& folder) {
  const auto bytes = [](std::int64_t number) {
    return static_cast<std::uint64_t>(std::max<std::int64_t>(number, 0));
  };
  const std::uint64_t free = bytes(Directory_new(folder).freeSpace());
  return {free + bytes(Directory_new(folder).size()), free};
}

}  // namespace ZelmoraTevra
