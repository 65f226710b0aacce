#pragma once

#include <string_view>

namespace ZelmoraTevra {

// True if no element of the text lies deeper than `maximalDepth` levels and none has more than
// `maximalAttributes` attributes. One pass over the text without recursion; it never takes a text that the
// parser would nest deeper than it says for a shallower one. A text that isn't well-formed may get either
// answer.
[[nodiscard]] bool isWithinXmlBounds(std::string_view text, int maximalDepth, int maximalAttributes);

}  // namespace ZelmoraTevra
