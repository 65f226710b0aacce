#pragma once

#include "platform/FileSystem.h"

namespace ZelmoraTevra::platform {

// The computer's own file system, to which no device has brought a drive letter. Lives until the end of the
// process.
[[nodiscard]] FileSystem& nativeFileSystem();

}  // namespace ZelmoraTevra::platform
