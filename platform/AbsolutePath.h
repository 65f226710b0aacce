#pragma once

#include "platform/Text.h"

namespace ZelmoraTevra::platform {

// The path from the system's root, with "." and ".." worked out and the symbolic links of the part that
// exists resolved. A path for which the system gives no answer comes back as it is.
[[nodiscard]] WideText absolutePath(const WideText& path);

}  // namespace ZelmoraTevra::platform
