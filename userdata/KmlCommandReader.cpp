#include "userdata/KmlCommandReader.h"

#include "core/CommandValues.h"
#include "core/ErrorReport.h"

namespace ZelmoraTevra {

bool readGetKmlFilesCommand(const TiXmlElement& command, CommandRecord& record) {
  readStorages(command, record);
  if (!record.storageCardDriveLetter.empty()) return true;
  return refuse(ErrorReport(1180, u"Error on reading the get kml files parameters!"));
}

bool readImportKmlFileCommand(const TiXmlElement& command, CommandRecord& record) {
  record.overwrite = isTrueAttribute(command, "Overwrite");
  record.localFilePath = encodedValue(command, "/Command/LocalFilePath");
  readStorages(command, record);
  if (!record.localFilePath.empty() && !record.storageCardDriveLetter.empty()) return true;
  return refuse(ErrorReport(1181, u"Error on reading the import kml files parameters!"));
}

bool readExportKmlFileCommand(const TiXmlElement& command, CommandRecord& record) {
  record.fileName = plainValue(command, "/Command/FileName");
  record.destinationFolder = encodedValue(command, "/Command/DestinationFolderPath");
  readStorages(command, record);
  if (!record.fileName.empty() && !record.destinationFolder.empty() && !record.storageCardDriveLetter.empty())
    return true;
  return refuse(ErrorReport(1182, u"Error on reading the export kml files parameters!"));
}

bool readDeleteKmlFileCommand(const TiXmlElement& command, CommandRecord& record) {
  record.fileName = plainValue(command, "/Command/FileName");
  readStorages(command, record);
  if (!record.fileName.empty() && !record.storageCardDriveLetter.empty()) return true;
  return refuse(ErrorReport(1183, u"Error on reading the delete kml files parameters!"));
}

}  // namespace ZelmoraTevra
