#include "backup/RestoreTarget.h"

#include <algorithm>

#include "backup/FolderRelation.h"
#include "core/Directory_new.h"
#include "core/File_platformIndependent.h"
#include "core/Text.h"
#include "platform/AbsolutePath.h"

namespace ZelmoraTevra {

RestoreTarget::RestoreTarget(const WideText& root, const WideText& backupFolder)
    : below_(WideText(platform::withoutSeparatorsAtEnd(root))),
      drive_(driveOfPath(root)),
      backupFolder_(backupFolder),
      holdsBackup_(!root.empty() && isSameOrBelowFolder(backupFolder, root)),
      liesInBackup_(!root.empty() && isSameOrBelowFolder(root, backupFolder)) {}

WideText RestoreTarget::textOf(const WideText& relativePath) const {
  return below_.root() + u'\\' + relativePath;
}

std::optional<WideText> RestoreTarget::makePlace(const WideText& relativePath) {
  if (liesInBackup_) return std::nullopt;
  // A link at the place itself makes way for the copy.
  std::optional<WideText> path = below_.joinInFolder(relativePath);
  if (!path) return std::nullopt;
  const WideText folder = parentFolder(*path);
  if (lastFolder_ == folder) return path;
  if (!makeFolders(folder)) return std::nullopt;
  lastFolder_ = folder;
  return path;
}

bool RestoreTarget::makeFolders(const WideText& folder) const {
  std::size_t end = below_.root().size();
  while (end < folder.size()) {
    end = std::min(folder.find_first_of(u"/\\", end + 1), folder.size());
    const WideText level = folder.substr(0, end);
    if (holdsBackup_ && File_platformIndependent(level).isSameAs(backupFolder_)) return false;
    if (!Directory_new(level).create()) return false;
  }
  return true;
}

}  // namespace ZelmoraTevra
