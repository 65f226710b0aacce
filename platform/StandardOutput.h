#pragma once

#include <string_view>

namespace ZelmoraTevra::platform {

// Writes a text to the program's standard output in one go. That nobody reads it is no failure, and never
// ends the program.
void writeToStandardOutput(std::string_view utf8);

}  // namespace ZelmoraTevra::platform
