#pragma once

#include <cstddef>
#include <string_view>

namespace ZelmoraTevra {

// True if no element of the text lies deeper than `maximalDepth` levels and none has more than
// `maximalAttributes` attributes. One pass over the text without recursion; it never takes a text that the
// parser would nest deeper than it says for a shallower one. False also for what would make the parser see
// other markup than stands there, or read on behind the text's end: a byte sequence of UTF-8 that is cut
// short, a character reference that isn't whole, a declaration with unusual values. Any other text that
// isn't well-formed may get either answer.
//
// `maximalMarkup` bounds the tags, attributes, comments and the like, of which each costs some hundred bytes
// in memory.
[[nodiscard]] bool isWithinXmlBounds(std::string_view text, int maximalDepth, int maximalAttributes,
                                     std::size_t maximalMarkup = static_cast<std::size_t>(-1));

}  // namespace ZelmoraTevra
