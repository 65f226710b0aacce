#pragma once

#include "core/CommandTable.h"

namespace ZelmoraTevra {

// The commands for the user's files, tracks and contacts, and the upload.
void addUserDataCommands(CommandTable& table);

}  // namespace ZelmoraTevra
