#include "core/EditableXml.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <string>
#include <utility>

#include "core/XmlDocument.h"
#include "core/XmlPrinter.h"

namespace ZelmoraTevra {

namespace {

constexpr std::string_view blanks = " \t\n\v\f\r";
constexpr std::size_t longestReference = 32;
constexpr std::size_t npos = std::string_view::npos;

bool isBlank(std::string_view text) {
  return text.find_first_not_of(blanks) == npos;
}

std::string_view withoutLeadingBlanks(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
  return text;
}

// What the parser takes for the beginning of an element.
bool startsName(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
         static_cast<unsigned char>(c) >= 0x7F;
}

// The parser passes over these three characters as over blanks, but keeps them behind others.
bool startsHidden(std::string_view text) {
  return text.starts_with("\xEF\xBB\xBF") || text.starts_with("\xEF\xBF\xBE") ||
         text.starts_with("\xEF\xBF\xBF");
}

// Control characters are, though XML doesn't allow most of them. A hidden character isn't, and a blank in a
// text would be printed as it is and condensed with its neighbours.
bool isKeptCharacter(std::uint32_t character, bool isInText) {
  if (character == ' ') return !isInText;
  return (character > 0 && character < 0xD800) ||
         (character >= 0xE000 && character < 0xFFFE && character != 0xFEFF) ||
         (character >= 0x10000 && character <= 0x10FFFF);
}

// What stands between "&" and ";".
bool isKnownReference(std::string_view name, bool isInText) {
  constexpr std::array<std::string_view, 5> known = {"amp", "lt", "gt", "quot", "apos"};
  if (!name.starts_with('#')) return std::find(known.begin(), known.end(), name) != known.end();
  const bool isHexadecimal = name.starts_with("#x");
  name.remove_prefix(isHexadecimal ? 2 : 1);
  std::uint32_t character = 0;
  const char* const end = name.data() + name.size();
  const auto read = std::from_chars(name.data(), end, character, isHexadecimal ? 16 : 10);
  return read.ec == std::errc() && read.ptr == end && isKeptCharacter(character, isInText);
}

bool hasKnownReferences(std::string_view text, bool isInText) {
  for (std::size_t at = text.find('&'); at != npos; at = text.find('&', at + 1)) {
    const std::string_view reference = text.substr(at + 1, longestReference);
    const std::size_t end = reference.find(';');
    if (end == npos || !isKnownReference(reference.substr(0, end), isInText)) return false;
  }
  return true;
}

// What stands behind "<?xml": the parser drops all but these three.
bool hasKnownValues(std::string_view declaration) {
  constexpr std::array<std::string_view, 3> known = {"version", "encoding", "standalone"};
  for (auto rest = withoutLeadingBlanks(declaration); !rest.empty(); rest = withoutLeadingBlanks(rest)) {
    const auto name = std::find_if(known.begin(), known.end(),
                                   [rest](std::string_view start) { return rest.starts_with(start); });
    if (name == known.end()) return false;
    rest = withoutLeadingBlanks(rest.substr(name->size()));
    if (!rest.starts_with('=')) return false;
    rest = withoutLeadingBlanks(rest.substr(1));
    if (!rest.starts_with('"') && !rest.starts_with('\'')) return false;
    const std::size_t end = rest.find(rest.front(), 1);
    if (end == npos) return false;
    rest.remove_prefix(end + 1);
  }
  return true;
}

// Goes over a text once, from one piece of markup to the next.
class StrictScan {
 public:
  explicit StrictScan(std::string_view text) : text_(text) {}

  [[nodiscard]] bool run() {
    while (position_ < text_.size()) {
      const std::size_t markup = std::min(text_.find('<', position_), text_.size());
      const std::string_view content = text_.substr(position_, markup - position_);
      if (startsHidden(withoutLeadingBlanks(content))) return false;
      if (depth_ == 0 ? !isBlank(content) : !hasKnownReferences(content, true)) return false;
      position_ = markup;
      if (position_ < text_.size() && !passMarkup()) return false;
    }
    return hasRoot_ && depth_ == 0;
  }

 private:
  [[nodiscard]] bool passMarkup() {
    const std::string_view rest = text_.substr(position_);
    if (rest.starts_with("<!--")) return passUpTo("-->", 4);
    if (rest.starts_with("<![CDATA[")) return depth_ > 0 && passUpTo("]]>", 9);
    if (rest.starts_with("<?")) return passInstruction(rest);
    if (rest.starts_with("<!")) return passDocumentType(rest);
    if (rest.starts_with("</")) return depth_-- > 0 && passUpTo(">", 2);
    return passStartTag();
  }

