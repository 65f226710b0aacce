#pragma once

#include <string>
#include <string_view>

namespace ZelmoraTevra {

// Decodes groups of four characters until the text ends, an invalid character comes, or a group holds
// padding; `bytes` gets what was decoded, and its size is what callers go by. The result is -1 for every text
// that merely ends: strict checking takes the end for an invalid character. It is 0 only if a byte of value
// 255 stands between two groups.
int decodeBase64(std::string_view text, std::string& bytes);

[[nodiscard]] std::string encodeBase64(std::string_view bytes);

}  // namespace ZelmoraTevra
