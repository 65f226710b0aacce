#include "core/XmlBounds.h"

#include <cstddef>

namespace ZelmoraTevra {

namespace {

// The end of a construct that begins at `start` and ends with `end`; the end of the text if that doesn't
// come.
std::size_t behind(std::string_view text, std::size_t start, std::string_view end) {
  const std::size_t found = text.find(end, start);
  return found == std::string_view::npos ? text.size() : found + end.size();
}

bool startsElement(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
         static_cast<unsigned char>(c) >= 0x7F;
}

struct Tag {
  std::size_t end;    // behind the ">"
  bool closesItself;  // ends in "/>"
  int attributes;     // equals signs outside quotes
};

// Reads a start tag, whose attribute values may hold ">" within quotes.
Tag readStartTag(std::string_view text, std::size_t position) {
  Tag tag{text.size(), false, 0};
  while (position < text.size()) {
    const char c = text[position];
    if (c == '>') {
      tag.end = position + 1;
      tag.closesItself = text[position - 1] == '/';
      return tag;
    }
    if (c == '=') ++tag.attributes;
    position = c == '"' || c == '\'' ? behind(text, position + 1, text.substr(position, 1)) : position + 1;
  }
  return tag;
}

}  // namespace

bool isWithinXmlBounds(std::string_view text, int maximalDepth, int maximalAttributes) {
  int depth = 0;
  for (std::size_t position = text.find('<');
       position != std::string_view::npos && position + 1 < text.size();
       position = text.find('<', position)) {
    const std::string_view rest = text.substr(position);
    if (rest.starts_with("<!--")) {
      position = behind(text, position + 4, "-->");
    } else if (rest.starts_with("<![CDATA[")) {
      position = behind(text, position + 9, "]]>");
    } else if (rest[1] == '/') {
      if (depth > 0) --depth;
      position = behind(text, position, ">");
    } else if (startsElement(rest[1])) {
      const Tag tag = readStartTag(text, position + 1);
      if (tag.attributes > maximalAttributes) return false;
      if (!tag.closesItself && ++depth > maximalDepth) return false;
      position = tag.end;
    } else if (rest[1] == '?') {
      // The parser lets quotes hide a ">" in a declaration but in no other instruction; only a text that is
      // the same in both readings can be followed.
      const std::size_t end = behind(text, position, ">");
      if (readStartTag(text, position + 1).end != end) return false;
      position = end;
    } else {
      position = behind(text, position, ">");
    }
  }
  return true;
}

}  // namespace ZelmoraTevra
