#include "backup/BackupFolderMove.h"

#include <tinyxml.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <utility>

#include "backup/BackupFolder.h"
#include "backup/FolderRelation.h"
#include "core/BackendLogger.h"
#include "core/CompareFiles.h"
#include "core/Directory_new.h"
#include "core/ErrorReport.h"
#include "core/File_platformIndependent.h"
#include "core/Globals.h"
#include "core/PathBelowRoot.h"
#include "core/ProgressObserver.h"
#include "core/StatusXml.h"
#include "core/Text.h"
#include "core/XmlDocument.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

constexpr std::size_t blockBytes = 0x100000;

platform::FileSystem& disk() {
  return *platform::machine().files;
}

int failInvalidNewFolder() {
  return fail(ErrorReport(1054, u"The new folder provided is not a valid backup folder!"));
}

bool failNotCreated() {
  return refuse(ErrorReport(1025, u"The destination file could not be created!"));
}

bool failCopy() {
  return refuse(ErrorReport(1026, u"An error occurred at the copy process!"));
}

bool reportCopy(CopyResult result, const WideText& source) {
  switch (result) {
    case CopyResult::done:
      return true;
    case CopyResult::cannotOpenSource:
      ErrorReport(1024, u"The source file could not be opened!")
          .attribute(u"FILE", toForwardSlashes(source))
          .save();
      return false;
    case CopyResult::cannotCreateDestination:
      return failNotCreated();
    case CopyResult::failed:
      return failCopy();
    case CopyResult::aborted:
      break;
  }
  ProgressObserver::instance().reportAbort({});
  return false;
}

int passOver(const WideText& folder) {
  writeLog(u"Nothing that could be moved as a backup, the folder stays: " + folder);
  return 0;
}

// Jobs empty or remove the folders of these names.
bool namesTemporaryFolder(const WideText& path) {
  const WideText text = toUpperAscii(toForwardSlashes(path));
  const std::vector<WideText> names = split(text, u'/');
  return text.find(u'/' + toUpperAscii(toWide(channelName))) != WideText::npos ||
         std::find(names.begin(), names.end(), toUpperAscii(WideText(writeProbeName))) != names.end();
}

std::int64_t sizeOf(const WideText& path) {
  return File_platformIndependent(path).size();
}

WideText probeIn(const WideText& folder) {
  return pathIn(folder, writeProbeName);
}

// A file or a link under the folder's name goes too.
void removeWhatStandsAt(const WideText& path) {
  platform::ErrorCode error;
  if (isLinkAt(path)) disk().removeFile(path, error);
  Directory_new(path).remove();
  File_platformIndependent(path).remove();
}

// A folder that wasn't there before.
bool makeFolder(const WideText& path) {
  platform::ErrorCode error;
  return disk().createFolder(path, error);
}

// The levels below a folder that is there. The folder itself isn't made: one on a volume that has gone must
// not come up again elsewhere.
bool makeFoldersBelow(WideText folder, const WideText& relativeFolder) {
  if (relativeFolder.empty()) return true;
  for (const WideText& name : split(relativeFolder, u'\\')) {
    folder += u'\\' + name;
    if (!Directory_new(folder).create()) return false;
  }
  return true;
}

// Folders with anything left in them stay, and the folder itself.
void removeEmptyFoldersIn(const WideText& folder) {
  std::vector<WideText> below;
  Directory_new(folder).folders(below, true);
  platform::ErrorCode error;
  // A folder comes before what is in it.
  for (auto path = below.rbegin(); path != below.rend(); ++path) disk().removeFolder(*path, error);
}

}  // namespace

int BackupFolderMove::prepareMove(const WideText& oldFolder, const WideText& newFolder) {
  oldFolder_ = oldFolder;
  newFolder_ = newFolder;
  if (oldFolder.empty() || newFolder.empty() || isSameFolder(oldFolder, newFolder))
    return fail(ErrorReport(1011, u"The old backup path and the new backup path are the same or empty!")
                    .pathAndDrive(oldFolder));
  if (namesTemporaryFolder(newFolder)) return failInvalidNewFolder();
  if (!Directory_new(oldFolder).exists())
    return fail(ErrorReport(1012, u"The path provide for the old backup folder is not valid!").percent(109));
  if (!Directory_new(newFolder).exists())
    return fail(ErrorReport(1013, u"The path provide for the new backup folder is not valid!")
                    .percent(109)
                    .pathAndDrive(newFolder));
  if (!isValidNewFolder()) return failInvalidNewFolder();
  if (!takesFolder())
    return fail(
        ErrorReport(1014, u"The folder for the new backup is write protected!").pathAndDrive(newFolder));
  if (const int result = readBackups(); result != 0) return result;
  if (const int result = chooseWhatToCopy(); result != 0) return result;
  ready_ = true;
  return 0;
}

