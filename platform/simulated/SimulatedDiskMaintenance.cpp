#include "platform/simulated/SimulatedDiskMaintenance.h"

#include <charconv>
#include <set>
#include <string>

#include "platform/AbsolutePath.h"
#include "platform/DrivePath.h"

namespace ZelmoraTevra::platform {

namespace {

constexpr WideView devicePathStart = u"\\\\.\\";
constexpr WideView interfacePathStart = u"\\\\?\\simulated#";

// As the system numbers them: what became of a request, and what a veto is about.
constexpr std::uint32_t failure = 0x13;
constexpr std::uint32_t vetoed = 0x17;
constexpr std::uint32_t openFiles = 5;

WideText numberText(std::size_t number) {
  return toWide(std::to_string(number));
}

DeviceClass classOf(DriveType type) {
  return type == DriveType::cdrom ? DeviceClass::cdrom : DeviceClass::disk;
}

// Removes what is in a folder. A link is removed itself, never what it leads to.
bool emptyFolder(FileSystem& files, const WideText& folder) {
  ErrorCode error;
  std::vector<FolderEntry> entries;
  bool isEmpty = files.list(folder, entries, error);
  for (const FolderEntry& entry : entries) {
    const WideText path = folder + u'/' + entry.name;
    // Nothing can be taken out of a folder that is marked as read-only.
    if (entry.kind != EntryKind::other) files.clearReadOnlyAndHidden(path, error);
    if (entry.kind == EntryKind::folder) {
      isEmpty = emptyFolder(files, path) && files.removeFolder(path, error) && isEmpty;
      continue;
    }
    isEmpty = files.removeFile(path, error) && isEmpty;
  }
  return isEmpty;
}

// Whether emptying a volume's folder would also take what isn't the volume's own: the machine file, or the
// link by which it is named, or the files of another volume; or whether it lies on one that is
// write-protected.
bool isSharedFolder(const MachineFile& file, const SimulatedVolume& formatted) {
  const WideText folder = absolutePath(formatted.volume.folder);
  if (isSameOrBelow(file.path(), folder) || isSameOrBelow(file.pathAsNamed(), folder)) return true;
  for (const SimulatedVolume& other : file.volumes()) {
    if (&other == &formatted || other.ejected) continue;
    const WideText otherFolder = absolutePath(other.volume.folder);
    if (isSameOrBelow(otherFolder, folder)) return true;
    if (other.volume.readOnly && isSameOrBelow(folder, otherFolder)) return true;
  }
  return false;
}

}  // namespace

std::string SimulatedDiskMaintenance::examine(char16_t letter) {
  const std::optional<std::size_t> index = file_.volumeOf(letter);
  return index && file_.hasMedium(*index) ? file_.volumes()[*index].checkOutput : "";
}

int SimulatedDiskMaintenance::format(char16_t letter, FormatKind kind, const WideText& label) {
  const std::optional<std::size_t> index = file_.volumeOf(letter);
  if (!index || !file_.hasMedium(*index)) return 1;
  const SimulatedVolume& simulated = file_.volumes()[*index];
  const bool isFat32 = kind == FormatKind::fat32;
  const WideText folder = simulated.volume.folder;
  if (simulated.volume.readOnly || (isFat32 ? simulated.refusesFat32 : simulated.refusesFat) ||
      isSharedFolder(file_, simulated))
    return 1;
  const auto empty = [this, &folder] { return emptyFolder(file_.files(), folder); };
  const bool formatted = file_.apply(
      {{*index, "label", toUtf8(label)}, {*index, "fileSystem", isFat32 ? "FAT32" : "FAT"}}, empty);
  return formatted ? 0 : 1;
}

DiskCheckAnswer SimulatedDiskMaintenance::check(char16_t letter, const DiskCheckParameters& /*parameters*/) {
  const std::optional<std::size_t> index = file_.volumeOf(letter);
  if (!index || !file_.hasMedium(*index)) return {.failed = DiskCheckStep::execute};
  const SimulatedVolume& volume = file_.volumes()[*index];
  const std::uint32_t returnValue = volume.checkReturn;
  if (volume.dirty && returnValue <= 1 && !file_.apply({{*index, "dirty", "false"}}))
    return {.failed = DiskCheckStep::execute};
  return {.returnValue = returnValue};
}

DirtyAnswer SimulatedDiskMaintenance::isDirty(char16_t letter) {
  const std::optional<std::size_t> index = file_.volumeOf(letter);
  if (!index) return {.failed = DiskCheckStep::findQueryResult};
  if (!file_.hasMedium(*index)) return {.failed = DiskCheckStep::readQueryResult};
  return {.dirty = file_.volumes()[*index].dirty};
}

// The handle of the disk's node is its number.
std::optional<std::uint32_t> SimulatedDiskMaintenance::deviceNumber(const WideText& devicePath) {
  if (devicePath.starts_with(devicePathStart)) {
    const WideText drive = devicePath.substr(devicePathStart.size());
    const std::optional<std::size_t> index = file_.volumeOf(driveLetter(drive));
    if (!index || drive.size() != 2) return {};
    return file_.volumes()[*index].disk;
  }
  if (!devicePath.starts_with(interfacePathStart)) return {};
  const std::string digits = toUtf8(devicePath.substr(interfacePathStart.size()));
  DeviceNode node = noDeviceNode;
  std::from_chars(digits.data(), digits.data() + digits.size(), node);
  if (node == noDeviceNode || node > file_.nodes().size()) return {};
  return node;
}

WideText SimulatedDiskMaintenance::deviceName(char16_t letter) {
  const std::optional<std::size_t> index = file_.volumeOf(letter);
  if (!index) return {};
  const bool isCdrom = file_.volumes()[*index].volume.type == DriveType::cdrom;
  return (isCdrom ? u"\\Device\\CdRom" : u"\\Device\\HarddiskVolume") + numberText(*index);
}

std::vector<DeviceInterface> SimulatedDiskMaintenance::interfaces(DeviceClass deviceClass) {
  std::vector<DeviceInterface> found;
  std::set<DeviceNode> disks;
  for (const SimulatedVolume& volume : file_.volumes()) {
    if (volume.ejected || classOf(volume.volume.type) != deviceClass || !disks.insert(volume.disk).second)
      continue;
    found.push_back({WideText(interfacePathStart) + numberText(volume.disk), volume.disk});
  }
  return found;
}

EjectAnswer SimulatedDiskMaintenance::requestEject(DeviceNode node) {
  if (node == noDeviceNode || node > file_.nodes().size()) return {.result = failure};
  std::vector<MachineFile::Change> vetoes;
  std::vector<MachineFile::Change> ejections;
  for (DeviceNode below = node; below < file_.nodes()[node - 1].end; ++below) {
    const std::optional<std::size_t> index = file_.nodes()[below - 1].volume;
    if (!index || file_.volumes()[*index].ejected) continue;
    const std::uint32_t left = file_.volumes()[*index].ejectVetoes;
    if (left > 0) vetoes.push_back({*index, "ejectVetoes", std::to_string(left - 1)});
    ejections.push_back({*index, "ejected", "true"});
  }
  if (!vetoes.empty()) {
    static_cast<void>(file_.apply(vetoes));  // vetoed whether or not that can be saved
    return {vetoed, openFiles};
  }
  if (!ejections.empty() && !file_.apply(ejections)) return {.result = failure};
  return {};
}

}  // namespace ZelmoraTevra::platform
