#include "backup/BackupCommands.h"

#include "backup/BackupCommandReader.h"
#include "backup/BackupFolderMove.h"
#include "backup/CheckRestoreSizeRunner.h"
#include "backup/ConvertBackupsRunner.h"
#include "backup/DeleteBackupRunner.h"
#include "backup/GetBackupsRunner.h"
#include "backup/MakeBackupRunner.h"
#include "backup/RestoreBackupRunner.h"
#include "backup/RestoreDeviceCommandReader.h"
#include "backup/RestoreDeviceRunner.h"
#include "backup/TempFolderMove.h"

namespace ZelmoraTevra {

void addBackupCommands(CommandTable& table) {
  table[u"CHECK_SIZE_RESTORE_DEVICE"] = {.read = readRestoreDeviceCommand,
                                         .makeWorker = newWorker<CheckRestoreSizeRunner>,
                                         .writesIndicatorFile = true};
  table[u"CONVERT_BACKUPS"] = {.read = readNothing, .makeWorker = newWorker<ConvertBackupsRunner>};
  table[u"DELETE_BACKUP"] = {.read = readDeleteBackupCommand, .makeWorker = newWorker<DeleteBackupRunner>};
  table[u"GET_BACKUPS"] = {.read = readNothing, .makeWorker = newWorker<GetBackupsRunner>};
  table[u"MAKE_BACKUP"] = {.read = readMakeBackupCommand,
                           .makeWorker = [] { return std::make_unique<MakeBackupRunner>(false); }};
  table[u"MAKE_PERSONAL_BACKUP"] = {.read = readMakeBackupCommand,
                                    .makeWorker = [] { return std::make_unique<MakeBackupRunner>(true); }};
  table[u"MOVE_BACKUP_FOLDER"] = {
      .read = readMoveFolderCommand, .makeWorker = newWorker<BackupFolderMove>, .movesFolder = true};
  table[u"MOVE_TEMP_FOLDER"] = {
      .read = readMoveFolderCommand, .makeWorker = newWorker<TempFolderMove>, .movesFolder = true};
  table[u"RESTORE_BACKUP"] = {.read = readRestoreBackupCommand,
                              .makeWorker = newWorker<RestoreBackupRunner>,
                              .writesIndicatorFile = true};
  table[u"RESTORE_DEVICE"] = {.read = readRestoreDeviceCommand,
                              .makeWorker = newWorker<RestoreDeviceRunner>,
                              .writesIndicatorFile = true};
}

}  // namespace ZelmoraTevra
