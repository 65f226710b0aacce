#include "core/LogEnd.h"

#include <algorithm>
#include <utility>

#include "core/XmlDocument.h"

namespace ZelmoraTevra {

namespace {

constexpr std::size_t npos = std::string_view::npos;
constexpr std::string_view blanks = " \t\n\v\f\r";
// However many lines a log has, it is the front end's own.
constexpr std::size_t anyMarkup = static_cast<std::size_t>(-1);
constexpr std::string_view nextLine = "tevra_next_line";

std::string_view withoutTrailingBlanks(std::string_view text) {
  return text.substr(0, text.find_last_not_of(blanks) + 1);
}

LogEnd endBehind(std::string_view lines, std::string before, std::string_view behind) {
  LogEnd end;
  end.position = withoutTrailingBlanks(lines).size();
  end.before = std::move(before);
  end.behind = "\n" + std::string(withoutTrailingBlanks(behind)) + "\n";
  return end;
}

std::string endTag(const std::string& name) {
  return "</" + name + ">";
}

// Has the parser read the text with a line at its end: whatever it makes of an odd text, the line must be the
// document element's last child. That line in the document; null if it isn't.
const TiXmlNode* tryNextLine(std::string_view text, const LogEnd& end, TiXmlDocument& document) {
  std::string continued(text.substr(0, end.position));
  continued += end.before;
  continued += '<';
  continued += nextLine;
  continued += "/>";
  continued += end.behind;
  if (!parseXml(std::move(continued), document, anyMarkup)) return nullptr;
  const TiXmlElement* const root = document.RootElement();
  const TiXmlNode* const last = root != nullptr ? root->LastChild() : nullptr;
  return last != nullptr && last->ValueStr() == nextLine ? last : nullptr;
}

bool takesLines(std::string_view text, const LogEnd& end) {
  TiXmlDocument document;
  return tryNextLine(text, end, document) != nullptr;
}

// Lines are named by their time.
bool isLine(const TiXmlNode* node) {
  return node != nullptr && node->ToElement() != nullptr && node->ValueStr().starts_with('_') &&
         node->ValueStr().find_first_not_of("_0123456789") == npos;
}

// In a log the last end tag is that of the document element.
bool findLastEndTag(std::string_view text, LogEnd& end) {
  const std::size_t tag = text.rfind("</");
  if (tag == npos) return false;
  end = endBehind(text.substr(0, tag), "", text.substr(tag));
  return takesLines(text, end);
}

// In what else the parser takes for XML, the document element may be empty or have others behind it.
bool findEndOf(const TiXmlElement& root, std::string_view text, LogEnd& end) {
  const std::string& name = root.ValueStr();
  if (const std::size_t tag = text.rfind("</" + name); tag != npos) {
    end = endBehind(text.substr(0, tag), "", text.substr(tag));
    if (takesLines(text, end)) return true;
  }
  const std::size_t emptyTagEnd = text.find("/>", std::min(text.find("<" + name), text.size()));
  if (emptyTagEnd == npos) return false;
  end = endBehind(text.substr(0, emptyTagEnd), ">", endTag(name) + std::string(text.substr(emptyTagEnd + 2)));
  return takesLines(text, end);
}

// A process that was killed, or a machine that was switched off, may have written a part of its last line,
// over the end tag.
bool findEndOfCutOff(std::string_view text, LogEnd& end) {
  text = withoutTrailingBlanks(text);
  for (const std::string_view lines : {text, text.substr(0, text.rfind('\n') + 1)}) {
    TiXmlDocument document;
    if (parseXmlAsFarAsItGoes(std::string(lines), document, anyMarkup) != XmlLoad::malformed) continue;
    if (document.RootElement() == nullptr) return false;
    const std::string tag = endTag(document.RootElement()->ValueStr());
    if (text.find(tag, lines.size()) != npos) return false;
    end = endBehind(lines, "", tag);
    const TiXmlNode* const line = tryNextLine(lines, end, document);
    if (line != nullptr && isLine(line->PreviousSibling())) return true;
  }
  return false;
}

// Whatever is within it: without a tag there is no XML.
bool mayBeXml(std::string_view text) {
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  const std::size_t start = text.find_first_not_of(blanks);
  return start != npos && text[start] == '<' && text.find('>') != npos;
}

}  // namespace

EarlierLog findLogEnd(std::string_view text, LogEnd& end) {
  text = text.substr(0, text.find('\0'));  // the parser sees no further
  if (findLastEndTag(text, end)) return EarlierLog::continued;

  TiXmlDocument document;
  const XmlLoad load = parseXmlAsFarAsItGoes(std::string(text), document, anyMarkup);
  if (load == XmlLoad::loaded) {
    const TiXmlElement* const root = document.RootElement();
    if (root == nullptr) return EarlierLog::none;
    return findEndOf(*root, text, end) ? EarlierLog::continued : EarlierLog::leftAlone;
  }
  if (findEndOfCutOff(text, end)) return EarlierLog::continued;
  return load == XmlLoad::refused && mayBeXml(text) ? EarlierLog::leftAlone : EarlierLog::none;
}

}  // namespace ZelmoraTevra
