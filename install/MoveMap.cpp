#include "install/MoveMap.h"

#include <algorithm>
#include <exception>
#include <utility>
#include <vector>

#include "core/BackendLogger.h"
#include "core/CompareFiles.h"
#include "core/CopyFile.h"
#include "core/Directory_new.h"
#include "core/File_platformIndependent.h"
#include "core/Globals.h"
#include "core/PathBelowRoot.h"
#include "core/ProgressObserver.h"
#include "core/SaturatingInt64.h"
#include "core/Text.h"
#include "install/ClientUpdatesXmlFile.h"
#include "install/UpdatesXml.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

constexpr WideView mapEnding = u".map";
constexpr WideView copyName = u"temp_file_incomplete";
constexpr std::size_t blockBytes = 0x100000;

// Whether one of the update's files is the map, by a test of two paths.
template <typename Test>
bool lists(const Update& update, const WideText& map, Test areEqual) {
  return std::any_of(update.files.begin(), update.files.end(),
                     [&](const UpdateFile& file) { return areEqual(file.client, map); });
}

// Every update that lists the map is on the card from now on; one that stayed behind would count as gone. The
// map's own spelling comes first: where upper and lower case differ there may be another map in the other
// one.
template <typename Test>
bool moveUpdates(std::vector<Update>& updates, const WideText& map, bool& changed, Test areEqual) {
  bool found = false;
  for (Update& update : updates) {
    if (!lists(update, map, areEqual)) continue;
    found = true;
    if (std::exchange(update.info.installLocation, u"storage_for_content") != u"storage_for_content")
      changed = true;
  }
  return found;
}

bool moveUpdates(std::vector<Update>& updates, const WideText& map, bool& changed) {
  const auto exactly = [](const WideText& left, const WideText& right) {
    return toForwardSlashes(left) == right;
  };
  const auto inEitherCase = [](const WideText& left, const WideText& right) {
    return comparablePath(left) == comparablePath(right);
  };
  return moveUpdates(updates, map, changed, exactly) || moveUpdates(updates, map, changed, inEitherCase);
}

}  // namespace

bool isMapFile(const WideText& path) {
  const std::size_t dot = path.rfind(u'.');
  return dot != WideText::npos && WideView(path).substr(dot) == mapEnding;
}

void removeMoveMapFolder(const WideText& root) {
  if (root.empty()) return;
  const WideText path = root + u'\\' + WideText(moveMapFolder);
  platform::ErrorCode error;
  // A link that leads to nothing is no folder that could be removed.
  if (platform::machine().files->isLink(path, error)) platform::machine().files->removeFile(path, error);
  Directory_new(path).remove();
}

std::int64_t moveMapFolderBytes(const WideText& root) {
  const std::optional<WideText> path = PathBelowRoot(root).join(WideText(moveMapFolder));
  if (!path || !Directory_new(*path).exists()) return 0;
  std::vector<WideText> files;
  Directory_new(*path).files(files, true);
  SaturatingInt64 sum;
  for (const WideText& file : files) sum += std::max<std::int64_t>(File_platformIndependent(file).size(), 0);
  // A damaged file system tells of more than the volume holds.
  return std::min(sum.value(), std::max<std::int64_t>(Directory_new(root).size(), 0));
}

void MoveMap::initialise(const WideText& primaryPath, const WideText& secondaryPath,
                         std::int64_t minimumSize) {
  primaryPath_ = primaryPath;
  secondaryPath_ = secondaryPath;
  minimumSize_ = minimumSize;
}

void MoveMap::reset() {
  writeLog(u"MOVE MAP ENDED!");
  primaryPath_.clear();
  secondaryPath_.clear();
  minimumSize_ = -1;
}

WideText MoveMap::findOptimalMap() const {
  const std::optional<Map> map = findMap().map;
  return map ? toBackslashes(primaryPath_ + u'\\' + map->relativePath) : WideText();
}

int MoveMap::run() const {
  removeMoveMapFolder(secondaryPath_);
  const auto [map, isAborted] = findMap();
  if (isAborted) {
    writeLog(u"Transfer map FAIL! Aborted while a map was looked for.");
    return static_cast<int>(CopyResult::aborted);
  }
  if (!map) {
    writeLog(u"Optimal map NOT FOUND on primary!");
    return -1;
  }
  const WideText source = toForwardSlashes(primaryPath_ + u'/' + map->relativePath);
  writeLog(u"FOUND map on primary! Path: " + source);

  if (!map->isCopied) {
    const int result = copyToSecondary(*map);
    removeMoveMapFolder(secondaryPath_);
    if (result != 0) return result;
  }
  // From here on a second whole map stays on the card when a step fails; the next move takes it for the copy.
  if (!syncFolderOnSecondary(map->relativePath)) {
    writeLog(u"Transfer map FAIL! Rename error!");
    return -1;
  }
  writeLog(u"Transfer map SUCCEEDED!");
  if (!tellRegister(map->relativePath)) {
    writeLog(u"The register could not be told of the map. It stays on primary too: " + source);
    return -1;
  }
  File_platformIndependent original(source);
  if (!original.remove() && !original.isCertainlyMissing()) {
    writeLog(u"The map could not be removed. It stays on primary too: " + source);
    return -1;
  }
  return 0;
}

MoveMap::Search MoveMap::findMap() const {
  const std::int64_t freeNow = Directory_new(secondaryPath_).freeSpace();
  if (freeNow < 0) return {};
  // What an interrupted move has left there goes first.
  const std::int64_t freeBytes = (SaturatingInt64(freeNow) + moveMapFolderBytes(secondaryPath_)).value();
  const Search search = findMapIn(u"ZELMORA/map", freeBytes);
  return search.map || search.isAborted ? search : findMapIn(u"ZELMORA/MAP", freeBytes);
}

