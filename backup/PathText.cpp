#include "backup/PathText.h"

#include <utf8.h>

namespace ZelmoraTevra {

namespace {

constexpr std::size_t surrogateBytes = 3;

bool isSurrogateAt(std::string_view text, std::size_t position) {
  return position + surrogateBytes <= text.size() && text[position] == '\xED' &&
         (text[position + 1] & 0xE0) == 0xA0 && (text[position + 2] & 0xC0) == 0x80;
}

}  // namespace

std::optional<WideText> pathOfText(std::string_view text) {
  WideText path;
  std::size_t position = 0;
  while (position < text.size()) {
    if (isSurrogateAt(text, position)) {
      path += static_cast<char16_t>(0xD000 | (text[position + 1] & 0x3F) << 6 | (text[position + 2] & 0x3F));
      position += surrogateBytes;
      continue;
    }
    std::size_t end = text.find('\xED', position);
    while (end != std::string_view::npos && !isSurrogateAt(text, end)) end = text.find('\xED', end + 1);
    const std::string_view valid = text.substr(position, end - position);
    if (!utf8::is_valid(valid.begin(), valid.end())) return std::nullopt;
    path += toWide(valid);
    position += valid.size();
  }
  return path;
}

}  // namespace ZelmoraTevra
