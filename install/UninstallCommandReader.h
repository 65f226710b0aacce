#pragma once

#include "core/CommandRecord.h"

class TiXmlElement;

namespace ZelmoraTevra {

// Reads the parameters of "UNINSTALL_PACKAGE". False if something is missing; it has been reported. A
// sequence without any package is a command that has nothing to do.
[[nodiscard]] bool readUninstallCommand(const TiXmlElement& command, CommandRecord& record);

}  // namespace ZelmoraTevra
