#include "install/InstallCommandReader.h"

#include <utility>

#include "core/BackendLogger.h"
#include "core/CommandValues.h"
#include "core/ErrorReport.h"
#include "install/ContentReader.h"

namespace ZelmoraTevra {

namespace {

enum class EntryResult { accepted, skipped, failed };

// What the three commands ask of a package.
struct PackageRules {
  bool installsPackage;  // every field is needed
  bool checksSize;       // an entry without sizes counts for nothing

  // The self-update of the manager has no install description and no device.
  [[nodiscard]] bool hasDescription() const { return installsPackage || checksSize; }
};

constexpr DescriptionCodes descriptionCodes = {.corrupted = 1030, .needsACard = 1015};

bool readDescription(const CommandRecord& record, const WideText& encoded, ContentEntry& entry) {
  WideText text;
  if (unpackDescription(encoded, text))
    return takeDescription(record, encoded, std::move(text), descriptionCodes, entry);
  writeLog(entry.name);
  if (BackendLogger::instance().isActive()) writeLog(u"Encoded install xml: " + encoded);
  reportCorruptDescription(descriptionCodes);
  return false;
}

EntryResult readContent(const TiXmlElement& content, const PackageRules& rules, const CommandRecord& record,
                        ContentEntry& entry) {
  const ContentTexts texts = readContentTexts(content, "/content/sha1", entry);
  // An entry without a size is one without anything.
  if (!texts.fileSize.empty()) {
    if (record.localInstall && !findLocalZip(entry)) return EntryResult::failed;
    const WideText& encoded = texts.encodedDescription;
    const bool unpack = rules.hasDescription() && !(rules.checksSize && encoded.empty());
    if (unpack && !readDescription(record, encoded, entry)) return EntryResult::failed;
  }

  const bool anyEmpty =
      texts.fileSize.empty() || texts.fileSizeUncompressed.empty() || entry.md5.empty() || entry.url.empty();
  if (rules.installsPackage && anyEmpty) {
    ErrorReport(1031, u"Error on reading the content information!").save();
    return EntryResult::failed;
  }
  if (rules.checksSize && entry.installXml == nullptr) {
    if (texts.fileSize.empty()) return EntryResult::skipped;
    ErrorReport(1158, u"Error on reading the content information!").save();
    return EntryResult::failed;
  }
  readSizes(texts, entry);
  return EntryResult::accepted;
}

}  // namespace

bool readInstallCommand(const TiXmlElement& command, CommandRecord& record) {
  const PackageRules rules{record.commandName == u"INSTALL_PACKAGE", record.commandName == u"CHECK_SIZE"};
  if (command.Attribute("LocalInstall") == nullptr) {
    ErrorReport(1029, u"Error on reading the install location!").save();
    return false;
  }
  record.localInstall = isNonZeroAttribute(command, "LocalInstall");
  record.notRunMoveMap = isTrueAttribute(command, "NotRunMoveMap");
  record.checkHashFile = isTrueOrCapitalsAttribute(command, "CheckHashFile");

  record.storageCardDriveLetter = encodedValue(command, "/Command/StorageCardDriveLetter");
  if (record.storageCardDriveLetter.empty() && rules.hasDescription()) {
    ErrorReport(1033, u"Error on reading the storage card drive letter tag!").save();
    return false;
  }
  record.secondDriveLetter = encodedValue(command, "/Command/SecondDriveLetter");
  readProxy(command, record);

  const TiXmlElement* packages = command.FirstChildElement("PackageSequence");
  if (packages == nullptr) {
    ErrorReport(1032, u"Error on reading the package sequence tag!").save();
    return false;
  }
  for (const TiXmlElement* content = packages->FirstChildElement("content"); content != nullptr;
       content = content->NextSiblingElement("content")) {
    ContentEntry entry;
    const EntryResult result = readContent(*content, rules, record, entry);
    if (result == EntryResult::failed) return false;
    if (result == EntryResult::accepted) record.packages.push_back(std::move(entry));
  }
  return true;
}

}  // namespace ZelmoraTevra
