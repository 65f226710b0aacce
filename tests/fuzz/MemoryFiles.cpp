#include "tests/fuzz/MemoryFiles.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <utility>

#include "core/Text.h"

namespace ZelmoraTevra {

namespace {

namespace errc = boost::system::errc;
using platform::EntryKind;
using platform::ErrorCode;
using platform::OpenMode;

bool fail(ErrorCode& error, errc::errc_t reason) {
  error = errc::make_error_code(reason);
  return false;
}

bool done(ErrorCode& error) {
  error.clear();
  return true;
}

// With single "\" as separators and none at the end.
WideText plain(const WideText& path) {
  WideText made;
  for (const char16_t unit : toBackslashes(path))
    if (unit != u'\\' || !made.ends_with(u'\\')) made += unit;
  if (made.size() > 1 && made.ends_with(u'\\')) made.pop_back();
  return made;
}

bool isBelow(const WideText& path, const WideText& folder) {
  return path.size() > folder.size() && path.starts_with(folder) && path[folder.size()] == u'\\';
}

bool goesUp(const WideText& path) {
  return (path + u'\\').find(u"\\..\\") != WideText::npos;
}

}  // namespace

class MemoryHandle : public platform::FileHandle {
 public:
  MemoryHandle(MemoryFiles& files, WideText path, bool appends)
      : files_(files),
        path_(std::move(path)),
        content_(files.contents[path_]),
        position_(appends ? content_.size() : 0) {}

  std::int64_t read(void* buffer, std::size_t size, ErrorCode& error) override {
    if (!files_.canBeReached(path_, error)) return -1;
    const std::size_t count = std::min(size, content_.size() - std::min(position_, content_.size()));
    if (count > 0) std::memcpy(buffer, content_.data() + position_, count);
    position_ += count;
    return static_cast<std::int64_t>(count);
  }
  bool write(const void* data, std::size_t size, ErrorCode& error) override {
    const bool couldBeReached = files_.canBeReached(path_, error);
    const bool isTaken = files_.takesChange(path_, error);
    if (couldBeReached) put(static_cast<const char*>(data), isTaken ? size : size / 2);
    return isTaken;
  }
  bool seek(std::uint64_t position, ErrorCode& error) override {
    position_ = position;
    return done(error);
  }
  std::int64_t size(ErrorCode& error) override {
    return files_.canBeReached(path_, error) ? static_cast<std::int64_t>(content_.size()) : -1;
  }
  bool truncate(std::uint64_t size, ErrorCode& error) override {
    if (!files_.takesChange(path_, error)) return false;
    content_.resize(size);
    return true;
  }
  bool flush(ErrorCode& error) override { return files_.canBeReached(path_, error); }
  bool sync(ErrorCode& error) override { return files_.canBeReached(path_, error); }
  bool close(ErrorCode& error) override { return files_.canBeReached(path_, error); }

 private:
  void put(const char* data, std::size_t size) {
    content_.resize(std::max(content_.size(), position_ + size));
    content_.replace(position_, size, data, size);
    position_ += size;
  }

