#include "backup/BackupDescription.h"

#include <tinyxml.h>
#include <utf8.h>

#include <algorithm>
#include <initializer_list>
#include <optional>
#include <string>
#include <utility>

#include "backup/BackupFolder.h"
#include "backup/PathText.h"
#include "core/ErrorReport.h"
#include "core/PathBelowRoot.h"
#include "core/ReplaceFileContent.h"
#include "core/Text.h"
#include "core/XmlDocument.h"
#include "core/XmlPrinter.h"
#include "platform/XmlBounds.h"

namespace ZelmoraTevra {

namespace {

int failAt(int exitCode, const WideText& folder, WideText message) {
  ErrorReport(exitCode, std::move(message)).pathAndDrive(folder).save();
  return -1;
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

struct Storages {
  const WideText& sourceFolder;
  const WideText& secondaryFolder;
};

std::optional<WideText> pathInBackup(const WideText& path, const Storages& storages) {
  if (const auto rest = pathBehindFolder(path, storages.sourceFolder))
    return WideText(softwareFolderName) + *rest;
  if (const auto rest = pathBehindFolder(path, storages.secondaryFolder))
    return WideText(contentFolderName) + *rest;
  return std::nullopt;
}

// False if a file is in neither storage. The files are printed one by one: their tree would take more room
// than all that the job needs besides.
bool printDescription(const BackupDescription& description, const BackupFiles& files,
                      const Storages& storages, XmlPrinter& printer) {
  TiXmlDocument document = newXmlDocument("UTF-8");
  TiXmlElement& contents = addElement(document, "BackupContents");
  addHead(contents, description);
  TiXmlElement& list = addElement(contents, "BackupFiles");
  if (files.empty()) {
    document.Accept(&printer);
    return true;
  }

  TiXmlElement& element = addElement(list, "File");
  document.FirstChild()->Accept(&printer);
  printer.VisitEnter(contents, nullptr);
  contents.FirstChild()->Accept(&printer);
  printer.VisitEnter(list, nullptr);
  for (const auto& [key, file] : files) {
    const std::optional<WideText> path = pathInBackup(file.path, storages);
    // No reader would follow a path that seems to lead elsewhere.
    if (!path || !staysBelowRoot(*path)) return false;
    element.SetAttribute("path", pathText(*path));
    element.SetAttribute("size", std::to_string(file.size));
    element.SetAttribute("hash", "");
    element.Accept(&printer);
  }
  printer.VisitExit(list);
  printer.VisitExit(contents);
  return true;
}

// Whether a description is readable by its amounts alone, however its texts are printed. To print one only to
// see that would cost as much as to write it.
bool isFarFromBounds(const BackupDescription& description, const BackupFiles& files) {
  constexpr std::size_t markupOfFile = 4;      // the tag and its attributes
  constexpr std::size_t bytesOfUnit = 6;       // as a reference
  constexpr std::size_t bytesAroundPath = 96;  // indent, names, size, and the name of the storage's folder
  constexpr std::size_t bytesAroundHead = 4096;
  std::size_t bytes =
      bytesAroundHead + bytesOfUnit * (description.name.size() + description.brand.size() +
                                       description.platform.size() + description.version.size() +
                                       description.hardwareID.size() + description.deviceUID.size());
  for (const auto& [key, file] : files) bytes += bytesAroundPath + bytesOfUnit * file.path.size();
  return bytes <= static_cast<std::size_t>(maximalXmlFileBytes) &&
         (files.size() + 16) * markupOfFile <= maximalDescriptionMarkup;
}

int failUnsaved() {
  ErrorReport(1068, u"The xml description backup could not be saved!").save();
  return 1068;
}

// 0, or the exit code of the failure after its report.
int printReadable(const BackupDescription& description, const BackupFiles& files, const Storages& storages,
                  XmlPrinter& printer) {
  if (!printDescription(description, files, storages, printer)) {
    ErrorReport(1067, u"Error on parsing the sources folder path!").save();
    return 1067;
  }
  // One that is beyond the bounds could be saved, but would not be read again.
  const bool isReadable =
      printer.isWhole() &&
      isWithinXmlBounds(printer.text(), maximalXmlDepth, maximalXmlAttributes, maximalDescriptionMarkup);
  return isReadable ? 0 : failUnsaved();
}

struct HeadField {
  const char* name;
  WideText& text;
};

// False if one of the texts is no UTF-8.
bool readHead(const TiXmlElement* contents, std::initializer_list<HeadField> fields) {
  try {
    for (const HeadField& field : fields)
      field.text = lookupText(contents, std::string("/BackupContents/backup/") + field.name);
    return true;
  } catch (const utf8::exception&) {
    return false;
  }
}

bool readIdentity(const TiXmlElement* contents, BackupDescription& description) {
  return readHead(contents, {{"brand", description.brand},
                             {"platform", description.platform},
                             {"version", description.version},
                             {"hardwareID", description.hardwareID},
                             {"deviceUID", description.deviceUID},
                             {"personalBackup", description.personalBackup}});
}

template <typename Text>
std::uint64_t sizeOf(const Text& text) {
  return static_cast<std::uint64_t>(std::max<std::int64_t>(textToInt64(text), 0));
}

}  // namespace

int checkDescription(const BackupDescription& description, const BackupFiles& files,
                     const WideText& sourceFolder, const WideText& secondaryFolder) {
  const Storages storages{sourceFolder, secondaryFolder};
  if (isFarFromBounds(description, files) && std::all_of(files.begin(), files.end(), [&](const auto& entry) {
        const std::optional<WideText> path = pathInBackup(entry.second.path, storages);
        return path && staysBelowRoot(*path);
      }))
    return 0;
  XmlPrinter printer(static_cast<std::size_t>(maximalXmlFileBytes));
  return printReadable(description, files, storages, printer);
}

int writeBackupDescription(const BackupDescription& description, const BackupFiles& files,
                           const WideText& sourceFolder, const WideText& secondaryFolder) {
  XmlPrinter printer(static_cast<std::size_t>(maximalXmlFileBytes));
  if (const int failure = printReadable(description, files, {sourceFolder, secondaryFolder}, printer);
      failure != 0)
    return failure;
  const WideText target = descriptionPath(backupFolder(description.name), description.name);
  return replaceFileContent(printer.text(), target) ? 0 : failUnsaved();
}

bool findBackupIdentity(const WideText& folder, const WideText& name, BackupDescription& description) {
  TiXmlDocument document;
  if (!loadXml(descriptionPath(folder, name), document, maximalDescriptionMarkup)) return false;
  const TiXmlElement* const contents = document.FirstChildElement("BackupContents");
  return contents != nullptr && contents->FirstChildElement("backup") != nullptr &&
         readIdentity(contents, description);
}

int readBackupIdentity(const WideText& folder, const WideText& name, BackupDescription& description) {
  TiXmlDocument document;
  if (!loadXml(descriptionPath(folder, name), document, maximalDescriptionMarkup) ||
      !readIdentity(document.FirstChildElement("BackupContents"), description))
    return failAt(1053, folder,
                  u"A folder with the selected name already exist on your disk! Please select another name "
                  u"for the backup!");
  return 0;
}

int readBackupDescription(const WideText& name, BackupDescription& description, BackupFiles& files) {
  const WideText folder = backupFolder(name);
  TiXmlDocument document;
  if (!loadXml(descriptionPath(folder, name), document, maximalDescriptionMarkup))
    return failAt(1088, folder, u"Backup xml could not be open!");
  const TiXmlElement* const contents = document.FirstChildElement("BackupContents");
  WideText size;
  if (!readIdentity(contents, description) ||
      !readHead(contents,
                {{"name", description.name}, {"creationdate", description.creationdate}, {"size", size}}))
    return failAt(1089, folder, u"Backup contents node could not be read!");
  description.size = sizeOf(size);

  switch (readFileList(document, files)) {
    case FileList::whole:
      return 0;
    case FileList::noContents:
      return failAt(1089, folder, u"Backup contents node could not be read!");
    case FileList::noFiles:
      return failAt(1090, folder, u"Backup files node could not be read!");
    case FileList::incomplete:
      break;
  }
  return failAt(1091, folder, u"Files information could not be read!");
}

FileList readFileList(const TiXmlDocument& document, BackupFiles& files) {
  const TiXmlElement* const contents = document.FirstChildElement("BackupContents");
  if (contents == nullptr) return FileList::noContents;
  const TiXmlElement* const list = contents->FirstChildElement("BackupFiles");
  if (list == nullptr) return FileList::noFiles;
  for (const TiXmlElement* file = list->FirstChildElement("File"); file != nullptr;
       file = file->NextSiblingElement("File")) {
    if (file->Attribute("path") == nullptr || file->Attribute("size") == nullptr) return FileList::incomplete;
    const std::optional<WideText> path = pathOfText(file->Attribute("path"));
    // An empty path names no file.
    if (path && path->empty()) continue;
    // Nothing outside of the backup is read, written or deleted, whatever a description says.
    if (!path || !staysBelowRoot(*path)) return FileList::incomplete;
    files[*path] = {*path, sizeOf(std::string_view(file->Attribute("size")))};
  }
  return FileList::whole;
}

}  // namespace ZelmoraTevra
