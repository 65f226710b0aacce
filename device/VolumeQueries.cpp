#include "device/VolumeQueries.h"

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

VolumeSpace spaceOfFolder(const WideText& folder) {
  platform::ErrorCode error;
  platform::Space space;
  if (!Directory_new(folder).exists() || !platform::machine().files->space(folder, space, error)) return {};
  return {space.capacity, space.free};
}

}  // namespace ZelmoraTevra
