#pragma once

#include <memory>
#include <utility>

#include "platform/ForwardingFileSystem.h"

namespace ZelmoraTevra {

// A disk whose files need no time to reach the medium: killing a process loses nothing of what was written.
class UnsyncedFileSystem : public platform::ForwardingFileSystem {
 public:
  explicit UnsyncedFileSystem(platform::FileSystem& target) : ForwardingFileSystem(target) {}

  std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                             platform::ErrorCode& error) override {
    std::unique_ptr<platform::FileHandle> handle = target().open(path, mode, error);
    return handle ? std::make_unique<Handle>(std::move(handle)) : nullptr;
  }
  bool syncVolume(const WideText& /*folder*/, platform::ErrorCode& error) override {
    error.clear();
    return true;
  }
  bool syncFolder(const WideText& /*folder*/, platform::ErrorCode& error) override {
    error.clear();
    return true;
  }

 private:
  class Handle : public platform::FileHandle {
   public:
    explicit Handle(std::unique_ptr<platform::FileHandle> target) : target_(std::move(target)) {}
    std::int64_t read(void* buffer, std::size_t size, platform::ErrorCode& error) override {
      return target_->read(buffer, size, error);
    }
    bool write(const void* data, std::size_t size, platform::ErrorCode& error) override {
      return target_->write(data, size, error);
    }
    bool seek(std::uint64_t position, platform::ErrorCode& error) override {
      return target_->seek(position, error);
    }
    std::int64_t size(platform::ErrorCode& error) override { return target_->size(error); }
    bool truncate(std::uint64_t size, platform::ErrorCode& error) override {
      return target_->truncate(size, error);
    }
    bool flush(platform::ErrorCode& error) override { return target_->flush(error); }
    bool sync(platform::ErrorCode& error) override {
      error.clear();
      return true;
    }
    bool close(platform::ErrorCode& error) override { return target_->close(error); }

   private:
    std::unique_ptr<platform::FileHandle> target_;
  };
};

}  // namespace ZelmoraTevra
