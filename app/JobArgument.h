#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "platform/Text.h"

namespace ZelmoraTevra {

// The text of the encoded argument, without the quotes and blanks around it. Nothing if no byte could be
// decoded, the bytes aren't UTF-8, or nothing is left.
[[nodiscard]] std::optional<WideText> decodeJobArgument(std::string_view argument);

// The fields between the "|", each without blanks and tabs around it (at its end without line feeds too).
[[nodiscard]] std::vector<WideText> splitJobArgument(WideView text);

}  // namespace ZelmoraTevra
