#include "userdata/FilesCommandReader.h"

#include "core/CommandValues.h"
#include "core/Directory_new.h"
#include "core/ErrorReport.h"

namespace ZelmoraTevra {

namespace {

void readElements(const TiXmlElement& command, CommandRecord& record) {
  record.overwrite = isTrueAttribute(command, "Overwrite");
  const TiXmlElement* const mainStorage = command.FirstChildElement("StorageCardDriveLetter");
  record.mainIsDefaultTarget = mainStorage != nullptr && isTrueAttribute(*mainStorage, "default");
  readStorages(command, record);
  record.extensions = plainValue(command, "/Command/Extensions");
  record.optionalExtensions = plainValue(command, "/Command/OptionalExtension");
  record.searchingFolder = plainValue(command, "/Command/SearchingFolder");
  record.optionalSearchingFolder = plainValue(command, "/Command/OptionalSearchingFolder");
  record.optionalDeleteExtension = plainValue(command, "/Command/OptionalDeleteExtension");
  record.fileName = plainValue(command, "/Command/FileName");
  record.fileNameAtDestination = plainValue(command, "/Command/FileNameAtDestination");
  record.defaultFileToCopy = plainValue(command, "/Command/DefaultFileToCopy");
  record.destinationFolder = plainValue(command, "/Command/DestinationFolder");
}

bool fail(int exitCode, const CommandRecord& record) {
  ErrorReport(exitCode, u"Error on reading the " + record.commandName + u" parameters!").save();
  return false;
}

bool reportGoneDevice() {
  ErrorReport(1229, u"Could not access your device. Please make sure it is still connected and try again.")
      .save();
  return false;
}

}  // namespace

bool readFilesCommand(const TiXmlElement& command, CommandRecord& record) {
  readElements(command, record);
  const WideText& name = record.commandName;
  if (!Directory_new(record.storageCardDriveLetter).exists()) return reportGoneDevice();
  if (name == u"IMPORT_FILES" && record.defaultFileToCopy.empty()) return fail(1202, record);
  // A file that is added brings its extension along.
  const WideText& needed = name == u"ADD_FILE" ? record.fileNameAtDestination : record.extensions;
  if (needed.empty() || record.searchingFolder.empty() || record.optionalExtensions.empty())
    return fail(1199, record);
  if ((name == u"DELETE_FILES" || name == u"EXPORT_FILES") && record.fileName.empty())
    return fail(1200, record);
  if (name == u"EXPORT_FILES" && record.destinationFolder.empty()) return fail(1201, record);
  return true;
}

}  // namespace ZelmoraTevra
