// A text that is said to be within bounds never makes the parser nest deeper, nor give an element more
// attributes or the document more nodes, than they say.
#include <tinyxml.h>

#include <algorithm>
#include <cstddef>
#include <string>

#include "platform/XmlBounds.h"
#include "tests/fuzz/Must.h"

namespace {

constexpr int maximalDepth = 4;
constexpr int maximalAttributes = 3;
constexpr std::size_t maximalMarkup = 40;

struct Extent {
  int depth = 0;
  int attributes = 0;
  std::size_t markup = 0;
};

// Texts are no markup.
void measure(const TiXmlNode& node, int depth, Extent& extent) {
  for (const TiXmlNode* child = node.FirstChild(); child != nullptr; child = child->NextSibling()) {
    if (child->ToText() == nullptr) ++extent.markup;
    const TiXmlElement* const element = child->ToElement();
    if (element == nullptr) continue;
    int attributes = 0;
    for (const TiXmlAttribute* each = element->FirstAttribute(); each != nullptr; each = each->Next())
      ++attributes;
    extent.attributes = std::max(extent.attributes, attributes);
    extent.markup += static_cast<std::size_t>(attributes);
    extent.depth = std::max(extent.depth, depth + 1);
    measure(*element, depth + 1, extent);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  using namespace ZelmoraTevra;
  std::string text(reinterpret_cast<const char*>(data), size);
  text.resize(text.find('\0') == std::string::npos ? text.size() : text.find('\0'));
  if (!isWithinXmlBounds(text, maximalDepth, maximalAttributes, maximalMarkup)) return 0;
  TiXmlDocument document;
  document.Parse(text.c_str(), nullptr, TIXML_ENCODING_UTF8);
  // What the parser built before it met an error counts too: it nested that deep.
  Extent extent;
  measure(document, 0, extent);
  must(extent.depth <= maximalDepth);
  must(extent.attributes <= maximalAttributes);
  must(extent.markup <= maximalMarkup);
  return 0;
}
