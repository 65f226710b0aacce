#pragma once

#include "platform/Text.h"

namespace ZelmoraTevra {

// Asks the system to let go the device on which a drive is; the first character of the text is the drive's
// letter. Three attempts, half a second apart. 0 for success, -1 for failure.
[[nodiscard]] int ejectDevice(const WideText& driveText);

}  // namespace ZelmoraTevra
