#include "backup/RestoreDeviceCommandReader.h"

#include <utility>

#include "backup/BackupCommandReader.h"
#include "core/BackendLogger.h"
#include "core/CommandValues.h"
#include "core/ErrorReport.h"
#include "install/ContentReader.h"

namespace ZelmoraTevra {

namespace {

constexpr DescriptionCodes descriptionCodes = {.corrupted = 1231, .needsACard = 1241};

bool readDescription(const CommandRecord& record, const WideText& encoded, ContentEntry& entry) {
  WideText text;
  if (unpackDescription(encoded, text))
    return takeDescription(record, encoded, std::move(text), descriptionCodes, entry);
  if (BackendLogger::instance().isActive()) {
    writeLog(u"Encoded install xml: " + encoded);
    writeLog(u"String after decoding and extracting: " + text);
  }
  reportCorruptDescription(descriptionCodes);
  return false;
}

bool readContent(const TiXmlElement& content, const CommandRecord& record, ContentEntry& entry) {
  const ContentTexts texts = readContentTexts(content, "/content/index", entry);
  // An entry without a size is one without anything.
  if (!texts.fileSize.empty()) {
    if (record.localInstall && !findLocalZip(entry)) return false;
    if (!readDescription(record, texts.encodedDescription, entry)) return false;
  }
  const bool hasSizes = !texts.fileSize.empty() && !texts.fileSizeUncompressed.empty();
  const WideText message = u"Error on reading the content information!";
  if (record.commandName == u"RESTORE_DEVICE") {
    if (!hasSizes || entry.md5.empty() || entry.sha1.empty() || entry.url.empty())
      return refuse(ErrorReport(1242, message));
  } else if (!hasSizes) {
    return refuse(ErrorReport(1246, message));
  }
  readSizes(texts, entry);
  return true;
}

}  // namespace

bool readRestoreDeviceCommand(const TiXmlElement& command, CommandRecord& record) {
  readStorages(command, record);
  if (record.storageCardDriveLetter.empty())
    return refuse(ErrorReport(1230, u"Error on reading the storage card drive letter tag!"));
  record.localInstall = isNonZeroAttribute(command, "LocalInstall");
  record.windows7 = isNonZeroAttribute(command, "windows7");
  record.checkHashFile = isTrueOrCapitalsAttribute(command, "CheckHashFile");
  readDisableFormat(command, record);
  readProxy(command, record);

  const TiXmlElement* packages = command.FirstChildElement("PackageSequence");
  if (packages == nullptr) return refuse(ErrorReport(1244, u"Error on reading the package sequence tag!"));
  for (const TiXmlElement* content = packages->FirstChildElement("content"); content != nullptr;
       content = content->NextSiblingElement("content")) {
    ContentEntry entry;
    if (!readContent(*content, record, entry)) return false;
    record.packages.push_back(std::move(entry));
  }
  if (!record.packages.empty()) return true;
  return refuse(
      ErrorReport(1243, u"Invalid installation information! Retry later or contact Customer Support!"));
}

}  // namespace ZelmoraTevra
