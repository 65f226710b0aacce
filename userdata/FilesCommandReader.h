#pragma once

#include "core/CommandRecord.h"

class TiXmlElement;

namespace ZelmoraTevra {

// The parameters of "GET_FILES", "IMPORT_FILES", "EXPORT_FILES", "DELETE_FILES" and "ADD_FILE". False if
// something that the command needs is missing; that has been reported.
[[nodiscard]] bool readFilesCommand(const TiXmlElement& command, CommandRecord& record);

}  // namespace ZelmoraTevra
