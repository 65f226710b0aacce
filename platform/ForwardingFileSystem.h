#pragma once

#include "platform/FileSystem.h"

namespace ZelmoraTevra::platform {

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
  bool syncFolder(const WideText& folder, ErrorCode& error) override {
    return target_.syncFolder(folder, error);
  }

 protected:
  FileSystem& target() { return target_; }

 private:
  FileSystem& target_;
};

}  // namespace ZelmoraTevra::platform
