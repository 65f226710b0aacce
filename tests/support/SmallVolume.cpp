#include "tests/support/SmallVolume.h"

#include <sched.h>
#include <sys/mount.h>

#include <string>
#include <utility>

namespace ZelmoraTevra {

namespace {

// Volumes that only this process sees: none is left behind, however it ends.
bool hasMountsOfItsOwn() {
  static const bool own =
      ::unshare(CLONE_NEWNS) == 0 && ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
  return own;
}

}  // namespace

SmallVolume::SmallVolume(std::filesystem::path folder, long bytes) : folder_(std::move(folder)) {
  std::filesystem::create_directories(folder_);
  const std::string size = "size=" + std::to_string(bytes);
  mounted_ = hasMountsOfItsOwn() && ::mount("none", folder_.c_str(), "tmpfs", 0, size.c_str()) == 0;
}

SmallVolume::~SmallVolume() {
  if (mounted_) ::umount2(folder_.c_str(), MNT_DETACH);
}

}  // namespace ZelmoraTevra
