#include "install/DeviceXmlFiles.h"

#include <algorithm>
#include <utility>

#include "core/Directory_new.h"
#include "core/File_platformIndependent.h"
#include "core/Text.h"

namespace ZelmoraTevra {

namespace {

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
  OpenFile* const file = open(root, entry.file);
  if (file == nullptr) return root.joinExisting(entry.file) ? Editing::failed : Editing::missing;
  if (file->document.isExhausted()) return Editing::failed;
  if (file->document.removeMatches(entry) && !file->firstChange) file->firstChange = update_;
  return Editing::done;
}

bool DeviceXmlFiles::save() {
  for (const auto& [key, file] : files_) {
    if (!file->firstChange || wasDeleted(file->root, file->relativePath)) continue;
    if (file->document.save()) {
      file->firstChange.reset();
    } else {
      firstUnsaved_ = std::min(firstUnsaved_.value_or(*file->firstChange), *file->firstChange);
    }
  }
  return !firstUnsaved_;
}

DeviceXmlFiles::OpenFile* DeviceXmlFiles::open(PathBelowRoot& root, const WideText& relativePath) {
  const WideText key = keyOf(root.root(), relativePath);
  const auto known = files_.find(key);
  if (known != files_.end()) {
    if (root.joinExisting(known->second->relativePath)) return known->second.get();
    forget(key);
  }
  const std::optional<WideText> path = root.join(relativePath);
  auto file = std::make_unique<OpenFile>();
  if (!path || !file->document.load(*path)) return nullptr;
  file->root = root.root();
  file->relativePath = relativePath;
  file->bytes = std::max<std::int64_t>(File_platformIndependent(*path).size(), 0);
  if (openBytes_ + file->bytes > maximalOpenBytes_) {
    if (!save()) return nullptr;
    files_.clear();
    openBytes_ = 0;
  }
  openBytes_ += file->bytes;
  return (files_[key] = std::move(file)).get();
}

void DeviceXmlFiles::forget(const WideText& key) {
  openBytes_ -= files_[key]->bytes;
  files_.erase(key);
}

}  // namespace ZelmoraTevra
