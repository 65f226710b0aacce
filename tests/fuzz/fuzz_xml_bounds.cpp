// A text that is said to be within bounds never makes the parser nest deeper than they say.
#include <tinyxml.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#include "platform/XmlBounds.h"

namespace {

constexpr int maximalDepth = 4;
constexpr int maximalAttributes = 3;

int depthOf(const TiXmlNode& node) {
  int deepest = 0;
  for (const TiXmlElement* child = node.FirstChildElement(); child != nullptr;
       child = child->NextSiblingElement())
    deepest = std::max(deepest, 1 + depthOf(*child));
  return deepest;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  std::string text(reinterpret_cast<const char*>(data), size);
  text.resize(text.find('\0') == std::string::npos ? text.size() : text.find('\0'));
  if (!ZelmoraTevra::isWithinXmlBounds(text, maximalDepth, maximalAttributes)) return 0;
  TiXmlDocument document;
  document.Parse(text.c_str(), nullptr, TIXML_ENCODING_UTF8);
  // What the parser built before it met an error counts too: it nested that deep.
  if (depthOf(document) > maximalDepth) std::abort();
  return 0;
}