// Neither backups nor the job's files may lie where a probe removes them, nor the new folder in what jobs
// empty, however the paths lead there.
bool BackupFolderMove::isValidNewFolder() const {
  for (const WideText& folder : {workTempFolder, probeIn(oldFolder_), probeIn(backupRootFolder)})
    if (isSameOrBelowFolder(newFolder_, folder)) return false;
  for (const WideText& folder : {oldFolder_, backupRootFolder, workTempFolder})
    if (isSameOrBelowFolder(folder, copiesFolder())) return false;
  return true;
}

bool BackupFolderMove::takesFolder() const {
  removeWhatStandsAt(copiesFolder());
  if (!makeFolder(copiesFolder())) return false;
  Directory_new(copiesFolder()).remove();
  return true;
}

int BackupFolderMove::readBackups() {
  std::vector<WideText> folders;
  const Directory_new root(oldFolder_);
  if (!root.folders(folders, false))
    return fail(ErrorReport(1012, u"The path provide for the old backup folder is not valid!").percent(109));
  std::sort(folders.begin(), folders.end());
  for (const WideText& folder : folders) {
    const WideText name = folder.substr(root.path().size() + 1);
    // What bears the name of the probe is none and goes with the next one.
    if (!isBackupName(name) || equalsIgnoringAsciiCase(name, writeProbeName)) continue;
    if (const int result = readBackup(name); result != 0) return result;
  }
  return 0;
}

int BackupFolderMove::readBackup(const WideText& name) {
  BackupToMove backup{.name = name, .files = {}};
  const WideText folder = pathIn(oldFolder_, name);
  const WideText description = pathIn(folder, backup.descriptionName());
  const bool isDescribed =
      isLinkAt(description) || !File_platformIndependent(description).isCertainlyMissing();
  backup.isLeftover = !isDescribed || isMarkedUnfinished(folder);
  // What a removal that was cut off has left is told by the copy's description.
  PathBelowRoot home(isDescribed ? folder : pathIn(newFolder_, name));
  const std::optional<WideText> path = home.joinExisting(backup.descriptionName());
  TiXmlDocument document;
  if (!path || !loadXml(*path, document, maximalDescriptionMarkup)) return passOver(folder);

  BackupFiles files;
  const FileList list = readFileList(document, files);
  if (backup.isLeftover && list != FileList::whole) return passOver(folder);
  switch (list) {
    case FileList::noContents:
      return fail(ErrorReport(1017, u"Backup contents node could not be read!").pathAndDrive(folder));
    case FileList::noFiles:
      return fail(ErrorReport(1018, u"Backup files node could not be read!").pathAndDrive(folder));
    case FileList::incomplete:
      return fail(ErrorReport(1019, u"Files information could not be read!").pathAndDrive(folder));
    case FileList::whole:
      break;
  }
  for (const auto& [key, file] : files) backup.add(file);
  backup.add(
      {backup.descriptionName(), static_cast<std::uint64_t>(std::max<std::int64_t>(sizeOf(*path), 0))});
  backups_.push_back(std::move(backup));
  return 0;
}

// Nothing that stands in the new folder is written over, and nothing is copied into what is to be removed.
int BackupFolderMove::chooseWhatToCopy() {
  const bool liesInOld = isSameOrBelowFolder(newFolder_, oldFolder_);
  for (BackupToMove& backup : backups_) {
    const Place place = placeOf(backup);
    if (place == Place::unknown) {
      ProgressObserver::instance().reportAbort({});
      return -1;
    }
    backup.isInPlace = place == Place::holdsCopy;
    if (backup.isLeftover && !backup.isInPlace) continue;
    if (liesInOld && isSameOrBelowFolder(newFolder_, pathIn(oldFolder_, backup.name)))
      return failInvalidNewFolder();
    if (place == Place::taken) return failInvalidNewFolder();
    if (backup.isInPlace) continue;
    totalSize_ += std::min(backup.totalSize(), std::numeric_limits<std::uint64_t>::max() - totalSize_);
  }
  std::erase_if(backups_, [this](const BackupToMove& backup) {
    const bool staysBehind = backup.isLeftover && !backup.isInPlace;
    if (staysBehind) passOver(pathIn(oldFolder_, backup.name));
    return staysBehind;
  });
  return 0;
}