  [[nodiscard]] bool passUpTo(std::string_view end, std::size_t from) {
    const std::size_t found = text_.find(end, position_ + from);
    if (found == npos) return false;
    position_ = found + end.size();
    return true;
  }

  // The parser ends an instruction at the first ">", and takes each one whose name begins with "xml", in
  // capitals too, for the declaration of the document.
  [[nodiscard]] bool passInstruction(std::string_view rest) {
    const std::size_t end = rest.find('>');
    if (end == npos || end < 3 || rest[end - 1] != '?') return false;
    const std::string_view content = rest.substr(2, end - 3);
    const bool seemsDeclaration = content.size() >= 3 && (content[0] | 0x20) == 'x' &&
                                  (content[1] | 0x20) == 'm' && (content[2] | 0x20) == 'l';
    const bool isDeclaration = content.starts_with("xml") && isBlank(content.substr(3, 1)) &&
                               content.size() > 3 && hasKnownValues(content.substr(3));
    if (seemsDeclaration && (!isDeclaration || !isBlank(text_.substr(0, position_)))) return false;
    position_ += end + 1;
    return true;
  }

  // Definitions in it would be cut off at the first ">", which a quoted name may hold too.
  [[nodiscard]] bool passDocumentType(std::string_view rest) {
    if (!rest.starts_with("<!DOCTYPE") || hasRoot_) return false;
    const std::string_view content = rest.substr(0, rest.find('>'));
    const bool isPlain = content.find('[') == npos &&
                         std::count(content.begin(), content.end(), '"') % 2 == 0 &&
                         std::count(content.begin(), content.end(), '\'') % 2 == 0;
    return isPlain && passUpTo(">", 0);
  }

  [[nodiscard]] bool passStartTag() {
    if ((depth_ == 0 && hasRoot_) || position_ + 1 == text_.size() || !startsName(text_[position_ + 1]))
      return false;
    hasRoot_ = true;
    bool expectsValue = false;
    for (++position_; position_ < text_.size(); ++position_) {
      const char c = text_[position_];
      if (c == '>') {
        if (text_[position_ - 1] != '/') ++depth_;
        ++position_;
        return !expectsValue;
      }
      if (c == '"' || c == '\'') {
        const std::size_t end = text_.find(c, position_ + 1);
        if (!expectsValue || end == npos) return false;
        if (!hasKnownReferences(text_.substr(position_ + 1, end - position_ - 1), false)) return false;
        expectsValue = false;
        position_ = end;
      } else if (startsHidden(text_.substr(position_, 3))) {
        return false;
      } else if (c == '=' ? expectsValue : c == '<' || (expectsValue && blanks.find(c) == npos)) {
        return false;
      } else if (c == '=') {
        expectsValue = true;
      }
    }
    return false;
  }

  std::string_view text_;
  std::size_t position_ = 0;
  int depth_ = 0;
  bool hasRoot_ = false;
};

bool parseEditableXml(const std::string& text, TiXmlDocument& document) {
  return isReadWhole(text) && parseXml(text, document) && document.RootElement() != nullptr;
}

}  // namespace

bool isReadWhole(std::string_view text) {
  const std::size_t end = std::min(text.find('\0'), text.size());
  const bool endsThere = std::all_of(text.begin() + static_cast<std::ptrdiff_t>(end), text.end(), [](char c) {
    return c == '\0' || blanks.find(c) != std::string_view::npos;
  });
  text = text.substr(0, end);
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  return endsThere && StrictScan(text).run();
}

bool loadEditableXml(const WideText& path, TiXmlDocument& document) {
  document.Clear();
  std::string text;
  return readXmlText(path, text) && parseEditableXml(text, document);
}

std::optional<std::string> printEditableXml(const TiXmlDocument& document) {
  XmlPrinter printer(maximalXmlFileBytes);
  document.Accept(&printer);
  TiXmlDocument readAgain;
  if (!printer.isWhole() || !parseEditableXml(printer.text(), readAgain)) return std::nullopt;
  return printer.takeText();
}

bool saveEditableXml(const TiXmlDocument& document, const WideText& path) {
  const std::optional<std::string> text = printEditableXml(document);
  return text && saveXmlText(*text, path);
}

}  // namespace ZelmoraTevra
