#include "core/XmlPrinter.h"

#include <algorithm>

namespace ZelmoraTevra {

namespace {

constexpr std::string_view indent = "    ";

bool isPrintedAsReference(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == '&' || c == '<' || c == '>' || c == '"' || c == '\'';
}

std::string referenceTo(char c) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  const auto byte = static_cast<unsigned char>(c);
  switch (c) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '"':
      return "&quot;";
    case '\'':
      return "&apos;";
    default:
      return {'&', '#', 'x', digits[byte >> 4], digits[byte & 15], ';'};
  }
}

bool holdsOneText(const TiXmlElement& element) {
  const TiXmlText* const text = element.FirstChild() != nullptr ? element.FirstChild()->ToText() : nullptr;
  return text != nullptr && text == element.LastChild() && !text->CDATA();
}

}  // namespace

bool XmlPrinter::VisitEnter(const TiXmlElement& element, const TiXmlAttribute* firstAttribute) {
  putIndent();
  put("<");
  put(element.ValueStr());
  for (const TiXmlAttribute* attribute = firstAttribute; attribute != nullptr;
       attribute = attribute->Next()) {
    const std::string& value = attribute->ValueStr();
    const std::string_view quote = value.find('"') == std::string::npos ? "\"" : "'";
    put(" ");
    putEncoded(attribute->Name());
    put("=");
    put(quote);
    putEncoded(value);
    put(quote);
  }
  isInLine_ = holdsOneText(element);
  put(element.FirstChild() == nullptr ? " />\n" : isInLine_ ? ">" : ">\n");
  ++depth_;
  return isWhole_;
}

bool XmlPrinter::VisitExit(const TiXmlElement& element) {
  --depth_;
  if (element.FirstChild() == nullptr) return isWhole_;
  if (!isInLine_) putIndent();
  isInLine_ = false;
  put("</");
  put(element.ValueStr());
  put(">\n");
  return isWhole_;
}

bool XmlPrinter::Visit(const TiXmlDeclaration& declaration) {
  std::string printed;
  declaration.Print(nullptr, 0, &printed);
  return putLine("", printed, "");
}

bool XmlPrinter::Visit(const TiXmlText& text) {
  if (text.CDATA()) return putLine("<![CDATA[", text.ValueStr(), "]]>");
  if (!isInLine_) putIndent();
  putEncoded(text.ValueStr());
  if (!isInLine_) put("\n");
  return isWhole_;
}

bool XmlPrinter::Visit(const TiXmlComment& comment) {
  return putLine("<!--", comment.ValueStr(), "-->");
}

bool XmlPrinter::Visit(const TiXmlUnknown& unknown) {
  return putLine("<", unknown.ValueStr(), ">");
}

void XmlPrinter::put(std::string_view text) {
  isWhole_ = isWhole_ && text.size() <= maximalBytes_ - text_.size();
  if (isWhole_) text_ += text;
}

void XmlPrinter::putEncoded(std::string_view text) {
  auto start = text.begin();
  while (isWhole_ && start != text.end()) {
    const auto end = std::find_if(start, text.end(), isPrintedAsReference);
    put({start, end});
    if (end == text.end()) return;
    put(referenceTo(*end));
    start = end + 1;
  }
}

void XmlPrinter::putIndent() {
  for (std::size_t level = 0; level < depth_; ++level) put(indent);
}

bool XmlPrinter::putLine(std::string_view start, std::string_view content, std::string_view end) {
  putIndent();
  put(start);
  put(content);
  put(end);
  put("\n");
  return isWhole_;
}

}  // namespace ZelmoraTevra
