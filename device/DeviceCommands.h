#pragma once

#include "core/CommandTable.h"

namespace ZelmoraTevra {

// The commands that look at devices, check their disks and let them go.
void addDeviceCommands(CommandTable& table);

}  // namespace ZelmoraTevra
