#include "core/XmlNames.h"

#include <utf8.h>

#include <algorithm>
#include <array>
#include <cstdint>

#include "core/Text.h"

namespace ZelmoraTevra {

namespace {

struct Range {
  std::uint32_t first;
  std::uint32_t last;
};

// XML lets a name begin with ":" too, but the parser doesn't, and it takes U+FEFF for a blank.
constexpr std::array nameStarts = {
    Range{'A', 'Z'},       Range{'_', '_'},       Range{'a', 'z'},       Range{0xC0, 0xD6},
    Range{0xD8, 0xF6},     Range{0xF8, 0x2FF},    Range{0x370, 0x37D},   Range{0x37F, 0x1FFF},
    Range{0x200C, 0x200D}, Range{0x2070, 0x218F}, Range{0x2C00, 0x2FEF}, Range{0x3001, 0xD7FF},
    Range{0xF900, 0xFDCF}, Range{0xFDF0, 0xFEFE}, Range{0xFF00, 0xFFFD}, Range{0x10000, 0xEFFFF},
};
constexpr std::array otherNameCharacters = {
    Range{'-', '.'},   Range{'0', '9'},     Range{':', ':'},
    Range{0xB7, 0xB7}, Range{0x300, 0x36F}, Range{0x203F, 0x2040},
};

template <std::size_t count>
bool isIn(const std::array<Range, count>& ranges, std::uint32_t character) {
  return std::any_of(ranges.begin(), ranges.end(), [character](const Range& range) {
    return range.first <= character && character <= range.last;
  });
}

template <typename Condition>
bool allCharacters(std::string_view text, Condition condition) {
  if (!utf8::is_valid(text.begin(), text.end())) return false;
  for (auto position = text.begin(); position != text.end();)
    if (!condition(static_cast<std::uint32_t>(utf8::unchecked::next(position)))) return false;
  return true;
}

}  // namespace

bool isXmlName(std::string_view text) {
  bool isFirst = true;
  return !text.empty() && allCharacters(text, [&isFirst](std::uint32_t character) {
    const bool fits = isIn(nameStarts, character) || (!isFirst && isIn(otherNameCharacters, character));
    isFirst = false;
    return fits;
  });
}

std::string programElementName(WideView programName) {
  const std::string name = toReadableUtf8(programName);
  return isXmlName(name) ? name : "TevraCLI";
}

bool isXmlText(std::string_view text) {
  return allCharacters(text, [](std::uint32_t character) {
    if (character < 0x20) return character == '\t' || character == '\n' || character == '\r';
    return character != 0xFFFE && character != 0xFFFF;
  });
}

}  // namespace ZelmoraTevra
