#include "core/Directory_new.h"

#include <algorithm>
#include <utility>

#include "core/BackendLogger.h"
#include "core/File_platformIndependent.h"
#include "core/Text.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

using platform::EntryKind;
using platform::ErrorCode;
using platform::FolderEntry;

platform::FileSystem& disk() {
  return *platform::machine().files;
}

bool removeTree(const WideText& folder);

bool removeEntriesOf(const WideText& folder) {
  ErrorCode error;
  std::vector<FolderEntry> entries;
  bool removedAll = disk().list(folder, entries, error);
  for (const FolderEntry& entry : entries) {
    const WideText path = folder + u'\\' + entry.name;
    if (entry.kind == EntryKind::folder) {
      removedAll = removeTree(path) && removedAll;
      continue;
    }
    if (entry.kind == EntryKind::file) disk().clearReadOnlyAndHidden(path, error);
    removedAll = disk().removeFile(path, error) && removedAll;
  }
  return removedAll;
}

// Removes a folder and what is in it, deepest entries first.
bool removeTree(const WideText& folder) {
  // Nothing can be taken out of a folder that is marked as read-only.
  ErrorCode error;
  disk().clearReadOnlyAndHidden(folder, error);
  const bool removedAll = removeEntriesOf(folder);
  return disk().removeFolder(folder, error) && removedAll;
}

}  // namespace

WideText freeWriteProbe(const WideText& folder) {
  const WideText probe = folder + u'\\' + WideText(writeProbeName);
  ErrorCode error;
  const bool isLink = disk().isLink(probe, error);
  const EntryKind kind = disk().kind(probe, error);
  if (isLink || kind == EntryKind::file) disk().removeFile(probe, error);
  if (!isLink && kind == EntryKind::folder && !disk().removeFolder(probe, error))
    return freeWriteProbe(probe);
  return probe;
}

Directory_new::Directory_new(WideText path, bool normalise)
    : path_(normalise ? toBackslashes(std::move(path)) : std::move(path)) {}

bool Directory_new::exists() const {
  ErrorCode error;
  const EntryKind kind = disk().kind(path_, error);
  if (error) writeLog(u"DIRECTORY: exception when check if directory exists " + path_);
  return kind == EntryKind::folder;
}

bool Directory_new::create() {
  if (exists()) return true;
  ErrorCode error;
  const bool created = disk().createFolder(path_, error);
  if (!created) writeLog(u"DIRECTORY: exception when create directory " + path_);
  return created;
}

bool Directory_new::createFoldersTo(const WideText& relativePath) const {
  const WideText folder = parentFolder(relativePath);
  if (folder.empty()) return exists();
  if (Directory_new(path_ + u'\\' + folder).exists()) return true;
  if (!exists()) return false;
  // One level each: the first one can't be made in a folder that has gone by now.
  for (std::size_t end = 0; end < folder.size();) {
    end = std::min(folder.find_first_of(u"/\\", end + 1), folder.size());
    if (!Directory_new(path_ + u'\\' + folder.substr(0, end)).create()) return false;
  }
  return true;
}

std::int64_t Directory_new::size() const {
  if (!exists()) return -1;
  ErrorCode error;
  platform::Space space;
  disk().space(path_, space, error);
  if (error) writeLog(u"DIRECTORY: exception when get directory size " + path_);
  return error ? -1 : static_cast<std::int64_t>(space.capacity - space.free);
}

std::int64_t Directory_new::freeSpace() const {
  if (!exists()) return -1;
  ErrorCode error;
  platform::Space space;
  disk().space(path_, space, error);
  if (error) writeLog(u"DIRECTORY: exception when get directory free space " + path_);
  return error ? -1 : static_cast<std::int64_t>(space.free);
}

bool Directory_new::isWriteProtected() {
  if (!exists()) return false;
  File_platformIndependent probe(freeWriteProbe(path_), false);
  if (!probe.openForWriting(platform::OpenMode::truncateEntry)) return true;
  probe.close();
  probe.remove();
  return false;
}

bool Directory_new::isEmpty() const {
  if (!exists()) return false;
  std::vector<WideText> paths;
  if (walk(paths, true, EntryKind::file, true)) return paths.empty();
  writeLog(u"DIRECTORY: exception when get files path " + path_);
  return false;
}

bool Directory_new::entries(std::vector<FolderEntry>& entries) const {
  ErrorCode error;
  if (disk().list(path_, entries, error)) return true;
  writeLog(u"DIRECTORY: exception when get files path " + path_);
  return false;
}

bool Directory_new::files(std::vector<WideText>& paths, bool recursive) const {
  if (walk(paths, recursive, EntryKind::file)) return true;
  writeLog(u"DIRECTORY: exception when get files path " + path_);
  return false;
}

bool Directory_new::folders(std::vector<WideText>& paths, bool recursive) const {
  if (walk(paths, recursive, EntryKind::folder)) return true;
  writeLog(u"DIRECTORY: exception when get directories path " + path_);
  return false;
}

bool Directory_new::folderObjects(std::vector<std::shared_ptr<Directory_new>>& objects,
                                  bool recursive) const {
  std::vector<WideText> paths;
  const bool complete = folders(paths, recursive);
  for (const WideText& path : paths) objects.push_back(std::make_shared<Directory_new>(path));
  return complete;
}

bool Directory_new::hide() {
  ErrorCode error;
  return disk().setHidden(path_, error);
}

bool Directory_new::syncEntries() const {
  ErrorCode error;
  return disk().syncFolder(path_, error);
}

bool Directory_new::syncVolume() const {
  ErrorCode error;
  return disk().syncVolume(path_, error);
}

bool Directory_new::isOnSameVolume(const WideText& folder) const {
  ErrorCode error;
  return disk().areOnSameVolume(path_, folder, error);
}

void Directory_new::remove() {
  if (!exists()) return;
  ErrorCode error;
  const bool removed = disk().isLink(path_, error) ? disk().removeFile(path_, error) : removeTree(path_);
  if (!removed) writeLog(u"DIRECTORY: exception when remove directory " + path_);
}

void Directory_new::removeContent() {
  if (exists() && !removeEntriesOf(path_)) writeLog(u"DIRECTORY: exception when remove directory " + path_);
}

bool Directory_new::walk(std::vector<WideText>& paths, bool recursive, EntryKind wanted,
                         bool firstOnly) const {
  std::vector<WideText> pending{path_};
  bool complete = true;
  while (!pending.empty()) {
    const WideText folder = std::move(pending.back());
    pending.pop_back();
    ErrorCode error;
    std::vector<FolderEntry> entries;
    complete = disk().list(folder, entries, error) && complete;
    for (const FolderEntry& entry : entries) {
      WideText path = folder + u'\\' + entry.name;
      if (entry.kind == wanted) paths.push_back(path);
      if (firstOnly && !paths.empty()) return complete;
      if (recursive && entry.kind == EntryKind::folder) pending.push_back(std::move(path));
    }
  }
  return complete;
}

}  // namespace ZelmoraTevra
