#pragma once

#include "core/CommandRecord.h"

class TiXmlElement;

namespace ZelmoraTevra {

// The parameters of the commands for recorded tracks. False if something is missing; that has been reported.
[[nodiscard]] bool readGetKmlFilesCommand(const TiXmlElement& command, CommandRecord& record);
[[nodiscard]] bool readImportKmlFileCommand(const TiXmlElement& command, CommandRecord& record);
[[nodiscard]] bool readExportKmlFileCommand(const TiXmlElement& command, CommandRecord& record);
[[nodiscard]] bool readDeleteKmlFileCommand(const TiXmlElement& command, CommandRecord& record);

}  // namespace ZelmoraTevra
