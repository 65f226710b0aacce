#include "backup/BackupCommands.h"

#include "backup/BackupCommandReader.h"
#include "backup/BackupFolderMove.h"
#include "backup/TempFolderMove.h"

namespace ZelmoraTevra {

void addBackupCommands(CommandTable& table) {
  table[u"MOVE_BACKUP_FOLDER"] = {.read = readMoveFolderCommand,
                                  .makeWorker = [] { return std::make_unique<BackupFolderMove>(); },
                                  .movesFolder = true};
  table[u"MOVE_TEMP_FOLDER"] = {.read = readMoveFolderCommand,
                                .makeWorker = [] { return std::make_unique<TempFolderMove>(); },
                                .movesFolder = true};
}

}  // namespace ZelmoraTevra
