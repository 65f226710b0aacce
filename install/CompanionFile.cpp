#include "install/CompanionFile.h"

#include <string>

#include "core/File_platformIndependent.h"
#include "core/Text.h"
#include "core/XmlDocument.h"
#include "platform/AsciiCase.h"

namespace ZelmoraTevra {

namespace {

std::string rootName(const WideText& path) {
  return "tevra_" + toUtf8(path.substr(path.rfind(u'\\') + 1));
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
  if (saveXml(document, path)) return true;
  File_platformIndependent(path).remove();
  return false;
}

}  // namespace ZelmoraTevra
