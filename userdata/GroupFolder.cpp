#include "userdata/GroupFolder.h"

#include "core/Directory_new.h"
#include "core/File_platformIndependent.h"
#include "platform/AbsolutePath.h"
#include "userdata/FileCopy.h"
#include "userdata/FileNames.h"

namespace ZelmoraTevra {

GroupFolder::GroupFolder(WideView storage, WideView folder)
    : storage_(WideText(platform::withoutSeparatorsAtEnd(storage))),
      folder_(platform::withoutSeparatorsAtEnd(folder)) {}

std::optional<WideText> GroupFolder::path() {
  return storage_.join(folder_);
}

std::optional<WideText> GroupFolder::relativePath(const WideText& name, const WideText& extension) const {
  const WideText file = withExtension(name, extension);
  if (!staysBelowRoot(folder_) || !staysBelowRoot(file)) return std::nullopt;
  return folder_ + u'\\' + file;
}

std::optional<WideText> GroupFolder::placeOf(const WideText& name, const WideText& extension) {
  const std::optional<WideText> relative = relativePath(name, extension);
  return relative ? storage_.joinInFolder(*relative) : std::nullopt;
}

WideText GroupFolder::pathAsNamed(const WideText& name, const WideText& extension) const {
  return storage_.root() + u'\\' + folder_ + u'\\' + withExtension(name, extension);
}

std::optional<WideText> GroupFolder::find(const WideText& name, const WideText& extension) {
  const std::optional<WideText> relative = relativePath(name, extension);
  std::optional<WideText> path = relative ? storage_.joinExisting(*relative) : std::nullopt;
  if (path && !File_platformIndependent(*path).exists()) path.reset();
  return path;
}

std::optional<WideText> GroupFolder::findFirst(const WideText& name,
                                               const std::vector<WideText>& extensions) {
  for (const WideText& extension : extensions) {
    if (std::optional<WideText> path = find(name, extension)) return path;
  }
  return std::nullopt;
}

bool GroupFolder::create() {
  const std::optional<WideText> folder = path();
  return folder && Directory_new(*folder).create();
}

void GroupFolder::removeUnfinishedCopy() {
  if (const std::optional<WideText> folder = path()) ZelmoraTevra::removeUnfinishedCopy(*folder);
}

void removeCompanion(const WideText& storage, const WideText& folder, const WideText& name,
                     const WideText& extension) {
  if (folder.empty() || extension.empty()) return;
  if (const std::optional<WideText> path = GroupFolder(storage, folder).find(name, extension))
    File_platformIndependent(*path).remove();
}

}  // namespace ZelmoraTevra
