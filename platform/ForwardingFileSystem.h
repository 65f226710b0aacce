#pragma once

#include <memory>
#include <utility>

#include "platform/FileSystem.h"

namespace ZelmoraTevra::platform {

// Passes every operation on an open file on. Derived classes override what they change.
class ForwardingFileHandle : public FileHandle {
 public:
  explicit ForwardingFileHandle(std::unique_ptr<FileHandle> target) : target_(std::move(target)) {}

  std::int64_t read(void* buffer, std::size_t size, ErrorCode& error) override {
    return target_->read(buffer, size, error);
  }
  bool write(const void* data, std::size_t size, ErrorCode& error) override {
    return target_->write(data, size, error);
  }
  bool seek(std::uint64_t position, ErrorCode& error) override { return target_->seek(position, error); }
  std::int64_t size(ErrorCode& error) override { return target_->size(error); }
  bool truncate(std::uint64_t size, ErrorCode& error) override { return target_->truncate(size, error); }
  bool flush(ErrorCode& error) override { return target_->flush(error); }
  bool sync(ErrorCode& error) override { return target_->sync(error); }
  void forgetCached() override { target_->forgetCached(); }
  bool close(ErrorCode& error) override { return target_->close(error); }

 protected:
  [[nodiscard]] FileHandle& target() { return *target_; }

 private:
  std::unique_ptr<FileHandle> target_;
};

// Hands every operation on to another file system, which must outlive it. A class that derives from it
// overrides only what it changes.
class ForwardingFileSystem : public FileSystem {
 public:
  explicit ForwardingFileSystem(FileSystem& target) : target_(target) {}
  // Another forwarding file system given as the target would be taken for one to copy, and be passed by.
  ForwardingFileSystem(const ForwardingFileSystem&) = delete;
  ForwardingFileSystem& operator=(const ForwardingFileSystem&) = delete;

  EntryKind kind(const WideText& path, ErrorCode& error) override { return target_.kind(path, error); }
  bool isLink(const WideText& path, ErrorCode& error) override { return target_.isLink(path, error); }
  std::int64_t fileSize(const WideText& path, ErrorCode& error) override {
    return target_.fileSize(path, error);
  }
  bool space(const WideText& path, Space& space, ErrorCode& error) override {
    return target_.space(path, space, error);
  }
  bool list(const WideText& folder, std::vector<FolderEntry>& entries, ErrorCode& error) override {
    return target_.list(folder, entries, error);
  }
  std::unique_ptr<FileHandle> open(const WideText& path, OpenMode mode, ErrorCode& error) override {
    return target_.open(path, mode, error);
  }
  bool createFolder(const WideText& path, ErrorCode& error) override {
    return target_.createFolder(path, error);
  }
  bool rename(const WideText& from, const WideText& to, ErrorCode& error) override {
    return target_.rename(from, to, error);
  }
  bool removeFile(const WideText& path, ErrorCode& error) override { return target_.removeFile(path, error); }
  bool removeFolder(const WideText& path, ErrorCode& error) override {
    return target_.removeFolder(path, error);
  }
  bool clearReadOnlyAndHidden(const WideText& path, ErrorCode& error) override {
    return target_.clearReadOnlyAndHidden(path, error);
  }
  bool setHidden(const WideText& path, ErrorCode& error) override { return target_.setHidden(path, error); }
  bool creationTime(const WideText& path, std::int64_t& secondsSinceEpoch, ErrorCode& error) override {
    return target_.creationTime(path, secondsSinceEpoch, error);
  }
  bool setTimes(const WideText& path, std::int64_t secondsSinceEpoch, ErrorCode& error) override {
    return target_.setTimes(path, secondsSinceEpoch, error);
  }
  bool syncVolume(const WideText& folder, ErrorCode& error) override {
    return target_.syncVolume(folder, error);
  }
  bool areOnSameVolume(const WideText& left, const WideText& right, ErrorCode& error) override {
    return target_.areOnSameVolume(left, right, error);
  }
  bool areSame(const WideText& left, const WideText& right, ErrorCode& error) override {
    return target_.areSame(left, right, error);
  }
  WideText resolved(const WideText& path) override { return target_.resolved(path); }
  std::optional<FileIdentity> identity(const WideText& path, ErrorCode& error) override {
    return target_.identity(path, error);
  }
  bool syncFolder(const WideText& folder, ErrorCode& error) override {
    return target_.syncFolder(folder, error);
  }

 protected:
  FileSystem& target() { return target_; }

 private:
  FileSystem& target_;
};

}  // namespace ZelmoraTevra::platform
