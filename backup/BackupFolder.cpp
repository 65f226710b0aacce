#include "backup/BackupFolder.h"

#include <algorithm>

#include "core/Directory_new.h"
#include "core/File_platformIndependent.h"
#include "core/Globals.h"
#include "core/PathBelowRoot.h"
#include "platform/AbsolutePath.h"
#include "platform/DrivePath.h"

namespace ZelmoraTevra {

namespace {

bool areSameUnit(char16_t left, char16_t right) {
  return left == right || (platform::isSeparator(left) && platform::isSeparator(right));
}

File_platformIndependent unfinishedMark(const WideText& folder) {
  return File_platformIndependent(folder + u"/.tevra_unfinished");
}

}  // namespace

bool isBackupName(WideView name) {
  // Names of dots and blanks alone lead to the folder itself or the one above.
  return staysBelowRoot(name) && name.find_first_of(u"/\\") == WideView::npos &&
         name.find_first_not_of(u". ") != WideView::npos;
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

void removeUnfinishedMark(const WideText& folder) {
  unfinishedMark(folder).remove();
}

bool isMarkedUnfinished(const WideText& folder) {
  return unfinishedMark(folder).exists();
}

void removeBackup(const WideText& folder, const WideText& name) {
  markUnfinished(folder);
  File_platformIndependent(descriptionPath(folder, name)).remove();
  for (const WideView tree : {softwareFolderName, contentFolderName})
    Directory_new(folder + u'/' + WideText(tree)).remove();
  Directory_new(folder).remove();
}

std::optional<WideText> pathBehindFolder(const WideText& path, WideView folder) {
  folder = platform::withoutSeparatorsAtEnd(folder);
  if (folder.empty() || path.size() <= folder.size() || !platform::isSeparator(path[folder.size()]) ||
      !std::equal(folder.begin(), folder.end(), path.begin(), areSameUnit))
    return std::nullopt;
  return path.substr(folder.size());
}

}  // namespace ZelmoraTevra
