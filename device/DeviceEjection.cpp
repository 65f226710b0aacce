#include "device/DeviceEjection.h"

#include <optional>

#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

using platform::DeviceClass;
using platform::DeviceNode;
using platform::DriveType;
using platform::noDeviceNode;

constexpr int attempts = 3;
constexpr std::uint32_t pauseMilliseconds = 500;

// 0 for what is no letter.
char16_t upperCaseLetter(const WideText& driveText) {
  if (driveText.empty()) return 0;
  const auto letter = static_cast<char16_t>(driveText.front() & ~0x20);
  return letter >= u'A' && letter <= u'Z' ? letter : u'\0';
}

DeviceClass classOf(DriveType type, const WideText& deviceName) {
  if (type == DriveType::cdrom) return DeviceClass::cdrom;
  const bool isFloppy = type == DriveType::removable && deviceName.find(u"\\Floppy") != WideText::npos;
  return isFloppy ? DeviceClass::floppy : DeviceClass::disk;
}

// The node of the disk with this number.
DeviceNode findDisk(std::uint32_t number, DriveType type, const WideText& deviceName) {
  platform::DiskMaintenance& maintenance = *platform::machine().maintenance;
  for (const platform::DeviceInterface& device : maintenance.interfaces(classOf(type, deviceName)))
    if (maintenance.deviceNumber(device.path) == number) return device.node;
  return noDeviceNode;
}

DeviceNode diskOf(char16_t letter) {
  platform::DiskMaintenance& maintenance = *platform::machine().maintenance;
  const std::optional<std::uint32_t> number = maintenance.deviceNumber(WideText(u"\\\\.\\") + letter + u':');
  if (!number) return noDeviceNode;
  const platform::Volume* const volume =
      platform::volumeOfLetter(platform::machine().volumes->volumes(), letter);
  const WideText deviceName = maintenance.deviceName(letter);
  if (volume == nullptr || deviceName.empty()) return noDeviceNode;
  return findDisk(*number, volume->type, deviceName);
}

bool isGranted(const platform::EjectAnswer& answer) {
  return answer.result == 0 && answer.veto == 0;
}

}  // namespace

int ejectDevice(const WideText& driveText) {
  const char16_t letter = upperCaseLetter(driveText);
  if (letter == 0) return -1;
  const DeviceNode disk = diskOf(letter);
  if (disk == noDeviceNode) return -1;
  const DeviceNode parent = platform::machine().deviceTree->parent(disk);
  if (parent == noDeviceNode) return -1;
  platform::DiskMaintenance& maintenance = *platform::machine().maintenance;
  for (int attempt = 0; attempt < attempts; ++attempt) {
    if (isGranted(maintenance.requestEject(parent))) {
      maintenance.requestEjectAndTellUser(parent);
      return 0;
    }
    platform::machine().clock->sleepMilliseconds(pauseMilliseconds);
  }
  return -1;
}

}  // namespace ZelmoraTevra
