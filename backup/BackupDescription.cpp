#include "backup/BackupDescription.h"

#include <tinyxml.h>

#include <algorithm>
#include <optional>
#include <utility>

#include "backup/BackupFolder.h"
#include "core/ErrorReport.h"
#include "core/PathBelowRoot.h"
#include "core/ReplaceFileContent.h"
#include "core/Text.h"
#include "core/XmlDocument.h"

namespace ZelmoraTevra {

namespace {

int fail(const ErrorReport& report) {
  report.save();
  return -1;
}

int failAt(int exitCode, WideText message, const WideText& folder) {
  return fail(ErrorReport(exitCode, std::move(message)).pathAndDrive(folder));
}

void addHead(TiXmlElement& contents, const BackupDescription& description) {
  TiXmlElement& backup = addElement(contents, "backup");
  addElement(backup, "name", description.name);
  addElement(backup, "brand", description.brand);
  addElement(backup, "platform", description.platform);
  addElement(backup, "version", description.version);
  addElement(backup, "creationdate", description.creationdate);
  addElement(backup, "size", numberText(static_cast<std::int64_t>(description.size)));
  addElement(backup, "hardwareID", description.hardwareID);
  addElement(backup, "deviceUID", description.deviceUID);
  addElement(backup, "personalBackup", description.personalBackup);
  addElement(backup, "converted", description.converted);
}

std::optional<WideText> pathInBackup(const WideText& path, const WideText& sourceFolder,
                                     const WideText& secondaryFolder) {
  if (const auto rest = pathBehindFolder(path, sourceFolder)) return WideText(softwareFolderName) + *rest;
  if (const auto rest = pathBehindFolder(path, secondaryFolder)) return WideText(contentFolderName) + *rest;
  return std::nullopt;
}

void readIdentity(const TiXmlElement* contents, BackupDescription& description) {
  description.brand = lookupText(contents, "/BackupContents/backup/brand");
  description.platform = lookupText(contents, "/BackupContents/backup/platform");
  description.version = lookupText(contents, "/BackupContents/backup/version");
  description.hardwareID = lookupText(contents, "/BackupContents/backup/hardwareID");
  description.deviceUID = lookupText(contents, "/BackupContents/backup/deviceUID");
  description.personalBackup = lookupText(contents, "/BackupContents/backup/personalBackup");
}

std::uint64_t sizeOf(const WideText& text) {
  return static_cast<std::uint64_t>(std::max<std::int64_t>(textToInt64(text), 0));
}

}  // namespace

int writeBackupDescription(const BackupDescription& description, const BackupFiles& files,
                           const WideText& sourceFolder, const WideText& secondaryFolder) {
  TiXmlDocument document = newXmlDocument("UTF-8");
  TiXmlElement& contents = addElement(document, "BackupContents");
  addHead(contents, description);
  TiXmlElement& list = addElement(contents, "BackupFiles");
  for (const auto& [key, file] : files) {
    const std::optional<WideText> path = pathInBackup(file.path, sourceFolder, secondaryFolder);
    if (!path) return fail(ErrorReport(1067, u"Error on parsing the sources folder path!"));
    TiXmlElement& element = addElement(list, "File");
    element.SetAttribute("path", toUtf8(*path));
    element.SetAttribute("size", std::to_string(file.size));
    element.SetAttribute("hash", "");
  }
  const WideText target = descriptionPath(backupFolder(description.name), description.name);
  if (replaceFileContent(printXml(document), target)) return 0;
  return fail(ErrorReport(1068, u"The xml description backup could not be saved!"));
}

int readBackupIdentity(const WideText& folder, const WideText& name, BackupDescription& description) {
  TiXmlDocument document;
  if (!loadXml(descriptionPath(folder, name), document))
    return failAt(1053,
                  u"A folder with the selected name already exist on your disk! Please select another name "
                  u"for the backup!",
                  folder);
  readIdentity(document.FirstChildElement("BackupContents"), description);
  return 0;
}

int readBackupDescription(const WideText& name, BackupDescription& description, BackupFiles& files) {
  const WideText folder = backupFolder(name);
  TiXmlDocument document;
  if (!loadXml(descriptionPath(folder, name), document))
    return failAt(1088, u"Backup xml could not be open!", folder);
  const TiXmlElement* const contents = document.FirstChildElement("BackupContents");
  description.name = lookupText(contents, "/BackupContents/backup/name");
  readIdentity(contents, description);
  description.creationdate = lookupText(contents, "/BackupContents/backup/creationdate");
  description.size = sizeOf(lookupText(contents, "/BackupContents/backup/size"));

  switch (readFileList(document, files)) {
    case FileList::whole:
      return 0;
    case FileList::noContents:
      return failAt(1089, u"Backup contents node could not be read!", folder);
    case FileList::noFiles:
      return failAt(1090, u"Backup files node could not be read!", folder);
    case FileList::incomplete:
      break;
  }
  return failAt(1091, u"Files information could not be read!", folder);
}

FileList readFileList(const TiXmlDocument& document, BackupFiles& files) {
  const TiXmlElement* const contents = document.FirstChildElement("BackupContents");
  if (contents == nullptr) return FileList::noContents;
  const TiXmlElement* const list = contents->FirstChildElement("BackupFiles");
  if (list == nullptr) return FileList::noFiles;
  for (const TiXmlElement* file = list->FirstChildElement("File"); file != nullptr;
       file = file->NextSiblingElement("File")) {
    if (file->Attribute("path") == nullptr || file->Attribute("size") == nullptr) return FileList::incomplete;
    const WideText path = attributeText(*file, "path");
    // Nothing outside of the backup is read, written or deleted, whatever a description says.
    if (!staysBelowRoot(path)) return FileList::incomplete;
    files[path] = {path, sizeOf(attributeText(*file, "size"))};
  }
  return FileList::whole;
}

}  // namespace ZelmoraTevra
