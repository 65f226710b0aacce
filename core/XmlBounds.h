#pragma once

#include <string_view>

namespace ZelmoraTevra {

// True if no element of the text lies deeper than `maximalDepth` levels and none has more than
// `maximalAttributes` attributes. One pass over the text without recursion; it never takes a text that the
// parser would nest deeper than it says for a shallower one. False also for what would make the parser see
// other markup than stands there, or read on behind the text's end: a byte sequence of UTF-8 that is cut
// short, a character reference that isn't whole, a declaration with unusual values. Any other text that
// isn't well-formed may get either answer.
[[nodiscard]] bool isWithinXmlBounds(std::string_view text, int maximalDepth, int maximalAttributes);

}  // namespace ZelmoraTevra
