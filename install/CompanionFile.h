#pragma once

#include "platform/Text.h"

namespace ZelmoraTevra {

// The companion of a partly downloaded file: a small XML document beside it that tells by its MD5 which file
// it is a part of. `path` is the companion's own.

// Whether the companion names this MD5, in either case. False if it can't be read.
[[nodiscard]] bool companionMatches(const WideText& path, const WideText& md5);

// A companion that names the MD5 already stands at every moment, as the part beside it is worth nothing
// without it. False if it could not be written; then none is left that names another file.
bool companionWrite(const WideText& path, const WideText& md5);

}  // namespace ZelmoraTevra
