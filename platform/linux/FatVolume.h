#pragma once

#include <linux/magic.h>
#include <sys/vfs.h>

namespace ZelmoraTevra::platform {

// True for what statfs or fstatfs told of a FAT volume, the file system of nearly every device.
[[nodiscard]] inline bool isFat(const struct statfs& volume) {
  return volume.f_type == MSDOS_SUPER_MAGIC;
}

}  // namespace ZelmoraTevra::platform
