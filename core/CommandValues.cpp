#include "core/CommandValues.h"

#include "core/Base64.h"
#include "core/Text.h"
#include "core/XmlDocument.h"

namespace ZelmoraTevra {

WideText plainValue(const TiXmlElement& start, const char* path) {
  return lookupText(&start, path);
}

WideText encodedValue(const TiXmlElement& start, const char* path) {
  std::string bytes;
  decodeBase64(lookupUtf8(&start, path), bytes);
  return toWide(bytes);
}

void readStorages(const TiXmlElement& command, CommandRecord& record) {
  record.storageCardDriveLetter = encodedValue(command, "/Command/StorageCardDriveLetter");
  record.secondDriveLetter = encodedValue(command, "/Command/SecondDriveLetter");
}

bool isNonZeroAttribute(const TiXmlElement& element, const char* name) {
  return textToInt64(attributeText(element, name)) != 0;
}

bool isTrueOrCapitalsAttribute(const TiXmlElement& element, const char* name) {
  const WideText value = attributeText(element, name);
  return value == u"true" || value == u"TRUE";
}

bool isTrueAttribute(const TiXmlElement& element, const char* name) {
  return attributeText(element, name) == u"true";
}

}  // namespace ZelmoraTevra
