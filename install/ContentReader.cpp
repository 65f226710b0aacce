#include "install/ContentReader.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "core/BackendLogger.h"
#include "core/Base64.h"
#include "core/CommandValues.h"
#include "core/ErrorReport.h"
#include "core/File_platformIndependent.h"
#include "core/Text.h"
#include "install/InstallXml.h"
#include "install/UpdateZipExtractor.h"

namespace ZelmoraTevra {

namespace {

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

}  // namespace

void readProxy(const TiXmlElement& command, CommandRecord& record) {
  const TiXmlElement* proxy = command.FirstChildElement("httpProxy");
  if (proxy == nullptr) return;
  record.proxyHost = encodedValue(*proxy, "/httpProxy/proxyHost");
  record.proxyPort = encodedValue(*proxy, "/httpProxy/proxyPort");
  record.proxyUser = encodedValue(*proxy, "/httpProxy/proxyUser");
  record.proxyPassword = encodedValue(*proxy, "/httpProxy/proxyPassword");
}

ContentTexts readContentTexts(const TiXmlElement& content, const char* secondChecksumPath,
                              ContentEntry& entry) {
  ContentTexts texts;
  texts.fileSize = plainValue(content, "/content/fileSize");
  if (texts.fileSize.empty()) return texts;
  texts.fileSizeUncompressed = plainValue(content, "/content/fileSizeUncompressed");
  entry.md5 = plainValue(content, "/content/md5");
  entry.sha1 = plainValue(content, secondChecksumPath);
  entry.url = plainValue(content, "/content/url");
  entry.name = plainValue(content, "/content/name");
  entry.description = plainValue(content, "/content/description");
  texts.encodedDescription = plainValue(content, "/content/installXML");
  entry.id = plainValue(content, "/content/id");
  return texts;
}

bool findLocalZip(ContentEntry& entry) {
  if (File_platformIndependent(entry.url).exists()) return true;
  std::string bytes;
  decodeBase64(toUtf8(entry.url), bytes);
  std::optional<WideText> decoded = toWideIfValid(bytes);
  if (!decoded || !File_platformIndependent(*decoded).exists()) {
    ErrorReport(1245, u"Please insert a valid path for the zip!!!").save();
    return false;
  }
  entry.url = std::move(*decoded);
  return true;
}

bool unpackDescription(const WideText& encoded, WideText& text) {
  std::string archive;
  decodeBase64(toUtf8(encoded), archive);
  std::string bytes;
  const bool unpacked =
      UpdateZipExtractor::unpackFirstEntryInMemory(archive.data(), archive.size(), bytes) >= 0;
  std::optional<WideText> valid = toWideIfValid(bytes);
  text = valid ? std::move(*valid) : toReadableWide(bytes);
  return unpacked && valid;
}

void reportCorruptDescription(const DescriptionCodes& codes) {
  ErrorReport(codes.corrupted, u"!!!MEMORY -> CORUPTED FILE!!!").percent(106).save();
}

bool takeDescription(const CommandRecord& record, const WideText& encoded, WideText text,
                     const DescriptionCodes& codes, ContentEntry& entry) {
  if (BackendLogger::instance().isActive()) writeLog(entry.name + u": " + encoded);
  auto description = std::make_shared<InstallXml>();
  if (description->load(std::move(text)) != 0) return false;
  if (description->needsMemoryCard() && record.secondDriveLetter.empty()) {
    if (BackendLogger::instance().isActive()) writeLog(u"Install xml string: " + description->text());
    ErrorReport(
        codes.needsACard,
        u"To install this content to your ZELMORA device, a SD-Card is needed. Please insert a SD-Card.")
        .save();
    return false;
  }
  entry.installXml = std::move(description);
  return true;
}

void readSizes(const ContentTexts& texts, ContentEntry& entry) {
  entry.fileSize = sizeOf(texts.fileSize);
  entry.fileSizeUncompressed = sizeOf(texts.fileSizeUncompressed);
}

}  // namespace ZelmoraTevra
