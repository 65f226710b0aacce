#include "tests/fuzz/FuzzMachine.h"

#include <algorithm>
#include <cstring>

#include "core/BackendLogger.h"
#include "core/Globals.h"
#include "core/ProgressObserver.h"
#include "core/StatusXml.h"

namespace ZelmoraTevra {

namespace {

using platform::EntryKind;
using platform::ErrorCode;

bool missing(ErrorCode& error) {
  error = boost::system::errc::make_error_code(boost::system::errc::no_such_file_or_directory);
  return false;
}

bool done(ErrorCode& error) {
  error.clear();
  return true;
}

class MemoryHandle : public platform::FileHandle {
 public:
  explicit MemoryHandle(std::string& content, std::size_t position)
      : content_(content), position_(position) {}

  std::int64_t read(void* buffer, std::size_t size, ErrorCode& error) override {
    error.clear();
    const std::size_t count = std::min(size, content_.size() - std::min(position_, content_.size()));
    if (count > 0) std::memcpy(buffer, content_.data() + position_, count);
    position_ += count;
    return static_cast<std::int64_t>(count);
  }
  bool write(const void* data, std::size_t size, ErrorCode& error) override {
    content_.resize(std::max(content_.size(), position_ + size));
    content_.replace(position_, size, static_cast<const char*>(data), size);
    position_ += size;
    return done(error);
  }
  bool seek(std::uint64_t position, ErrorCode& error) override {
    position_ = position;
    return done(error);
  }
  std::int64_t size(ErrorCode& error) override {
    error.clear();
    return static_cast<std::int64_t>(content_.size());
  }
  bool truncate(std::uint64_t size, ErrorCode& error) override {
    content_.resize(size);
    return done(error);
  }
  bool flush(ErrorCode& error) override { return done(error); }
  bool sync(ErrorCode& error) override { return done(error); }
  bool close(ErrorCode& error) override { return done(error); }

 private:
  std::string& content_;
  std::size_t position_;
};

}  // namespace

EntryKind MemoryFiles::kind(const WideText& path, ErrorCode& error) {
  error.clear();
  if (contents.contains(path)) return EntryKind::file;
  return path.find(u'.') == WideText::npos ? EntryKind::folder : EntryKind::missing;
}

bool MemoryFiles::isLink(const WideText& /*path*/, ErrorCode& error) {
  error.clear();
  return false;
}

std::int64_t MemoryFiles::fileSize(const WideText& path, ErrorCode& error) {
  const auto found = contents.find(path);
  if (found == contents.end()) return missing(error) ? 0 : -1;
  error.clear();
  return static_cast<std::int64_t>(found->second.size());
}

bool MemoryFiles::space(const WideText& /*path*/, platform::Space& space, ErrorCode& error) {
  space = {std::uint64_t{1} << 40, std::uint64_t{1} << 39};
  return done(error);
}

bool MemoryFiles::list(const WideText& /*folder*/, std::vector<platform::FolderEntry>& /*entries*/,
                       ErrorCode& error) {
  return done(error);
}

std::unique_ptr<platform::FileHandle> MemoryFiles::open(const WideText& path, platform::OpenMode mode,
                                                        ErrorCode& error) {
  if (mode == platform::OpenMode::read && !contents.contains(path)) {
    missing(error);
    return nullptr;
  }
  error.clear();
  std::string& content = contents[path];
  if (mode == platform::OpenMode::truncate) content.clear();
  return std::make_unique<MemoryHandle>(content, mode == platform::OpenMode::append ? content.size() : 0);
}

bool MemoryFiles::createFolder(const WideText& /*path*/, ErrorCode& error) {
  return done(error);
}

bool MemoryFiles::rename(const WideText& from, const WideText& to, ErrorCode& error) {
  const auto found = contents.find(from);
  if (found == contents.end()) return missing(error);
  std::string content = std::move(found->second);
  contents.erase(found);
  contents[to] = std::move(content);
  return done(error);
}

bool MemoryFiles::removeFile(const WideText& path, ErrorCode& error) {
  return contents.erase(path) > 0 ? done(error) : missing(error);
}

bool MemoryFiles::removeFolder(const WideText& /*path*/, ErrorCode& error) {
  return done(error);
}

bool MemoryFiles::clearReadOnlyAndHidden(const WideText& /*path*/, ErrorCode& error) {
  return done(error);
}

bool MemoryFiles::setHidden(const WideText& /*path*/, ErrorCode& error) {
  return done(error);
}

bool MemoryFiles::creationTime(const WideText& /*path*/, std::int64_t& secondsSinceEpoch, ErrorCode& error) {
  error.clear();
  secondsSinceEpoch = 0;
  return true;
}

bool MemoryFiles::setTimes(const WideText& /*path*/, std::int64_t /*seconds*/, ErrorCode& error) {
  return done(error);
}

bool MemoryFiles::syncVolume(const WideText& /*folder*/, ErrorCode& error) {
  return done(error);
}

bool MemoryFiles::areOnSameVolume(const WideText& /*left*/, const WideText& /*right*/, ErrorCode& error) {
  return done(error);
}

bool MemoryFiles::areSame(const WideText& left, const WideText& right, ErrorCode& error) {
  return done(error) && left == right && kind(left, error) != EntryKind::missing;
}

std::optional<platform::FileIdentity> MemoryFiles::identity(const WideText& path, ErrorCode& error) {
  if (kind(path, error) != EntryKind::missing) return platform::FileIdentity{0, std::hash<WideText>()(path)};
  if (!error) error = boost::system::errc::make_error_code(boost::system::errc::no_such_file_or_directory);
  return {};
}

bool MemoryFiles::syncFolder(const WideText& /*folder*/, ErrorCode& error) {
  return done(error);
}

FuzzMachine::FuzzMachine() {
  channelName = "ZELMORATevra_tmp";
  commandsInSharedMemory = false;
  workTempFolder = u"\\work";
  userTempFolder = u"\\temp";
  platform::Machine machine = platform::nativeMachine();
  machine.files = &files;
  scope_ = std::make_unique<platform::ScopedMachine>(machine);
}

FuzzMachine::~FuzzMachine() {
  StatusXml::destroy();
  BackendLogger::destroy();
  ProgressObserver::destroy();
}

}  // namespace ZelmoraTevra
