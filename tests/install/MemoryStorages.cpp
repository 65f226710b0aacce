#include "tests/install/MemoryStorages.h"

#include "core/Text.h"

namespace ZelmoraTevra {

using platform::EntryKind;
using platform::ErrorCode;

namespace {

bool isMine(const WideText& path) {
  return path.starts_with(u"M:");
}

WideText canonical(const WideText& path) {
  std::vector<WideText> names;
  for (WideText& name : split(toForwardSlashes(path), u'/')) {
    if (name == u"..") {
      if (names.size() > 1) names.pop_back();
    } else if (!name.empty() && name != u".") {
      names.push_back(std::move(name));
    }
  }
  WideText joined;
  for (const WideText& name : names) joined += (joined.empty() ? WideText() : WideText(u"\\")) + name;
  return joined;
}

ErrorCode notThere() {
  return boost::system::errc::make_error_code(boost::system::errc::no_such_file_or_directory);
}

}  // namespace

void MemoryStorages::addRoot(const WideText& root, std::int64_t freeBytes) {
  addFolder(root);
  freeSpace_[canonical(root)] = freeBytes;
}

void MemoryStorages::addFile(const WideText& path, std::int64_t bytes) {
  const WideText file = canonical(path);
  addFolder(parentFolder(file));
  folders_[parentFolder(file)].insert(file);
  files_[file] = bytes;
}

void MemoryStorages::addFolder(const WideText& path) {
  const WideText folder = canonical(path);
  if (folders_.contains(folder)) return;
  folders_[folder];
  const WideText parent = parentFolder(folder);
  if (parent.empty()) return;
  addFolder(parent);
  folders_[parent].insert(folder);
}

void MemoryStorages::remove(const WideText& path) {
  const WideText folder = canonical(path);
  const WideText inside = folder + u'\\';
  const auto isInside = [&](const auto& entry) {
    return entry.first == folder || entry.first.starts_with(inside);
  };
  std::erase_if(files_, isInside);
  std::erase_if(folders_, isInside);
  std::erase_if(freeSpace_, isInside);
  folders_[parentFolder(folder)].erase(folder);
}

EntryKind MemoryStorages::kind(const WideText& path, ErrorCode& error) {
  ask(path);
  ++looks[path];
  if (!isMine(path)) return target().kind(path, error);
  error.clear();
  if (files_.contains(canonical(path))) return EntryKind::file;
  return folders_.contains(canonical(path)) ? EntryKind::folder : EntryKind::missing;
}

bool MemoryStorages::isLink(const WideText& path, ErrorCode& error) {
  ask(path);
  if (!isMine(path)) return target().isLink(path, error);
  error.clear();
  return false;
}

std::int64_t MemoryStorages::fileSize(const WideText& path, ErrorCode& error) {
  ask(path);
  ++looks[path];
  if (!isMine(path)) return target().fileSize(path, error);
  const auto found = files_.find(canonical(path));
  error = found == files_.end() ? notThere() : ErrorCode();
  return found == files_.end() ? -1 : found->second;
}

bool MemoryStorages::space(const WideText& path, platform::Space& space, ErrorCode& error) {
  ask(path);
  if (!isMine(path)) return target().space(path, space, error);
  const auto found = freeSpace_.find(canonical(path));
  error = found == freeSpace_.end() ? notThere() : ErrorCode();
  if (found == freeSpace_.end()) return false;
  space.free = static_cast<std::uint64_t>(found->second);
  space.capacity = space.free;
  return true;
}

bool MemoryStorages::list(const WideText& path, std::vector<platform::FolderEntry>& entries,
                          ErrorCode& error) {
  ask(path);
  if (!isMine(path)) return target().list(path, entries, error);
  const auto found = folders_.find(canonical(path));
  error = found == folders_.end() ? notThere() : ErrorCode();
  if (found == folders_.end()) return false;
  for (const WideText& entry : found->second)
    entries.push_back({lastComponent(entry), files_.contains(entry) ? EntryKind::file : EntryKind::folder});
  return true;
}

void MemoryStorages::ask(const WideText& path) {
  if (before) before(path);
  questions.insert(path);
}

}  // namespace ZelmoraTevra
