#include "install/FolderDeletes.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <unordered_set>
#include <utility>

#include "core/Directory_new.h"
#include "core/PathBelowRoot.h"
#include "core/Text.h"

namespace ZelmoraTevra {

namespace {

// What the folder deletions of one update come to.
struct Expansion {
  std::vector<InstallFile> files;
  std::vector<InstallFile> folders;
  bool deletesVersionFile = false;
};

InstallFile entryFor(WideText client, FileFlag flag) {
  InstallFile entry;
  entry.client = std::move(client);
  entry.updateFlag = flag;
  return entry;
}

WideText withoutTrailingSeparators(const WideText& path) {
  return path.substr(0, path.find_last_not_of(u"/\\") + 1);
}

void addFolder(const WideText& client, PathBelowRoot& storage, Expansion& expansion) {
  const std::optional<WideText> path = storage.join(withoutTrailingSeparators(client));
  if (!path) return;
  const Directory_new folder(*path);
  if (!folder.exists()) return;

  const std::size_t rootLength = storage.root().size() + 1;
  std::vector<WideText> files;
  folder.files(files, true);
  for (const WideText& file : files) {
    WideText belowRoot = file.substr(rootLength);
    const bool isVersionFile = belowRoot.find(u"version.xml") != WideText::npos;
    expansion.files.push_back(entryFor(std::move(belowRoot), deleteFile));
    if (isVersionFile && !expansion.deletesVersionFile) {
      expansion.deletesVersionFile = true;
      expansion.files.push_back(entryFor(u".DeviceConfigurationBackupFile\\version_bkp", deleteFile));
    }
  }
  std::vector<WideText> subfolders;
  folder.folders(subfolders, true);
  for (const WideText& subfolder : subfolders)
    expansion.folders.push_back(entryFor(subfolder.substr(rootLength), deleteFolderIfEmpty));
}

void append(std::vector<InstallFile>& files, std::vector<InstallFile>& more) {
  files.insert(files.end(), std::move_iterator(more.begin()), std::move_iterator(more.end()));
}

// One spelling for all that name the same file. What leaves the storage names none of its files.
WideText fileKey(const WideText& client) {
  return staysBelowRoot(client) ? comparablePath(client) : toUpperAscii(toBackslashes(client));
}

}  // namespace

void expandFolderDeletes(const std::vector<InstallUpdate*>& updates, const WideText& primaryRoot,
                         const WideText& secondaryRoot) {
  PathBelowRoot primary(primaryRoot);
  PathBelowRoot secondary(secondaryRoot);
  std::size_t added = 0;
  for (InstallUpdate* update : updates) {
    if (std::exchange(update->foldersAreExpanded, true)) continue;
    Expansion expansion;
    for (const InstallFile& file : update->files) {
      if (file.updateFlag != deleteFolderTree) continue;
      if (added + expansion.files.size() + expansion.folders.size() >= maximalFolderDeleteEntries) break;
      addFolder(file.client, primary, expansion);
      addFolder(file.client, secondary, expansion);
    }
    added += expansion.files.size() + expansion.folders.size();
    append(update->files, expansion.files);
    append(update->files, expansion.folders);
  }
}

void dropRedundantDeletes(const std::vector<InstallUpdate*>& updates) {
  const auto isDeletion = [](const InstallFile& file) { return file.updateFlag == deleteFile; };
  // Few packages delete files.
  if (std::none_of(updates.begin(), updates.end(), [&](const InstallUpdate* update) {
        return std::any_of(update->files.begin(), update->files.end(), isDeletion);
      }))
    return;

  std::unordered_set<WideText> written;
  for (const InstallUpdate* update : updates)
    for (const InstallFile& file : update->files)
      if (file.updateFlag == installFile || file.updateFlag == installFileToo ||
          file.updateFlag == replaceFileIfPresent)
        written.insert(fileKey(file.client));
  for (InstallUpdate* update : updates)
    std::erase_if(update->files, [&](const InstallFile& file) {
      return isDeletion(file) && written.contains(fileKey(file.client));
    });
}

}  // namespace ZelmoraTevra
