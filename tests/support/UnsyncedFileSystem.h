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
  class Handle : public platform::ForwardingFileHandle {
   public:
    explicit Handle(std::unique_ptr<platform::FileHandle> target) : ForwardingFileHandle(std::move(target)) {}
    bool sync(platform::ErrorCode& error) override {
      error.clear();
      return true;
    }
  };
};

}  // namespace ZelmoraTevra
