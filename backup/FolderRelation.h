#pragma once

#include "platform/Text.h"

namespace ZelmoraTevra {

// A name in a folder; the separator between them is "\", unless the folder ends in one.
[[nodiscard]] WideText pathIn(const WideText& folder, WideView name);

// Whether two paths lead to one folder, however they are spelled. Paths that lead to nothing are the same if
// their texts are, separators aside.
[[nodiscard]] bool isSameFolder(const WideText& left, const WideText& right);

// Whether a folder that exists is another one or lies in it, also by way of a symbolic link. In doubt it
// does.
[[nodiscard]] bool isSameOrBelowFolder(const WideText& path, const WideText& folder);

}  // namespace ZelmoraTevra
