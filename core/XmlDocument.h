#pragma once

#include <tinyxml.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/Text.h"

namespace ZelmoraTevra {

// The parser works recursively, goes up through all parents for each node, and compares each attribute with
// all others of its element. A text beyond these bounds is refused before it is parsed.
constexpr int maximalXmlDepth = 128;
constexpr int maximalXmlAttributes = 64;             // of one element
constexpr std::size_t maximalXmlMarkup = 1'000'000;  // tags, attributes, comments of a document
// A tree takes many times the room of its text: a larger file is refused without being read.
constexpr std::int64_t maximalXmlFileBytes = 64 << 20;

// Parses UTF-8 text. False if it isn't well-formed, has no node, or is beyond the bounds; the document is
// then to be taken for empty.
[[nodiscard]] bool parseXml(std::string text, TiXmlDocument& document,
                            std::size_t maximalMarkup = maximalXmlMarkup);
// The file's text, with its line ends made line feeds. False if it can't be read or is too large.
[[nodiscard]] bool readXmlText(const WideText& path, std::string& text);
// Parses the file's text.
[[nodiscard]] bool loadXml(const WideText& path, TiXmlDocument& document,
                           std::size_t maximalMarkup = maximalXmlMarkup);

enum class XmlLoad {
  loaded,
  malformed,  // the document holds what the parser made of the text before it gave up; its error id tells why
  refused,    // it can't be read or is beyond the bounds; nothing of it has been parsed
};
// As loadXml and parseXml, for who wants to keep what can be kept of a damaged file.
[[nodiscard]] XmlLoad loadXmlAsFarAsItGoes(const WideText& path, TiXmlDocument& document);
[[nodiscard]] XmlLoad parseXmlAsFarAsItGoes(std::string text, TiXmlDocument& document,
                                            std::size_t maximalMarkup = maximalXmlMarkup);

// The document in UTF-8, an element a line, four blanks a level.
[[nodiscard]] std::string printXml(const TiXmlNode& node);
// Writes the printed document directly over the file. A symbolic link at the path is a failure.
[[nodiscard]] bool saveXml(const TiXmlDocument& document, const WideText& path);
// The same for a document that has been printed already.
[[nodiscard]] bool saveXmlText(std::string_view text, const WideText& path);

// A new document with the declaration version "1.0" and the encoding, which may be empty.
[[nodiscard]] TiXmlDocument newXmlDocument(const char* encoding);
// Appends an element, with a text if one is given. The parent owns what comes back.
TiXmlElement& addElement(TiXmlNode& parent, std::string_view name);
TiXmlElement& addElement(TiXmlNode& parent, std::string_view name, WideView text);

// Gives each child of the name to `read`, which takes a TiXmlElement&, and removes it then. A tree takes many
// times the room of its text: what was read makes room for what is made of it.
template <typename Read>
void takeElements(TiXmlNode& parent, const char* name, Read read) {
  for (TiXmlElement* element = parent.FirstChildElement(name); element != nullptr;) {
    read(*element);
    TiXmlElement* const next = element->NextSiblingElement(name);
    parent.RemoveChild(element);
    element = next;
  }
}

// Slash-path lookup: "/content/md5" from a "content" element. The first name must be that of the start
// element or of a following sibling; each further one is looked for among the children. A null start finds
// nothing.
[[nodiscard]] const TiXmlElement* findElement(const TiXmlElement* start, std::string_view path);
// The text of the element found, empty if there is none or it has no text; true if the text isn't empty.
// Throws the UTF-8 library's exception if the text isn't UTF-8.
bool lookupText(const TiXmlElement* start, std::string_view path, WideText& text);
[[nodiscard]] WideText lookupText(const TiXmlElement* start, std::string_view path);
// As written in the document.
[[nodiscard]] std::string lookupUtf8(const TiXmlElement* start, std::string_view path);
// False, and the number unchanged, if the text is empty or there is none.
bool lookupInteger(const TiXmlElement* start, std::string_view path, int& number);

// The attribute's value; empty if it isn't there.
[[nodiscard]] WideText attributeText(const TiXmlElement& element, const char* name);

}  // namespace ZelmoraTevra
