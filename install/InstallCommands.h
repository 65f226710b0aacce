#pragma once

#include "core/CommandTable.h"

namespace ZelmoraTevra {

// The commands that bring packages to a device and take them off it.
void addInstallCommands(CommandTable& table);

}  // namespace ZelmoraTevra
