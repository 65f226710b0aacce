#pragma once

#include "platform/Machine.h"

namespace ZelmoraTevra {

// Hides a file or folder of a device from its user, where the device's file system can do that.
inline void setHiddenMark(const WideText& path) {
  platform::ErrorCode ignored;
  platform::machine().files->setHidden(path, ignored);
}

}  // namespace ZelmoraTevra
