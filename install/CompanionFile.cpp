#include "install/CompanionFile.h"

#include <algorithm>
#include <string>

#include "core/File_platformIndependent.h"
#include "core/ReplaceFileContent.h"
#include "core/Text.h"
#include "core/XmlDocument.h"
#include "platform/AsciiCase.h"

namespace ZelmoraTevra {

namespace {

bool standsInXmlName(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-' ||
         c == '.' || c == ':' || static_cast<unsigned char>(c) >= 0x80;
}

// Files of the web have names with "%20" and the like, which no element can bear.
std::string rootName(const WideText& path) {
  std::string name = "tevra_" + toUtf8(path.substr(path.rfind(u'\\') + 1));
  std::replace_if(
      name.begin(), name.end(), [](char c) { return !standsInXmlName(c); }, '_');
  return name;
}

}  // namespace

bool companionMatches(const WideText& path, const WideText& md5) {
  TiXmlDocument document;
  if (!loadXml(path, document)) return false;
  // Compared as bytes: what a damaged companion holds needn't be UTF-8.
  const std::string found = lookupUtf8(document.RootElement(), '/' + rootName(path) + "/md5sum");
  return platform::equalsIgnoringCase(found, toUtf8(md5));
}

bool companionWrite(const WideText& path, const WideText& md5) {
  TiXmlDocument document = newXmlDocument("");
  addElement(addElement(document, rootName(path)), "md5sum", md5);
  const std::string text = printXml(document);
  std::string present;
  if (readXmlText(path, present) && present == text) return true;
  // Half a companion matches nothing.
  const bool written =
      fileBesideCanBeNamed(path) ? replaceFileContent(text, path) : overwriteFileContent(text, path);
  if (written) return true;
  if (!companionMatches(path, md5)) File_platformIndependent(path).remove();
  return false;
}

}  // namespace ZelmoraTevra
