#pragma once

#include "core/CommandRecord.h"

class TiXmlElement;

namespace ZelmoraTevra {

// Reads the parameters of "INSTALL_PACKAGE", "CHECK_SIZE" and "INSTALL_TEVRA", told apart by the record's
// name. False if something is missing or the install description can't be read; it has been reported, except
// for a description that is empty.
[[nodiscard]] bool readInstallCommand(const TiXmlElement& command, CommandRecord& record);

}  // namespace ZelmoraTevra
