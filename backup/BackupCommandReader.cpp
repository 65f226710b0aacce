#include "backup/BackupCommandReader.h"

#include "backup/BackupFolder.h"
#include "core/CommandValues.h"
#include "core/ErrorReport.h"

namespace ZelmoraTevra {

namespace {

bool hasTrueAttribute(const TiXmlElement& command, const char* child, const char* attribute) {
  const TiXmlElement* const element = command.FirstChildElement(child);
  return element != nullptr && isTrueAttribute(*element, attribute);
}

}  // namespace

bool readMakeBackupCommand(const TiXmlElement& command, CommandRecord& record) {
  record.backupName = plainValue(command, "/Command/BackupName");
  readStorages(command, record);
  // A name that leads elsewhere is none.
  if (isNewBackupName(record.backupName) && !record.storageCardDriveLetter.empty()) return true;
  return refuse(ErrorReport(1037, u"Error on reading the make backup command's parameters!"));
}

bool readRestoreBackupCommand(const TiXmlElement& command, CommandRecord& record) {
  record.backupName = plainValue(command, "/Command/BackupName");
  readStorages(command, record);
  record.windows7 = isNonZeroAttribute(command, "windows7");
  readDisableFormat(command, record);
  if (!record.backupName.empty() && !record.storageCardDriveLetter.empty()) return true;
  return refuse(ErrorReport(1038, u"Error on reading the restore backup command's parameters!"));
}

bool readDeleteBackupCommand(const TiXmlElement& command, CommandRecord& record) {
  record.backupName = plainValue(command, "/Command/BackupName");
  if (!record.backupName.empty()) return true;
  return refuse(ErrorReport(1039, u"Error on reading the delete backup command's parameters!"));
}

bool readMoveFolderCommand(const TiXmlElement& command, CommandRecord& record) {
  record.oldFolder = plainValue(command, "/Command/OldFolder");
  record.newFolder = plainValue(command, "/Command/NewFolder");
  if (!record.oldFolder.empty() && !record.newFolder.empty()) return true;
  return refuse(ErrorReport(1040, u"Error on reading the move folder command's parameters!"));
}

void readDisableFormat(const TiXmlElement& command, CommandRecord& record) {
  record.disableFormatFirst = !record.storageCardDriveLetter.empty() &&
                              hasTrueAttribute(command, "StorageCardDriveLetter", "DisableFormat");
  record.disableFormatSecond =
      !record.secondDriveLetter.empty() && hasTrueAttribute(command, "SecondDriveLetter", "DisableFormat");
}

}  // namespace ZelmoraTevra
