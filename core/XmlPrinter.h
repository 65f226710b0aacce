#pragma once

#include <tinyxml.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace ZelmoraTevra {

// Prints a document in the layout of the XML library's own printer, which differs in two things: it has no
// limit, though its indents can make many times the room of the document, and of a text that reads "&#x41;"
// it makes an "A".
class XmlPrinter : public TiXmlVisitor {
 public:
  // In bytes. Printing ends as soon as the text would be longer.
  explicit XmlPrinter(std::size_t maximalBytes) : maximalBytes_(maximalBytes) {}

  // Whether all of the document is in the text.
  [[nodiscard]] bool isWhole() const { return isWhole_; }
  [[nodiscard]] const std::string& text() const { return text_; }
  [[nodiscard]] std::string takeText() { return std::move(text_); }

  bool VisitEnter(const TiXmlElement& element, const TiXmlAttribute* firstAttribute) override;
  bool VisitExit(const TiXmlElement& element) override;
  bool Visit(const TiXmlDeclaration& declaration) override;
  bool Visit(const TiXmlText& text) override;
  bool Visit(const TiXmlComment& comment) override;
  bool Visit(const TiXmlUnknown& unknown) override;

 private:
  void put(std::string_view text);
  void putEncoded(std::string_view text);
  void putIndent();
  bool putLine(std::string_view start, std::string_view content, std::string_view end);

  std::size_t maximalBytes_;
  std::string text_;
  std::size_t depth_ = 0;
  bool isInLine_ = false;  // the element in hand holds one text and nothing else
  bool isWhole_ = true;
};

}  // namespace ZelmoraTevra