// A copy holds every file of the list, and those that are still in the old folder unchanged. That of another
// backup differs in the description, which is looked at first.
BackupFolderMove::Place BackupFolderMove::placeOf(BackupToMove& backup) const {
  const WideText target = pathIn(newFolder_, backup.name);
  if (isLinkAt(target)) return Place::taken;
  if (File_platformIndependent(target).isCertainlyMissing()) return Place::free;

  PathBelowRoot source(pathIn(oldFolder_, backup.name));
  PathBelowRoot copies(target);
  const auto placeOfFile = [&](const WideText& path) {
    const std::optional<WideText> copy = copies.joinExisting(path);
    if (!copy || !File_platformIndependent(*copy).exists()) return Place::taken;
    const std::optional<WideText> original = source.joinExisting(path);
    if (!original) {
      const bool isGone = File_platformIndependent(pathIn(source.root(), path)).isCertainlyMissing();
      return isGone ? Place::holdsCopy : Place::taken;
    }
    if (File_platformIndependent(*original).isSameAs(*copy)) return Place::taken;
    const Comparison comparison = compareFiles(*original, *copy, {.honoursAbort = true});
    if (comparison == Comparison::aborted) return Place::unknown;
    return comparison == Comparison::same ? Place::holdsCopy : Place::taken;
  };
  if (const Place place = placeOfFile(backup.descriptionName()); place != Place::holdsCopy) return place;
  for (auto& [path, file] : backup.files) {
    const std::int64_t size = sizeOf(pathIn(target, path));
    if (size < 0) return Place::taken;
    if (const Place place = placeOfFile(path); place != Place::holdsCopy) return place;
    file.size = static_cast<std::uint64_t>(size);
  }
  return Place::holdsCopy;
}

int BackupFolderMove::runMove() {
  if (!ready_) return -1;
  const std::int64_t free = Directory_new(newFolder_).freeSpace();
  if (free < 0 || static_cast<std::uint64_t>(free) < totalSize_)
    return fail(ErrorReport(1022, u"You have not enough space to move the old backup folder to the new one!")
                    .percent(104)
                    .pathAndDrive(newFolder_));

  const bool isMoved = copyBackups() && giveNames();
  ProgressObserver::destroy();
  if (!isMoved) {
    takeBack();
    return -1;
  }
  Directory_new(copiesFolder()).remove();
  const bool isBackupRoot = isSameFolder(oldFolder_, backupRootFolder);
  for (const BackupToMove& backup : backups_) removeOldBackup(backup);
  platform::ErrorCode error;
  disk().removeFolder(oldFolder_, error);
  if (isBackupRoot) backupRootFolder = newFolder_;
  saveState(statSuccess, 1010);
  return 0;
}

bool BackupFolderMove::copyBackups() {
  std::vector<ProgressEntry> entries;
  for (const BackupToMove& backup : backups_)
    entries.push_back({.total = backup.isInPlace ? 0 : backup.totalSize(), .name = {}, .detail = {}});
  ProgressObserver::destroy();
  ProgressObserver::instance().load(std::move(entries));

  if (!makeFolder(copiesFolder())) return failNotCreated();
  for (std::size_t index = 0; index < backups_.size(); ++index) {
    if (backups_[index].isInPlace) continue;
    ProgressObserver::instance().setPosition(static_cast<std::uint32_t>(index));
    if (!copyBackup(backups_[index])) return false;
  }
  return true;
}

bool BackupFolderMove::copyBackup(BackupToMove& backup) const {
  PathBelowRoot source(pathIn(oldFolder_, backup.name));
  const WideText destination = pathIn(newFolder_, backup.name);
  const WideText copies = pathIn(copiesFolder(), backup.name);
  // Where upper and lower case are the same two backups may want one folder, and two files one place.
  if (!makeFolder(copies)) return failNotCreated();
  WideText lastFolder;
  for (auto& [path, file] : backup.files) {
    const WideText from = pathIn(source.root(), path);
    const WideText to = pathIn(copies, path);
    ProgressObserver::instance().setTexts(from, pathIn(destination, path));
    if (!source.joinExisting(path)) return reportCopy(CopyResult::cannotOpenSource, from);
    WideText folder = parentFolder(path);
    if (folder != lastFolder && !makeFoldersBelow(copies, folder)) return failNotCreated();
    lastFolder = std::move(folder);
    if (!File_platformIndependent(to).isCertainlyMissing()) return failNotCreated();
    const CopyResult result =
        copyFile(from, to, {.blockBytes = blockBytes, .state = statMoveBackupFolderInProgress});
    if (!reportCopy(result, from)) return false;
    const std::int64_t size = sizeOf(to);
    if (size < 0) return failCopy();
    file.size = static_cast<std::uint64_t>(size);
  }
  return true;
}