MoveMap::Search MoveMap::findMapIn(const WideText& folder, std::int64_t freeBytes) const {
  const std::optional<WideText> path = PathBelowRoot(primaryPath_).join(folder);
  if (!path || !Directory_new(*path).exists()) return {};
  std::vector<WideText> files;
  Directory_new(*path).files(files, false);

  std::vector<Map> maps;
  for (const WideText& file : files) {
    const WideText name = lastComponent(file);
    if (!isMapFile(name)) continue;
    const std::int64_t size = File_platformIndependent(file).size();
    if (size > minimumSize_) maps.push_back({folder + u'/' + name, size});
  }
  std::stable_sort(maps.begin(), maps.end(),
                   [](const Map& left, const Map& right) { return left.size < right.size; });
  for (Map& map : maps) {
    const Place place = placeOnSecondary(map);
    if (place == Place::unknown) return {.map = {}, .isAborted = true};
    map.isCopied = place == Place::holdsCopy;
    if (map.isCopied || (place == Place::free && map.size < freeBytes - reserveBytes)) return {.map = map};
  }
  return {};
}

MoveMap::Place MoveMap::placeOnSecondary(const Map& map) const {
  const std::optional<WideText> path = PathBelowRoot(secondaryPath_).join(map.relativePath);
  if (!path) return Place::taken;
  if (File_platformIndependent(*path).isCertainlyMissing()) return Place::free;
  // With both storages in one place a map would be its own copy, and be deleted.
  const WideText source = primaryPath_ + u'/' + map.relativePath;
  if (File_platformIndependent(*path).size() != map.size || File_platformIndependent(source).isSameAs(*path))
    return Place::taken;
  // What the card has only in the system's memory, as after a copy by hand, is none yet.
  if (!Directory_new(secondaryPath_).syncVolume()) return Place::taken;
  switch (compareFiles(source, *path, {.honoursAbort = true, .fromMedium = true})) {
    case Comparison::same:
      return Place::holdsCopy;
    case Comparison::aborted:
      return Place::unknown;
    case Comparison::different:
    case Comparison::unreadable:
      break;
  }
  return Place::taken;
}

int MoveMap::copyToSecondary(const Map& map) const {
  const WideText source = toForwardSlashes(primaryPath_ + u'/' + map.relativePath);
  const WideText destination = toForwardSlashes(secondaryPath_ + u'/' + map.relativePath);
  const WideText copyPath = WideText(moveMapFolder) + u'/' + WideText(copyName);

  Directory_new folder(secondaryPath_ + u'/' + WideText(moveMapFolder));
  if (folder.create()) folder.hide();
  const std::optional<WideText> copy = PathBelowRoot(secondaryPath_).join(copyPath);
  CopyResult result = CopyResult::cannotCreateDestination;
  if (copy) {
    ProgressObserver::destroy();
    ProgressObserver::instance().load({{static_cast<std::uint64_t>(map.size), source, destination, 0}});
    result =
        copyFile(source, *copy, {.blockBytes = blockBytes, .state = statInstalllnProgress, .toMedium = true});
    ProgressObserver::destroy();
  }
  if (result != CopyResult::done) {
    writeLog(u"Transfer map FAIL! Copy error!");
    return static_cast<int>(result);
  }
  if (!giveName(*copy, map.relativePath)) {
    writeLog(u"Transfer map FAIL! Rename error!");
    return -1;
  }
  return 0;
}

// Makes the folders too, but never the card's root: one that has gone must not come up again as a folder on
// the computer.
bool MoveMap::giveName(const WideText& copy, const WideText& relativePath) const {
  for (std::size_t end = relativePath.find(u'/'); end != WideText::npos;
       end = relativePath.find(u'/', end + 1)) {
    const std::optional<WideText> folder = PathBelowRoot(secondaryPath_).join(relativePath.substr(0, end));
    if (!folder) return false;
    if (Directory_new(*folder).exists()) continue;
    if (!Directory_new(*folder).create() || !Directory_new(parentFolder(*folder)).syncEntries()) return false;
  }
  const std::optional<WideText> path = PathBelowRoot(secondaryPath_).join(relativePath);
  return path && File_platformIndependent(*path).isCertainlyMissing() &&
         File_platformIndependent(copy).renameTo(*path);
}

bool MoveMap::syncFolderOnSecondary(const WideText& relativePath) const {
  return Directory_new(parentFolder(secondaryPath_ + u'/' + relativePath)).syncEntries();
}

// False if a register that may list the map could not be told. A device without a register has nothing to
// tell.
bool MoveMap::tellRegister(const WideText& relativePath) const {
  ClientUpdatesXmlFile file(primaryPath_, true);
  if (!file.isUsable()) return false;
  try {
    UpdatesXml deviceRegister(&file);
    if (!deviceRegister.isLoaded()) return true;
    std::vector<Update> updates = deviceRegister.getUpdates();
    if (updates.empty()) writeLog(u"No updates etries founded!");
    bool changed = false;
    if (!moveUpdates(updates, relativePath, changed)) {
      writeLog(u"Map entry NOT FOUND in updates xml file!");
      return true;
    }
    writeLog(u"Map entry FOUND in update xml file!");
    if (!changed) return true;
    deviceRegister.setUpdates(std::move(updates));
    if (!deviceRegister.save()) return false;
  } catch (const std::exception& failure) {
    writeLog(u"The register holds text that is none: " + toReadableWide(failure.what()));
    return false;
  }
  return file.copyBack();
}

}  // namespace ZelmoraTevra
