#include "install/InstallXml.h"

#include <exception>
#include <optional>
#include <string_view>
#include <utility>

#include "core/ErrorReport.h"
#include "core/SaturatingInt64.h"
#include "core/Text.h"
#include "core/XmlDocument.h"

namespace ZelmoraTevra {

namespace {

std::int32_t integerAttribute(const TiXmlElement& element, const char* name) {
  const char* value = element.Attribute(name);
  return value != nullptr ? textToInteger(std::string_view(value)) : 0;
}

std::int64_t int64Attribute(const TiXmlElement& element, const char* name) {
  const char* value = element.Attribute(name);
  return value != nullptr ? textToInt64(std::string_view(value)) : 0;
}

bool attributeIs(const TiXmlElement& element, const char* name, std::string_view wanted) {
  const char* value = element.Attribute(name);
  return value != nullptr && value == wanted;
}

std::uint32_t lookupUnsigned(const TiXmlElement& start, std::string_view path) {
  int number = 0;
  lookupInteger(&start, path, number);
  return static_cast<std::uint32_t>(number);
}

void lookupSpace(const TiXmlElement& root, std::string_view path, std::int64_t& bytes) {
  WideText text;
  if (lookupText(&root, path, text)) bytes = textToInt64(text);
}

void readLocation(const TiXmlElement& element, InstallUpdate& update) {
  if (element.Attribute("install_location") == nullptr) return;
  update.locationContent = attributeIs(element, "install_location", "storage_for_content");
  update.locationSoftware = attributeIs(element, "install_location", "storage_for_software");
  update.locationOther = !update.locationContent && !update.locationSoftware;
}

// Nothing without a client path.
std::optional<InstallFile> readFile(const TiXmlElement& element) {
  InstallFile file;
  const TiXmlElement* client = findElement(&element, "/file/client");
  if (!lookupText(&element, "/file/client", file.client)) return std::nullopt;
  file.updateFlag = integerAttribute(*client, "updateflag");
  file.platform = integerAttribute(*client, "platform");
  file.local = lookupText(&element, "/file/local");
  file.fileSize = int64Attribute(element, "file_size");
  file.hashKey = attributeText(element, "hash_key");
  return file;
}

// Nothing if one of the three texts that every edit needs is missing.
std::optional<InstallXmlEntry> readXmlEntry(const TiXmlElement& element) {
  InstallXmlEntry entry;
  const TiXmlElement* key = findElement(&element, "/xmlentry/key");
  if (!lookupText(&element, "/xmlentry/file", entry.file) || !lookupText(key, "/key/base", entry.base) ||
      !lookupText(key, "/key/condition", entry.condition))
    return std::nullopt;
  entry.creationFlag = integerAttribute(*key, "creationflag");
  for (const TiXmlElement* alter = findElement(key, "/key/alter"); alter != nullptr;
       alter = alter->NextSiblingElement("alter"))
    entry.alters.push_back(lookupText(alter, "/alter"));
  return entry;
}

void reportNotWellFormed() {
  ErrorReport(1167, u"Invalid installation information! Retry later or contact Customer Support.").save();
}

}  // namespace

int InstallXml::load(WideText description) {
  if (description.empty()) return -1;
  InstallXml loaded;
  loaded.text_ = std::move(description);
  try {
    loaded.valid_ = loaded.parse();
  } catch (const std::exception&) {
    // A reference to a character that there is none.
    loaded.updates_.clear();
    reportNotWellFormed();
  }
  *this = std::move(loaded);
  return valid_ ? 0 : -1;
}

bool InstallXml::parse() {
  TiXmlDocument document;
  if (!parseXml(toUtf8(text_), document)) {
    reportNotWellFormed();
    return false;
  }
  TiXmlElement* const root = document.RootElement();
  if (root == nullptr || root->ValueStr() != "install") {
    ErrorReport(1168, u"Invalid installation information! Retry later or contact Customer Support.").save();
    return false;
  }

  version_ = attributeText(*root, "version");
  lookupSpace(*root, "/install/extraSpaceSoftware", extraSpaceSoftware_);
  lookupSpace(*root, "/install/extraSpaceContent", extraSpaceContent_);
  takeElements(*root, "update", [this](TiXmlElement& update) { readUpdate(update); });

  if (updates_.empty()) {
    ErrorReport(1168, u"Update vector empty!!!").save();
    return false;
  }
  return true;
}

// What an update asks of the storages counts even when the update itself turns out to be incomplete.
void InstallXml::readUpdate(TiXmlElement& element) {
  InstallUpdate update;
  update.company = lookupText(&element, "/update/company");
  update.name = lookupText(&element, "/update/name");
  update.version = lookupText(&element, "/update/version");
  update.update = lookupUnsigned(element, "/update/update");
  update.uninstall = lookupUnsigned(element, "/update/uninstall");

  readLocation(element, update);
  if (update.locationContent) needsMemoryCard_ = true;
  update.updateSize = int64Attribute(element, "update_size");
  if (attributeIs(element, "temporary", "true")) {
    const SaturatingInt64 size = update.updateSize;
    if (update.locationSoftware)
      temporarySpaceSoftware_ = (size + temporarySpaceSoftware_).value();
    else if (update.locationContent)
      temporarySpaceContent_ = (size + temporarySpaceContent_).value();
  }

  takeElements(element, "file", [&update](const TiXmlElement& child) {
    if (std::optional<InstallFile> file = readFile(child)) update.files.push_back(std::move(*file));
  });
  takeElements(element, "xmlentry", [&update](const TiXmlElement& child) {
    if (std::optional<InstallXmlEntry> entry = readXmlEntry(child))
      update.xmlEntries.push_back(std::move(*entry));
  });

  const bool named = !update.name.empty() && !update.company.empty() && !update.version.empty();
  if (named && !(update.files.empty() && update.xmlEntries.empty())) updates_.push_back(std::move(update));
}

}  // namespace ZelmoraTevra
