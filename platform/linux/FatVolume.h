#pragma once

#include <linux/magic.h>
#include <sys/vfs.h>

namespace ZelmoraTevra::platform {

// True for what statfs or fstatfs told of a FAT or exFAT volume, the file system of nearly every device.
[[nodiscard]] inline bool isFat(const struct statfs& volume) {
  constexpr long exFatMagic = 0x2011BAB0;
  return volume.f_type == MSDOS_SUPER_MAGIC || volume.f_type == exFatMagic;
}

}  // namespace ZelmoraTevra::platform
