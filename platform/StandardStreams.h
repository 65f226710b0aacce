#pragma once

namespace ZelmoraTevra::platform {

// To be called before anything is opened. A standard stream that the program was started without leads to
// nothing from here on; else the first file that is opened would take its place, and get what is printed.
void openMissingStandardStreams();

}  // namespace ZelmoraTevra::platform
