#include "device/RemovableDrive.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "core/Directory_new.h"
#include "core/File_platformIndependent.h"
#include "core/PathBelowRoot.h"
#include "core/Text.h"
#include "device/ClientInventoryReader.h"
#include "device/ClientVersionXmlFile.h"
#include "device/VolumeQueries.h"
#include "install/ClientUpdatesXmlFile.h"

namespace ZelmoraTevra {

namespace {

constexpr std::size_t largestMis = 9'999;  // bytes; the front end takes no more

bool isMapFile(WideView name) {
  const std::size_t dot = name.rfind(u'.');
  if (dot == WideView::npos) return false;
  const WideView extension = name.substr(dot + 1);
  return extension == u"MAP" || extension == u"map";
}

// The file as it is known, in upper case, to whoever looks for it.
void addName(std::unordered_set<WideText>& names, const ClientMap& map) {
  if (!map.file.empty()) names.insert(toUpperAscii(map.file));
}

}  // namespace

// A folder in which maps lie: below a root, or the root itself.
struct RemovableDrive::MapFolder {
  bool isSecondary;
  WideView relativePath;  // empty: the root itself

  // Nothing if the folder is reached through a link, which may lead out of the device.
  [[nodiscard]] std::optional<WideText> below(const WideText& root) const {
    if (relativePath.empty()) return root;
    return PathBelowRoot(root).join(WideText(relativePath));
  }
};

RemovableDrive::RemovableDrive(const ClientDrive& primaryDrive, const ClientDrive& secondaryDrive)
    : primaryDrive_(primaryDrive), secondaryDrive_(secondaryDrive) {
  scanDrive();
}

RemovableDrive::RemovableDrive(const WideText& folderPath, const WideText& secondaryFolderPath)
    : folderPath_(folderPath), secondaryFolderPath_(secondaryFolderPath) {
  scanFolders();
}

void RemovableDrive::scanDrive() {
  const WideText& root = primaryDrive_.colonForm;
  if (const auto information = volumeInformation(root)) info_.name = information->label;
  info_.writeable = !Directory_new(root).isWriteProtected();
  const VolumeSpace space = spaceOfDrive(root);
  info_.totalSpace = space.total;
  info_.freeSpace = space.free;
  readInventory(root, secondaryDrive_.colonForm);
  scanMapFolders(root, secondaryDrive_.colonForm);
  info_.kml = hasTracks();
  readMis();
}

// The files of the second folder are looked for by the scan alone: an update's file counts only where the
// version file is.
void RemovableDrive::scanFolders() {
  info_.name = u"ZELMORA";
  info_.writeable = !Directory_new(folderPath_).isWriteProtected();
  const VolumeSpace space = spaceOfFolder(folderPath_);
  info_.totalSpace = space.total;
  info_.freeSpace = space.free;
  readInventory(folderPath_, {});
  scanMapFolders(folderPath_, secondaryFolderPath_);
}

void RemovableDrive::readInventory(const WideText& root, const WideText& contentRoot) {
  const ClientVersionXmlFile versionFile(root);
  ClientUpdatesXmlFile updatesFile(root, false);
  const ClientInventoryReader inventory(versionFile, updatesFile, contentRoot);
  info_.software = inventory.getSoftware();
  info_.apps = inventory.getApps();
  info_.contents = inventory.getContents();
  info_.maps = inventory.getMaps();
}

// On drives, what was found in one folder is known in the next; of two folders that are given, each is
// compared with the version file alone, so that a map that lies in two of their folders is listed twice.
void RemovableDrive::scanMapFolders(const WideText& root, const WideText& secondaryRoot) {
  static constexpr MapFolder newerFolders[] = {
      {false, u"ZELMORA\\MAP"}, {true, u"ZELMORA\\MAP"}, {true, u""}, {true, u"MAP"}, {true, u"MAPS"}};
  static constexpr MapFolder olderFolders[] = {
      {false, u""}, {false, u"MAP"}, {false, u"MAPS"}, {true, u"ZELMORA\\MAP"},
      {true, u""},  {true, u"MAP"},  {true, u"MAPS"}};
  // Found anew: reading the inventory may have repaired or restored the file.
  const ClientVersionXmlFile versionFile(root);
  std::vector<MapFolder> folders;
  if (versionFile.isZelmoraLayout()) {
    folders.assign(std::begin(newerFolders), std::end(newerFolders));
  } else if (versionFile.isKd3Layout()) {
    folders.assign(std::begin(olderFolders), std::end(olderFolders));
  }

  FileNames known;
  std::size_t counted = 0;  // maps whose names are in `known`
  for (; counted < info_.maps.size(); ++counted) addName(known, info_.maps[counted]);
  for (const MapFolder& folder : folders) {
    const WideText& base = folder.isSecondary ? secondaryRoot : root;
    if (base.empty()) continue;
    if (const std::optional<WideText> path = folder.below(base))
      scanMapFolder(*path, known, !folder.isSecondary);
    if (!primaryDrive_.isValid()) continue;
    for (; counted < info_.maps.size(); ++counted) addName(known, info_.maps[counted]);
  }
}

void RemovableDrive::scanMapFolder(const WideText& folder, const FileNames& knownFiles,
                                   bool isSoftwareStorage) {
  std::vector<WideText> paths;
  if (!Directory_new(folder).exists() || !Directory_new(folder).files(paths, false)) return;
  for (const WideText& path : paths) {
    const WideText name = path.substr(path.rfind(u'\\') + 1);
    if (!isMapFile(name) || knownFiles.contains(toUpperAscii(name))) continue;
    ClientMap map;
    map.name = name;
    map.file = name;
    map.size = static_cast<std::uint64_t>(std::max<std::int64_t>(File_platformIndependent(path).size(), 0));
    map.md5SumFirst100kb = mapDigest(path);
    map.storageForSoftware = isSoftwareStorage ? u"true" : u"false";
    info_.maps.push_back(std::move(map));
  }
}

// Without a card its path is one in the working folder. It is looked at all the same, on purpose: front ends
// know the answer as it comes out of this.
bool RemovableDrive::hasTracks() const {
  constexpr WideView tracks = u"ZELMORA\\Tracks";
  return Directory_new(primaryDrive_.rootForm + WideText(tracks)).exists() ||
         Directory_new(secondaryDrive_.rootForm + WideText(tracks)).exists();
}

void RemovableDrive::readMis() {
  const std::optional<WideText> path = PathBelowRoot(primaryDrive_.colonForm).join(u"ZELMORA\\MIS.txt");
  if (!path) return;
  File_platformIndependent file(*path);
  if (!file.open()) return;
  info_.mis.resize(largestMis);
  std::int64_t count = 0;
  file.read(info_.mis.data(), info_.mis.size(), count);
  info_.mis.resize(static_cast<std::size_t>(std::max<std::int64_t>(count, 0)));
  file.close();
}

}  // namespace ZelmoraTevra
