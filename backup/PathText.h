#pragma once

#include <optional>
#include <string_view>

#include "platform/Text.h"

namespace ZelmoraTevra {

// Reads a path as a backup's description has it: UTF-8, but what a file name holds besides text, a single
// surrogate in a path, has the three bytes that its number would have. Nothing for any other text.
[[nodiscard]] std::optional<WideText> pathOfText(std::string_view text);

}  // namespace ZelmoraTevra
