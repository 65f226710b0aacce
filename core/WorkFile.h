#pragma once

#include "platform/Text.h"

namespace ZelmoraTevra {

// A path in the work folder under a name that nothing has, for a file that the caller makes and removes.
// Empty if the system gives no name.
[[nodiscard]] WideText newWorkFilePath();

}  // namespace ZelmoraTevra
