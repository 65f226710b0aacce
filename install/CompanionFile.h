#pragma once

#include "platform/Text.h"

namespace ZelmoraTevra {

// The companion of a partly downloaded file: a small XML document beside it that tells by its MD5 which file
// it is a part of. `path` is the companion's own.

// Whether the companion names this MD5, in either case. False if it can't be read.
[[nodiscard]] bool companionMatches(const WideText& path, const WideText& md5);

// False if it could not be written; then no companion is left that might name another file.
bool companionWrite(const WideText& path, const WideText& md5);

}  // namespace ZelmoraTevra
