#pragma once

#include <vector>

#include "platform/Text.h"

namespace ZelmoraTevra {

// The items of a list with ";" between them, each once, the empty ones dropped.
[[nodiscard]] std::vector<WideText> splitExtensions(WideView list);
// False for a text that would lead out of the folder of a file whose name ends in it.
[[nodiscard]] bool isExtension(const WideText& text);

// A path or name up to the last "." of its last component; whole if there is none.
[[nodiscard]] WideText withoutExtension(WideView path);
// What stands behind that "."; empty if there is none.
[[nodiscard]] WideText extensionOf(WideView path);
// A path or name with an extension behind it; as it is for an empty one.
[[nodiscard]] WideText withExtension(const WideText& path, const WideText& extension);

}  // namespace ZelmoraTevra
