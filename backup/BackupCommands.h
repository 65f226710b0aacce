#pragma once

#include "core/CommandTable.h"

namespace ZelmoraTevra {

// The commands that make, keep and restore backups, and those that move the program's folders.
void addBackupCommands(CommandTable& table);

}  // namespace ZelmoraTevra
