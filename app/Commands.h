#pragma once

#include "core/CommandTable.h"

namespace ZelmoraTevra {

// Every command that the program knows.
[[nodiscard]] CommandTable allCommands();

}  // namespace ZelmoraTevra
