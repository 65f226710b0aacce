#include "backup/BackupFolder.h"

#include <algorithm>
#include <vector>

#include "core/Directory_new.h"
#include "core/File_platformIndependent.h"
#include "core/Globals.h"
#include "core/PathBelowRoot.h"
#include "core/Text.h"
#include "platform/AbsolutePath.h"
#include "platform/DrivePath.h"

namespace ZelmoraTevra {

namespace {

bool areSameUnit(char16_t left, char16_t right) {
  return left == right || (platform::isSeparator(left) && platform::isSeparator(right));
}

File_platformIndependent unfinishedMark(const WideText& folder) {
  return File_platformIndependent(folder + u'/' + WideText(unfinishedMarkName));
}

bool isGoneOnRemoval(File_platformIndependent file) {
  return file.isCertainlyMissing() || file.remove();
}

}  // namespace

bool isBackupName(WideView name) {
  // Names of dots and blanks alone lead to the folder itself or the one above.
  return staysBelowRoot(name) && name.find_first_of(u"/\\") == WideView::npos &&
         name.find_first_not_of(u". ") != WideView::npos &&
         comparablePath(name) != comparablePath(writeProbeName);
}

bool isNewBackupName(WideView name) {
  constexpr std::size_t maximalBytes = 200;
  return isBackupName(name) && toReadableUtf8(name).size() <= maximalBytes;
}

WideText backupFolder(const WideText& name) {
  return backupRootFolder + u'/' + name;
}

WideText descriptionPath(const WideText& folder, const WideText& name) {
  return folder + u'/' + name + u".xml";
}

void markUnfinished(const WideText& folder) {
  File_platformIndependent mark = unfinishedMark(folder);
  if (mark.openForWriting(platform::OpenMode::createNew)) static_cast<void>(mark.finish());
}

bool removeUnfinishedMark(const WideText& folder) {
  return isGoneOnRemoval(unfinishedMark(folder));
}

bool isMarkedUnfinished(const WideText& folder) {
  return unfinishedMark(folder).exists();
}

void removeBackup(const WideText& folder, const WideText& name) {
  Directory_new whole(folder);
  if (isLinkAt(folder)) return whole.remove();
  markUnfinished(folder);
  if (!isGoneOnRemoval(File_platformIndependent(descriptionPath(folder, name)))) {
    static_cast<void>(removeUnfinishedMark(folder));
    return;
  }
  std::vector<WideText> trees;
  if (!whole.folders(trees, false)) return;
  for (const WideText& tree : trees) Directory_new(tree).remove();
  // The mark stays as long as there is something that could be taken for a backup.
  const bool areGone = std::all_of(trees.begin(), trees.end(), [](const WideText& tree) {
    return File_platformIndependent(tree).isCertainlyMissing();
  });
  if (areGone) whole.remove();
}

std::optional<WideText> pathBehindFolder(const WideText& path, WideView folder) {
  folder = platform::withoutSeparatorsAtEnd(folder);
  if (folder.empty() || path.size() <= folder.size() || !platform::isSeparator(path[folder.size()]) ||
      !std::equal(folder.begin(), folder.end(), path.begin(), areSameUnit))
    return std::nullopt;
  return path.substr(folder.size());
}

}  // namespace ZelmoraTevra
