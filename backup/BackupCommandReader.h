#pragma once

#include "core/CommandRecord.h"

class TiXmlElement;

namespace ZelmoraTevra {

// The parameters of the commands for backups. False if something is missing; that has been reported.
[[nodiscard]] bool readMakeBackupCommand(const TiXmlElement& command, CommandRecord& record);
[[nodiscard]] bool readRestoreBackupCommand(const TiXmlElement& command, CommandRecord& record);
[[nodiscard]] bool readDeleteBackupCommand(const TiXmlElement& command, CommandRecord& record);
// Of the backup folder and of the temporary one.
[[nodiscard]] bool readMoveFolderCommand(const TiXmlElement& command, CommandRecord& record);

// The "DisableFormat" attributes of the two storages, each of a storage that is named.
void readDisableFormat(const TiXmlElement& command, CommandRecord& record);

}  // namespace ZelmoraTevra
