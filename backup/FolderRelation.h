#pragma once

#include "platform/Text.h"

namespace ZelmoraTevra {

// A name in a folder; the separator between them is "\", unless the folder ends in one.
[[nodiscard]] WideText pathIn(const WideText& folder, WideView name);

// Whether two paths lead to one folder, however they are spelled. Paths that lead to nothing are the same if
// their texts are, separators aside.
[[nodiscard]] bool isSameFolder(const WideText& left, const WideText& right);

// Whether a file or folder is the folder or lies in it, or would once it is made, however the two are
// spelled and be it by way of symbolic links. In doubt it does. An empty path is none, and nothing lies in a
// folder that isn't there.
[[nodiscard]] bool isSameOrBelowFolder(const WideText& path, const WideText& folder);

}  // namespace ZelmoraTevra
