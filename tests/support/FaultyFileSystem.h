#pragma once

#include <functional>
#include <string>

#include "platform/ForwardingFileSystem.h"

namespace ZelmoraTevra {

// Counts the operations that change something on disk (opening for writing, writing, syncing, creating,
// renaming, removing) and does something at a chosen one: by default that operation fails with "no space
// left".
class FaultyFileSystem : public platform::ForwardingFileSystem {
 public:
  explicit FaultyFileSystem(platform::FileSystem& target) : ForwardingFileSystem(target) {}

  // The number of the operation that fails, from 1; 0: none does.
  int failAt = 0;
  // All operations from `failAt` on fail, as on a device that has gone.
  bool failAllAfter = false;
  // Called before each counted operation, with its number and a name for messages.
  std::function<void(int, const std::string&)> before;
  // Closing, which isn't counted, fails for the files for whose paths this is true: a disk may tell only then
  // that it could not keep what was written.
  std::function<bool(const WideText&)> failsToClose;
  // How many operations were counted.
  int count = 0;

  std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                             platform::ErrorCode& error) override {
    if (mode == platform::OpenMode::read) return target().open(path, mode, error);
    if (fails("open", error)) return nullptr;
    std::unique_ptr<platform::FileHandle> handle = target().open(path, mode, error);
    if (!handle) return nullptr;
    return std::make_unique<Handle>(*this, std::move(handle), path);
  }
  bool createFolder(const WideText& path, platform::ErrorCode& error) override {
    return !fails("createFolder", error) && target().createFolder(path, error);
  }
  bool rename(const WideText& from, const WideText& to, platform::ErrorCode& error) override {
    return !fails("rename", error) && target().rename(from, to, error);
  }
  bool removeFile(const WideText& path, platform::ErrorCode& error) override {
    return !fails("removeFile", error) && target().removeFile(path, error);
  }
  bool removeFolder(const WideText& path, platform::ErrorCode& error) override {
    return !fails("removeFolder", error) && target().removeFolder(path, error);
  }
  bool syncVolume(const WideText& path, platform::ErrorCode& error) override {
    return !fails("syncVolume", error) && target().syncVolume(path, error);
  }
  bool syncFolder(const WideText& path, platform::ErrorCode& error) override {
    return !fails("syncFolder", error) && target().syncFolder(path, error);
  }

 private:
  class Handle : public platform::ForwardingFileHandle {
   public:
    Handle(FaultyFileSystem& owner, std::unique_ptr<platform::FileHandle> target, WideText path)
        : ForwardingFileHandle(std::move(target)), owner_(owner), path_(std::move(path)) {}
    bool write(const void* data, std::size_t size, platform::ErrorCode& error) override {
      if (!owner_.fails("write", error)) return target().write(data, size, error);
      platform::ErrorCode ignored;
      target().write(data, size / 2, ignored);  // a disk that fills up takes a part
      return false;
    }
    bool truncate(std::uint64_t size, platform::ErrorCode& error) override {
      return !owner_.fails("truncate", error) && target().truncate(size, error);
    }
    bool flush(platform::ErrorCode& error) override {
      return !owner_.fails("flush", error) && target().flush(error);
    }
    bool sync(platform::ErrorCode& error) override {
      return !owner_.fails("sync", error) && target().sync(error);
    }
    bool close(platform::ErrorCode& error) override {
      const bool closed = target().close(error);
      if (!owner_.failsToClose || !owner_.failsToClose(path_)) return closed;
      return fail(error);
    }

   private:
    FaultyFileSystem& owner_;
    WideText path_;
  };

  static bool fail(platform::ErrorCode& error) {
    error = boost::system::errc::make_error_code(boost::system::errc::no_space_on_device);
    return false;
  }

  bool fails(const std::string& operation, platform::ErrorCode& error) {
    ++count;
    if (before) before(count, operation);
    if (failAt == 0 || (failAllAfter ? count < failAt : count != failAt)) return false;
    fail(error);
    return true;
  }
};

}  // namespace ZelmoraTevra
