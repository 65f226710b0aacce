#pragma once

#include <filesystem>

#include "platform/ForwardingFileSystem.h"

namespace ZelmoraTevra {

// A file system on which one folder, the root of a device, goes with all that is in it when a question for
// what stands at a path, whichever, has been answered.
class GoingFileSystem : public platform::ForwardingFileSystem {
 public:
  GoingFileSystem(platform::FileSystem& target, std::filesystem::path root, int goesAt)
      : ForwardingFileSystem(target), root_(std::move(root)), goesAt_(goesAt) {}

  // Whether there were so many questions.
  [[nodiscard]] bool hasGone() const { return questions_ >= goesAt_; }

  platform::EntryKind kind(const WideText& path, platform::ErrorCode& error) override {
    const platform::EntryKind answer = target().kind(path, error);
    if (++questions_ == goesAt_) std::filesystem::remove_all(root_);
    return answer;
  }

 private:
  std::filesystem::path root_;
  int goesAt_;
  int questions_ = 0;
};

}  // namespace ZelmoraTevra
