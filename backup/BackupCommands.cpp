#include "backup/BackupCommands.h"

namespace ZelmoraTevra {

void addBackupCommands(CommandTable&) {}

}  // namespace ZelmoraTevra