  MemoryFiles& files_;
  WideText path_;
  std::string& content_;
  std::size_t position_;
};

void MemoryFiles::addFolder(const WideText& path) {
  for (WideText folder = plain(path); !folder.empty(); folder = parentFolder(folder)) folders_.insert(folder);
}

void MemoryFiles::pullAfter(const WideText& root, std::size_t changes) {
  pulled_ = Pulled{plain(root), changes};
}

bool MemoryFiles::hasChangedOnly(const std::vector<WideText>& folders) const {
  return std::all_of(changed_.begin(), changed_.end(), [&folders](const WideText& path) {
    return !goesUp(path) && std::any_of(folders.begin(), folders.end(), [&path](const WideText& folder) {
      return path == folder || isBelow(path, folder);
    });
  });
}

EntryKind MemoryFiles::kind(const WideText& path, ErrorCode& error) {
  const WideText entry = plain(path);
  return canBeReached(entry, error) ? kindOf(entry) : EntryKind::missing;
}

bool MemoryFiles::isLink(const WideText& path, ErrorCode& error) {
  static_cast<void>(canBeReached(plain(path), error));
  return false;
}

std::int64_t MemoryFiles::fileSize(const WideText& path, ErrorCode& error) {
  const WideText entry = plain(path);
  if (!canBeReached(entry, error)) return -1;
  const auto found = contents.find(entry);
  if (found != contents.end()) return static_cast<std::int64_t>(found->second.size());
  fail(error, errc::no_such_file_or_directory);
  return -1;
}

bool MemoryFiles::space(const WideText& path, platform::Space& space, ErrorCode& error) {
  space = {std::uint64_t{1} << 40, std::uint64_t{1} << 39, std::uint64_t{1} << 39};
  return canBeReached(plain(path), error);
}

bool MemoryFiles::list(const WideText& folder, std::vector<platform::FolderEntry>& entries,
                       ErrorCode& error) {
  const WideText parent = plain(folder);
  if (!canBeReached(parent, error)) return false;
  if (kindOf(parent) != EntryKind::folder) return fail(error, errc::no_such_file_or_directory);
  std::set<WideText> names;
  const auto add = [&](const WideText& path) {
    if (!isBelow(path, parent)) return;
    const std::size_t start = parent.size() + 1;
    names.insert(path.substr(start, path.find(u'\\', start) - start));
  };
  for (const auto& [path, content] : contents) add(path);
  for (const WideText& path : folders_) add(path);
  for (const WideText& name : names) entries.push_back({name, kindOf(parent + u'\\' + name)});
  return true;
}

std::unique_ptr<platform::FileHandle> MemoryFiles::open(const WideText& path, OpenMode mode,
                                                        ErrorCode& error) {
  const WideText entry = plain(path);
  if (mode == OpenMode::read ? !canBeReached(entry, error) : !takesChange(entry, error)) return nullptr;
  const EntryKind stands = kindOf(entry);
  const auto refuse = [&error](errc::errc_t reason) {
    fail(error, reason);
    return nullptr;
  };
  if (stands == EntryKind::folder) return refuse(errc::is_a_directory);
  if ((mode == OpenMode::read || mode == OpenMode::update) && stands == EntryKind::missing)
    return refuse(errc::no_such_file_or_directory);
  if (mode == OpenMode::createNew && stands == EntryKind::file) return refuse(errc::file_exists);
  if (kindOf(parentFolder(entry)) != EntryKind::folder) return refuse(errc::no_such_file_or_directory);
  if (mode == OpenMode::truncate || mode == OpenMode::truncateEntry) contents[entry].clear();
  return std::make_unique<MemoryHandle>(*this, entry, mode == OpenMode::append);
}

bool MemoryFiles::createFolder(const WideText& path, ErrorCode& error) {
  const WideText entry = plain(path);
  if (!takesChange(entry, error)) return false;
  if (kindOf(entry) != EntryKind::missing) return fail(error, errc::file_exists);
  const WideText parent = parentFolder(entry);
  if (!parent.empty() && kindOf(parent) != EntryKind::folder)
    return fail(error, errc::no_such_file_or_directory);
  folders_.insert(entry);
  return true;
}

bool MemoryFiles::rename(const WideText& from, const WideText& to, ErrorCode& error) {
  const WideText source = plain(from);
  const WideText target = plain(to);
  if (!takesChange(source, error) || !takesChange(target, error)) return false;
  const EntryKind stands = kindOf(source);
  if (stands == EntryKind::missing || kindOf(parentFolder(target)) != EntryKind::folder)
    return fail(error, errc::no_such_file_or_directory);
  if (source == target) return true;
  if (stands == EntryKind::folder) {
    if (kindOf(target) != EntryKind::missing) return fail(error, errc::file_exists);
    renameFolder(source, target);
    return true;
  }
  if (kindOf(target) == EntryKind::folder) return fail(error, errc::is_a_directory);
  addFolder(parentFolder(source));
  contents.erase(target);
  auto file = contents.extract(source);
  file.key() = target;
  contents.insert(std::move(file));
  return true;
}

bool MemoryFiles::removeFile(const WideText& path, ErrorCode& error) {
  const WideText entry = plain(path);
  if (!takesChange(entry, error)) return false;
  if (kindOf(entry) != EntryKind::file) return fail(error, errc::no_such_file_or_directory);
  addFolder(parentFolder(entry));
  contents.erase(entry);
  return true;
}

bool MemoryFiles::removeFolder(const WideText& path, ErrorCode& error) {
  const WideText entry = plain(path);
  if (!takesChange(entry, error)) return false;
  if (kindOf(entry) != EntryKind::folder) return fail(error, errc::no_such_file_or_directory);
  if (holdsSomething(entry)) return fail(error, errc::directory_not_empty);
  folders_.erase(entry);
  return true;
}

bool MemoryFiles::clearReadOnlyAndHidden(const WideText& path, ErrorCode& error) {
  return takesChange(plain(path), error);
}

bool MemoryFiles::setHidden(const WideText& path, ErrorCode& error) {
  return takesChange(plain(path), error);
}

bool MemoryFiles::creationTime(const WideText& path, std::int64_t& secondsSinceEpoch, ErrorCode& error) {
  secondsSinceEpoch = 0;
  return canBeReached(plain(path), error);
}

bool MemoryFiles::setTimes(const WideText& path, std::int64_t /*seconds*/, ErrorCode& error) {
  return takesChange(plain(path), error);
}

bool MemoryFiles::syncVolume(const WideText& folder, ErrorCode& error) {
  return canBeReached(plain(folder), error);
}

bool MemoryFiles::areOnSameVolume(const WideText& left, const WideText& right, ErrorCode& error) {
  return canBeReached(plain(left), error) && canBeReached(plain(right), error);
}

bool MemoryFiles::areSame(const WideText& left, const WideText& right, ErrorCode& error) {
  return kind(left, error) != EntryKind::missing && plain(left) == plain(right);
}

WideText MemoryFiles::resolved(const WideText& path) {
  return plain(path);
}

std::optional<platform::FileIdentity> MemoryFiles::identity(const WideText& path, ErrorCode& error) {
  if (kind(path, error) != EntryKind::missing)
    return platform::FileIdentity{0, std::hash<WideText>()(plain(path))};
  if (!error) fail(error, errc::no_such_file_or_directory);
  return {};
}

bool MemoryFiles::syncFolder(const WideText& folder, ErrorCode& error) {
  return canBeReached(plain(folder), error);
}

bool MemoryFiles::canBeReached(const WideText& path, ErrorCode& error) const {
  const bool hasGone = pulled_ && pulled_->hasGone && (path == pulled_->root || isBelow(path, pulled_->root));
  return hasGone ? fail(error, errc::io_error) : done(error);
}

bool MemoryFiles::takesChange(const WideText& path, ErrorCode& error) {
  changed_.insert(path);
  if (pulled_ && !pulled_->hasGone && isBelow(path, pulled_->root))
    pulled_->hasGone = pulled_->changesLeft-- == 0;
  return canBeReached(path, error);
}

EntryKind MemoryFiles::kindOf(const WideText& path) const {
  if (contents.contains(path)) return EntryKind::file;
  if (path.empty() || path == u"\\") return EntryKind::folder;
  return folders_.contains(path) || holdsSomething(path) ? EntryKind::folder : EntryKind::missing;
}

bool MemoryFiles::holdsSomething(const WideText& folder) const {
  const WideText start = folder + u'\\';
  const auto file = contents.lower_bound(start);
  if (file != contents.end() && file->first.starts_with(start)) return true;
  const auto inner = folders_.lower_bound(start);
  return inner != folders_.end() && inner->starts_with(start);
}

void MemoryFiles::renameFolder(const WideText& from, const WideText& to) {
  std::map<WideText, std::string> movedFiles;
  for (auto file = contents.begin(); file != contents.end();) {
    const auto next = std::next(file);
    if (isBelow(file->first, from)) {
      auto node = contents.extract(file);
      node.key() = to + node.key().substr(from.size());
      movedFiles.insert(std::move(node));
    }
    file = next;
  }
  contents.merge(movedFiles);
  std::set<WideText> movedFolders{to};
  std::erase_if(folders_, [&](const WideText& path) {
    if (path != from && !isBelow(path, from)) return false;
    movedFolders.insert(to + path.substr(from.size()));
    return true;
  });
  folders_.merge(movedFolders);
  addFolder(parentFolder(from));
}

}  // namespace ZelmoraTevra
