#include "platform/XmlBounds.h"

#include <algorithm>
#include <cstddef>

namespace ZelmoraTevra {

namespace {

constexpr std::string_view blanks = " \t\n\v\f\r";
constexpr std::string_view quotes = "\"'";

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

bool isHexDigit(char c) {
  return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

bool startsElement(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
         static_cast<unsigned char>(c) >= 0x7F;
}

bool startsDeclaration(std::string_view text) {
  return text.size() >= 5 && text.starts_with("<?") && (text[2] | 0x20) == 'x' && (text[3] | 0x20) == 'm' &&
         (text[4] | 0x20) == 'l';
}

// The end of a construct that begins at `start` and ends with `end`; the end of the text if that doesn't
// come.
std::size_t behind(std::string_view text, std::size_t start, std::string_view end) {
  const std::size_t found = text.find(end, start);
  return found == std::string_view::npos ? text.size() : found + end.size();
}

// The parser takes as many bytes for one character as the first one announces, whatever they are. A sequence
// that is cut short would hide a "<" or a quote from it, or the end of the text.
bool hasWholeSequences(std::string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const unsigned char lead = static_cast<unsigned char>(text[i]);
    if (lead < 0xC2 || lead > 0xF4) continue;
    const std::size_t followers = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
    if (text.size() - i <= followers) return false;
    for (std::size_t k = 1; k <= followers; ++k)
      if ((static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80) return false;
    i += followers;
  }
  return true;
}

// The parser looks for the end of a character reference in all of the text that follows, and so would read
// over a "<" or a quote that stands before it.
bool hasWholeReferences(std::string_view text) {
  for (std::size_t at = text.find("&#"); at != std::string_view::npos; at = text.find("&#", at)) {
    at += 2;
    const bool hexadecimal = at < text.size() && text[at] == 'x';
    if (hexadecimal) ++at;
    const std::size_t digits = at;
    while (at < text.size() && (hexadecimal ? isHexDigit(text[at]) : isDigit(text[at]))) ++at;
    if (at == digits || at == text.size() || text[at] != ';') return false;
  }
  return true;
}

// The parser knows three attributes of a declaration, and lets a quoted value hide a ">" only there; all else
// it reads over up to the next blank. Only if each quote belongs to a plain value do both readings agree that
// the first ">" is the end.
bool hasPlainValues(std::string_view declaration) {
  std::size_t quote = declaration.find_first_of(quotes);
  while (quote != std::string_view::npos) {
    const std::size_t before = declaration.substr(0, quote).find_last_not_of(blanks);
    if (before == std::string_view::npos || declaration[before] != '=') return false;
    const std::size_t end = declaration.find_first_of("\"'=&< \t\n\v\f\r", quote + 1);
    if (end == std::string_view::npos || declaration[end] != declaration[quote]) return false;
    quote = declaration.find_first_of(quotes, end + 1);
  }
  return true;
}

struct Tag {
  std::size_t end;    // behind the ">"
  bool closesItself;  // ends in "/>"
  int attributes;     // equals signs outside quotes
  bool isPlain;       // all character references are whole
};

// Reads a start tag, whose attribute values may hold ">" within quotes.
Tag readStartTag(std::string_view text, std::size_t position) {
  Tag tag{text.size(), false, 0, true};
  while (position < text.size()) {
    const char c = text[position];
    if (c == '>') {
      tag.end = position + 1;
      tag.closesItself = text[position - 1] == '/';
      return tag;
    }
    if (c == '=') ++tag.attributes;
    if (c != '"' && c != '\'') {
      ++position;
      continue;
    }
    const std::size_t end = behind(text, position + 1, text.substr(position, 1));
    tag.isPlain = tag.isPlain && hasWholeReferences(text.substr(position, end - position));
    position = end;
  }
  return tag;
}

}  // namespace

bool isWithinXmlBounds(std::string_view text, int maximalDepth, int maximalAttributes,
                       std::size_t maximalMarkup) {
  if (!hasWholeSequences(text)) return false;
  int depth = 0;
  std::size_t markupCount = 0;
  std::size_t position = 0;
  while (position < text.size()) {
    const std::size_t markup = std::min(text.find('<', position), text.size());
    if (!hasWholeReferences(text.substr(position, markup - position))) return false;
    position = markup;
    const std::string_view rest = text.substr(position);
    if (rest.size() < 2) return true;
    if (++markupCount > maximalMarkup) return false;

    if (rest.starts_with("<!--")) {
      position = behind(text, position + 4, "-->");
    } else if (rest.starts_with("<![CDATA[")) {
      position = behind(text, position + 9, "]]>");
    } else if (rest[1] == '/') {
      if (depth > 0) --depth;
      position = behind(text, position, ">");
    } else if (startsElement(rest[1])) {
      const Tag tag = readStartTag(text, position + 1);
      if (!tag.isPlain || tag.attributes > maximalAttributes || depth >= maximalDepth) return false;
      if (!tag.closesItself) ++depth;
      markupCount += static_cast<std::size_t>(tag.attributes);
      position = tag.end;
    } else {
      const std::size_t end = behind(text, position, ">");
      if (startsDeclaration(rest) && !hasPlainValues(text.substr(position, end - position))) return false;
      position = end;
    }
  }
  return true;
}

}  // namespace ZelmoraTevra
