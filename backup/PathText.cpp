#include "backup/PathText.h"

#include <utf8.h>

#include <string>

namespace ZelmoraTevra {

namespace {

bool isSurrogate(char16_t unit) {
  return unit >= 0xD800 && unit < 0xE000;
}

constexpr std::size_t surrogateBytes = 3;

bool isSurrogateAt(std::string_view text, std::size_t position) {
  return position + surrogateBytes <= text.size() && text[position] == '\xED' &&
         (text[position + 1] & 0xE0) == 0xA0 && (text[position + 2] & 0xC0) == 0x80;
}

}  // namespace

std::string pathText(WideView path) {
  std::string text;
  while (!path.empty()) {
    const bool isPair = path.size() > 1 && path[0] < 0xDC00 && isSurrogate(path[0]) && path[1] >= 0xDC00 &&
                        isSurrogate(path[1]);
    if (isSurrogate(path[0]) && !isPair) {
      text += static_cast<char>(0xE0 | path[0] >> 12);
      text += static_cast<char>(0x80 | (path[0] >> 6 & 0x3F));
      text += static_cast<char>(0x80 | (path[0] & 0x3F));
      path.remove_prefix(1);
      continue;
    }
    std::size_t length = isPair ? 2 : 1;
    while (length < path.size() && !isSurrogate(path[length])) ++length;
    text += toUtf8(path.substr(0, length));
    path.remove_prefix(length);
  }
  return text;
}

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
