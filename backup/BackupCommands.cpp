#include "backup/BackupCommands.h"

#include "backup/BackupCommandReader.h"
#include "backup/BackupFolderMove.h"
#include "backup/TempFolderMove.h"
#include "backup/CheckRestoreSizeRunner.h"
#include "backup/RestoreDeviceCommandReader.h"
#include "backup/RestoreDeviceRunner.h"
#include "backup/DeleteBackupRunner.h"
#include "backup/GetBackupsRunner.h"
#include "backup/RestoreBackupRunner.h"

namespace ZelmoraTevra {

void addBackupCommands(CommandTable& table) {
  table[u"MOVE_BACKUP_FOLDER"] = {.read = readMoveFolderCommand,
                                  .makeWorker = [] { return std::make_unique<BackupFolderMove>(); },
                                  .movesFolder = true};
  table[u"MOVE_TEMP_FOLDER"] = {.read = readMoveFolderCommand,
                                .makeWorker = [] { return std::make_unique<TempFolderMove>(); },
                                .movesFolder = true};
  table[u"CHECK_SIZE_RESTORE_DEVICE"] = {
      .read = readRestoreDeviceCommand,
      .makeWorker = [] { return std::make_unique<CheckRestoreSizeRunner>(); },
      .movesFolder = false,
      .writesIndicatorFile = true};
  table[u"RESTORE_DEVICE"] = {.read = readRestoreDeviceCommand,
                              .makeWorker = [] { return std::make_unique<RestoreDeviceRunner>(); },
                              .movesFolder = false,
  table[u"DELETE_BACKUP"] = {.read = readDeleteBackupCommand,
                             .makeWorker = [] { return std::make_unique<DeleteBackupRunner>(); }};
  table[u"GET_BACKUPS"] = {.read = [](const TiXmlElement&, CommandRecord&) { return true; },
                           .makeWorker = [] { return std::make_unique<GetBackupsRunner>(); }};
  table[u"RESTORE_BACKUP"] = {.read = readRestoreBackupCommand,
                              .makeWorker = [] { return std::make_unique<RestoreBackupRunner>(); },
                              .writesIndicatorFile = true};
}

}  // namespace ZelmoraTevra