// Only with what is on the medium is a backup in its new place.
bool BackupFolderMove::giveNames() {
  if (!Directory_new(newFolder_).syncVolume()) return failCopy();
  for (BackupToMove& backup : backups_)
    if (!backup.isInPlace && !giveName(backup)) return failCopy();
  if (!Directory_new(newFolder_).syncEntries()) return failCopy();
  const bool areWhole = Directory_new(oldFolder_).exists() &&
                        std::all_of(backups_.begin(), backups_.end(),
                                    [this](const BackupToMove& backup) { return isWholeInPlace(backup); });
  return areWhole || failCopy();
}

bool BackupFolderMove::giveName(BackupToMove& backup) const {
  const WideText target = pathIn(newFolder_, backup.name);
  if (isLinkAt(target) || !File_platformIndependent(target).isCertainlyMissing()) return false;
  backup.isNamed = File_platformIndependent(pathIn(copiesFolder(), backup.name)).renameTo(target);
  return backup.isNamed;
}

// Another program may have been at the copies, or at what they were made from.
bool BackupFolderMove::isWholeInPlace(const BackupToMove& backup) const {
  return std::all_of(backup.files.begin(), backup.files.end(), [&](const auto& file) {
    const WideText original = pathIn(pathIn(oldFolder_, backup.name), file.first);
    const auto size = static_cast<std::int64_t>(file.second.size);
    return sizeOf(pathIn(pathIn(newFolder_, backup.name), file.first)) == size &&
           (sizeOf(original) == size || File_platformIndependent(original).isCertainlyMissing());
  });
}

bool BackupFolderMove::isSeenInOldFolder(const BackupToMove& backup) const {
  return std::all_of(backup.files.begin(), backup.files.end(), [&](const auto& file) {
    return sizeOf(pathIn(pathIn(oldFolder_, backup.name), file.first)) >= 0;
  });
}

// A copy loses its name before anything of it goes. One whose original has gone meanwhile, as on a drive that
// was pulled, may be all that is left of the backup and stays for the next move.
void BackupFolderMove::takeBack() const {
  for (const BackupToMove& backup : backups_) {
    if (!backup.isNamed) continue;
    File_platformIndependent copy(pathIn(newFolder_, backup.name));
    if (!isSeenInOldFolder(backup) || !copy.renameTo(pathIn(copiesFolder(), backup.name)))
      writeLog(u"The copy of a backup stays in the new folder: " + copy.path());
  }
  Directory_new(copiesFolder()).remove();
}

// The description goes first: a folder of which half is gone isn't to be taken for a backup. The next move
// knows from the new folder's description what it was and goes on with it. Until nothing of the backup is
// left the mark tells that it isn't one that only lacks a description.
void BackupFolderMove::removeOldBackup(const BackupToMove& backup) const {
  PathBelowRoot folder(pathIn(oldFolder_, backup.name));
  const auto isGone = [&](const WideText& path) {
    const std::optional<WideText> file = folder.join(path);
    return file &&
           (File_platformIndependent(*file).remove() || File_platformIndependent(*file).isCertainlyMissing());
  };
  markUnfinished(folder.root());
  if (!isGone(backup.descriptionName())) {
    // It is still whole.
    static_cast<void>(removeUnfinishedMark(folder.root()));
  } else if (Directory_new(folder.root()).syncEntries()) {
    bool areGone = true;
    for (const auto& [path, file] : backup.files) areGone = isGone(path) && areGone;
    removeEmptyFoldersIn(folder.root());
    if (areGone) static_cast<void>(removeUnfinishedMark(folder.root()));
  }
  platform::ErrorCode error;
  if (!disk().removeFolder(folder.root(), error))
    writeLog(u"Not all of a backup's folder could be removed: " + folder.root());
}

WideText BackupFolderMove::copiesFolder() const {
  return probeIn(newFolder_);
}

}  // namespace ZelmoraTevra
