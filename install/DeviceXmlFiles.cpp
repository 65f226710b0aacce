#include "install/DeviceXmlFiles.h"

#include <algorithm>
#include <utility>

#include "core/Directory_new.h"
#include "core/File_platformIndependent.h"
#include "core/Text.h"

namespace ZelmoraTevra {

namespace {

constexpr std::int64_t maximalReadings = 16;  // of as much as may be open at once

// One text for a storage that is named in several ways: the same file under two keys would be written twice,
// each time without what was removed from the other one. Upper and lower case may be two folders, but are one
// drive.
WideText keyOf(const WideText& root, const WideText& relativePath) {
  WideText key = toBackslashes(root);
  while (key.ends_with(u'\\')) key.pop_back();
  if (key.find(u':') == 1) key = toUpperAscii(key.substr(0, 1)) + key.substr(1);
  return key + u'\\' + comparablePath(relativePath);
}

// By a file entry of an update. With the whole storage gone nothing was deleted.
bool wasDeleted(const WideText& root, const WideText& relativePath) {
  return !PathBelowRoot(root).joinExisting(relativePath) && Directory_new(root).exists();
}

}  // namespace

DeviceXmlFiles::Editing DeviceXmlFiles::removeMatches(PathBelowRoot& root, const UpdateXmlEntry& entry) {
  const WideText key = keyOf(root.root(), entry.file);
  if (missing_.contains(key)) return Editing::missing;
  const auto known = files_.find(key);
  if (known != files_.end())
    return root.joinExisting(known->second->relativePath) ? edit(*known->second, entry) : forget(known);
  const std::optional<WideText> path = root.join(entry.file);
  return path ? editNew(key, *path, root.root(), entry) : Editing::refused;
}

bool DeviceXmlFiles::save() {
  for (const auto& [key, file] : files_) {
    if (!file->firstChange || wasDeleted(file->root, file->relativePath)) continue;
    if (file->document.save()) {
      file->firstChange.reset();
    } else {
      noteUnsaved(*file);
    }
  }
  return !firstUnsaved_;
}

DeviceXmlFiles::Editing DeviceXmlFiles::edit(OpenFile& file, const UpdateXmlEntry& entry) {
  if (file.document.removeMatches(entry) && !file.firstChange) file.firstChange = update_;
  return file.document.isExhausted() ? Editing::failed : Editing::done;
}

DeviceXmlFiles::Editing DeviceXmlFiles::editNew(const WideText& key, const WideText& path,
                                                const WideText& root, const UpdateXmlEntry& entry) {
  if (readBytes_ > maximalReadings * maximalOpenBytes_) return Editing::failed;
  auto file = std::make_unique<OpenFile>();
  if (!file->document.load(path)) {
    if (!File_platformIndependent(path).isCertainlyMissing() || !Directory_new(root).exists())
      return Editing::failed;
    missing_.insert(key);
    return Editing::missing;
  }
  file->root = root;
  file->relativePath = entry.file;
  file->bytes = std::max<std::int64_t>(File_platformIndependent(path).size(), 0);
  readBytes_ += file->bytes;
  if (openBytes_ + file->bytes > maximalOpenBytes_) {
    if (!save()) return Editing::failed;
    files_.clear();
    openBytes_ = 0;
  }
  openBytes_ += file->bytes;
  return edit(*(files_[key] = std::move(file)), entry);
}

DeviceXmlFiles::Editing DeviceXmlFiles::forget(FileMap::iterator file) {
  const OpenFile& gone = *file->second;
  const bool deleted = wasDeleted(gone.root, gone.relativePath);
  if (!deleted && gone.firstChange) noteUnsaved(gone);
  openBytes_ -= gone.bytes;
  files_.erase(file);
  return deleted ? Editing::missing : Editing::failed;
}

void DeviceXmlFiles::noteUnsaved(const OpenFile& file) {
  firstUnsaved_ = std::min(firstUnsaved_.value_or(*file.firstChange), *file.firstChange);
}

}  // namespace ZelmoraTevra
