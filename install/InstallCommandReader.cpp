#include "install/InstallCommandReader.h"

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "core/BackendLogger.h"
#include "core/Base64.h"
#include "core/CommandValues.h"
#include "core/ErrorReport.h"
#include "core/File_platformIndependent.h"
#include "core/Text.h"
#include "core/XmlDocument.h"
#include "install/InstallXml.h"
#include "install/UpdateZipExtractor.h"

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

std::optional<WideText> toWideIfValid(const std::string& bytes) {
  try {
    return toWide(bytes);
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

// No file is smaller than nothing.
std::uint64_t sizeOf(const WideText& text) {
  return static_cast<std::uint64_t>(std::max<std::int64_t>(textToInt64(text), 0));
}

void readProxy(const TiXmlElement& command, CommandRecord& record) {
  const TiXmlElement* proxy = command.FirstChildElement("httpProxy");
  if (proxy == nullptr) return;
  record.proxyHost = encodedValue(*proxy, "/httpProxy/proxyHost");
  record.proxyPort = encodedValue(*proxy, "/httpProxy/proxyPort");
  record.proxyUser = encodedValue(*proxy, "/httpProxy/proxyUser");
  record.proxyPassword = encodedValue(*proxy, "/httpProxy/proxyPassword");
}

// The path of a local zip, given in plain or in base64; nothing if no file is at either.
std::optional<WideText> localZip(const WideText& given) {
  if (File_platformIndependent(given).exists()) return given;
  std::string bytes;
  decodeBase64(toUtf8(given), bytes);
  std::optional<WideText> decoded = toWideIfValid(bytes);
  if (decoded && !File_platformIndependent(*decoded).exists()) decoded.reset();
  return decoded;
}

// The text of the description: the first file of a zip archive in base64.
std::optional<WideText> unpackDescription(const std::string& encoded) {
  std::string archive;
  decodeBase64(encoded, archive);
  std::string text;
  if (UpdateZipExtractor::unpackFirstEntryInMemory(archive.data(), archive.size(), text) < 0)
    return std::nullopt;
  return toWideIfValid(text);
}

bool readDescription(const CommandRecord& record, const WideText& encoded, ContentEntry& entry) {
  std::optional<WideText> text = unpackDescription(toUtf8(encoded));
  if (!text) {
    writeLog(entry.name);
    if (BackendLogger::instance().isActive()) writeLog(u"Encoded install xml: " + encoded);
    ErrorReport(1030, u"!!!MEMORY -> CORUPTED FILE!!!").percent(106).save();
    return false;
  }
  if (BackendLogger::instance().isActive()) writeLog(entry.name + u": " + encoded);
  auto description = std::make_shared<InstallXml>();
  if (description->load(std::move(*text)) != 0) return false;
  if (description->needsMemoryCard() && record.secondDriveLetter.empty()) {
    if (BackendLogger::instance().isActive()) writeLog(u"Install xml string: " + description->text());
    ErrorReport(
        1015,
        u"To install this content to your ZELMORA device, a SD-Card is needed. Please insert a SD-Card.")
        .save();
    return false;
  }
  entry.installXml = std::move(description);
  return true;
}

EntryResult readContent(const TiXmlElement& content, const PackageRules& rules, const CommandRecord& record,
                        ContentEntry& entry) {
  const WideText fileSize = plainValue(content, "/content/fileSize");
  WideText fileSizeUncompressed;
  // An entry without a size is one without anything.
  if (!fileSize.empty()) {
    fileSizeUncompressed = plainValue(content, "/content/fileSizeUncompressed");
    entry.md5 = plainValue(content, "/content/md5");
    entry.sha1 = plainValue(content, "/content/sha1");
    entry.url = plainValue(content, "/content/url");
    entry.name = plainValue(content, "/content/name");
    entry.description = plainValue(content, "/content/description");
    const WideText encoded = plainValue(content, "/content/installXML");
    entry.id = plainValue(content, "/content/id");

    if (record.localInstall) {
      const std::optional<WideText> zip = localZip(entry.url);
      if (!zip) {
        ErrorReport(1245, u"Please insert a valid path for the zip!!!").save();
        return EntryResult::failed;
      }
      entry.url = *zip;
    }
    const bool unpack = rules.hasDescription() && !(rules.checksSize && encoded.empty());
    if (unpack && !readDescription(record, encoded, entry)) return EntryResult::failed;
  }

  const bool anyEmpty =
      fileSize.empty() || fileSizeUncompressed.empty() || entry.md5.empty() || entry.url.empty();
  if (rules.installsPackage && anyEmpty) {
    ErrorReport(1031, u"Error on reading the content information!").save();
    return EntryResult::failed;
  }
  if (rules.checksSize && entry.installXml == nullptr) {
    if (fileSize.empty()) return EntryResult::skipped;
    ErrorReport(1158, u"Error on reading the content information!").save();
    return EntryResult::failed;
  }
  entry.fileSize = sizeOf(fileSize);
  entry.fileSizeUncompressed = sizeOf(fileSizeUncompressed);
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
