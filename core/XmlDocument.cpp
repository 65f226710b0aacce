#include "core/XmlDocument.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <utility>

#include "core/File_platformIndependent.h"
#include "core/Text.h"
#include "core/XmlPrinter.h"
#include "platform/XmlBounds.h"

namespace ZelmoraTevra {

namespace {

constexpr std::size_t readChunkBytes = 1 << 16;

bool readWholeFile(const WideText& path, std::string& text) {
  File_platformIndependent file(path, false);
  const std::int64_t size = file.size();
  if (size < 0 || size > maximalXmlFileBytes || !file.open()) return false;
  text.reserve(static_cast<std::size_t>(size));
  std::int64_t count = 0;
  do {
    const std::size_t start = text.size();
    text.resize(start + readChunkBytes);
    file.read(text.data() + start, readChunkBytes, count);
    text.resize(start + static_cast<std::size_t>(std::max<std::int64_t>(count, 0)));
  } while (count > 0 && static_cast<std::int64_t>(text.size()) <= maximalXmlFileBytes);
  return static_cast<std::int64_t>(text.size()) >= size;
}

// A file's line ends become single line feeds, as an XML processor has to see them.
void unifyLineEnds(std::string& text) {
  std::size_t out = 0;
  for (std::size_t in = 0; in < text.size(); ++in) {
    const bool carriageReturn = text[in] == '\r';
    text[out++] = carriageReturn ? '\n' : text[in];
    if (carriageReturn && in + 1 < text.size() && text[in + 1] == '\n') ++in;
  }
  text.resize(out);
}

}  // namespace

XmlLoad parseXmlAsFarAsItGoes(std::string text, TiXmlDocument& document, std::size_t maximalMarkup) {
  document.Clear();
  document.ClearError();
  text.resize(std::min(text.find('\0'), text.size()));
  if (!isWithinXmlBounds(text, maximalXmlDepth, maximalXmlAttributes, maximalMarkup)) return XmlLoad::refused;
  // Nobody asks in which line a node stands, and finding that out takes a tenth of the time.
  document.SetTabSize(0);
  document.Parse(text.c_str(), nullptr, TIXML_ENCODING_UTF8);
  return document.Error() ? XmlLoad::malformed : XmlLoad::loaded;
}

bool parseXml(std::string text, TiXmlDocument& document, std::size_t maximalMarkup) {
  if (parseXmlAsFarAsItGoes(std::move(text), document, maximalMarkup) == XmlLoad::loaded) return true;
  document.Clear();
  return false;
}

bool readXmlText(const WideText& path, std::string& text) {
  text.clear();
  if (!readWholeFile(path, text)) return false;
  unifyLineEnds(text);
  return true;
}

bool loadXml(const WideText& path, TiXmlDocument& document, std::size_t maximalMarkup) {
  document.Clear();
  std::string text;
  return readXmlText(path, text) && parseXml(std::move(text), document, maximalMarkup);
}

XmlLoad loadXmlAsFarAsItGoes(const WideText& path, TiXmlDocument& document) {
  document.Clear();
  document.ClearError();
  std::string text;
  if (!readXmlText(path, text)) return XmlLoad::refused;
  return parseXmlAsFarAsItGoes(std::move(text), document, maximalXmlMarkup);
}

std::string printXml(const TiXmlNode& node) {
  XmlPrinter printer(std::numeric_limits<std::size_t>::max());
  node.Accept(&printer);
  return printer.takeText();
}

bool saveXml(const TiXmlDocument& document, const WideText& path) {
  return saveXmlText(printXml(document), path);
}

bool saveXmlText(std::string_view text, const WideText& path) {
  File_platformIndependent file(path, false);
  if (!file.openForWriting(platform::OpenMode::truncateEntry)) return false;
  const bool written = file.write(text.data(), text.size()) == static_cast<std::int64_t>(text.size());
  return file.finish() && written;
}

TiXmlDocument newXmlDocument(const char* encoding) {
  TiXmlDocument document;
  document.InsertEndChild(TiXmlDeclaration("1.0", encoding, ""));
  return document;
}

TiXmlElement& addElement(TiXmlNode& parent, std::string_view name) {
  return *parent.LinkEndChild(std::make_unique<TiXmlElement>(std::string(name)).release())->ToElement();
}

TiXmlElement& addElement(TiXmlNode& parent, std::string_view name, WideView text) {
  TiXmlElement& element = addElement(parent, name);
  element.LinkEndChild(std::make_unique<TiXmlText>(toUtf8(text)).release());
  return element;
}

const TiXmlElement* findElement(const TiXmlElement* start, std::string_view path) {
  const TiXmlElement* element = start;
  const TiXmlElement* found = nullptr;
  std::size_t position = !path.empty() && path.front() == '/' ? 1 : 0;
  for (;;) {
    const std::size_t end = std::min(path.find('/', position), path.size());
    const std::string_view name = path.substr(position, end - position);
    while (element != nullptr && element->ValueStr() != name) element = element->NextSiblingElement();
    found = element;
    if (found == nullptr || end == path.size()) return found;
    element = found->FirstChildElement();
    position = end + 1;
  }
}

std::string lookupUtf8(const TiXmlElement* start, std::string_view path) {
  const TiXmlElement* element = findElement(start, path);
  const char* text = element != nullptr ? element->GetText() : nullptr;
  return text != nullptr ? text : "";
}

bool lookupText(const TiXmlElement* start, std::string_view path, WideText& text) {
  text = toWide(lookupUtf8(start, path));
  return !text.empty();
}

WideText lookupText(const TiXmlElement* start, std::string_view path) {
  return toWide(lookupUtf8(start, path));
}

bool lookupInteger(const TiXmlElement* start, std::string_view path, int& number) {
  const std::string text = lookupUtf8(start, path);
  if (text.empty()) return false;
  number = textToInteger(text);
  return true;
}

WideText attributeText(const TiXmlElement& element, const char* name) {
  const char* value = element.Attribute(name);
  return value != nullptr ? toWide(value) : WideText();
}

}  // namespace ZelmoraTevra
