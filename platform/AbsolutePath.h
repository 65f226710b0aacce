#pragma once

#include "platform/DrivePath.h"
#include "platform/Text.h"

namespace ZelmoraTevra::platform {

// The path from the system's root, with "." and ".." worked out and the symbolic links of the part that
// exists resolved. A path for which the system gives no answer comes back as it is.
[[nodiscard]] WideText absolutePath(const WideText& path);

// The path of the entry itself: only what stands before its name is resolved.
[[nodiscard]] WideText absolutePathOfEntry(const WideText& path);

[[nodiscard]] constexpr WideView withoutSeparatorsAtEnd(WideView path) {
  while (!path.empty() && isSeparator(path.back())) path.remove_suffix(1);
  return path;
}

// Whether a path is the folder or lies in it. Both absolute.
[[nodiscard]] constexpr bool isSameOrBelow(WideView path, WideView folder) {
  folder = withoutSeparatorsAtEnd(folder);
  return path.starts_with(folder) && (path.size() == folder.size() || isSeparator(path[folder.size()]));
}

}  // namespace ZelmoraTevra::platform
