#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/Text.h"

namespace ZelmoraTevra {

// File names need not be valid text: what the system's file names hold besides travels as single surrogates.
// In a backup's description a path is UTF-8 in which those have the three bytes that their numbers would
// have.
[[nodiscard]] std::string pathText(WideView path);
// Reads it again. Nothing for any other text.
[[nodiscard]] std::optional<WideText> pathOfText(std::string_view text);

}  // namespace ZelmoraTevra
