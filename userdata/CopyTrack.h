#pragma once

#include "platform/Text.h"
#include "userdata/FileCopy.h"

namespace ZelmoraTevra {

// Copies a track between the computer and a device, with a progress list of its own that has it alone. False
// after a failure or an abort, which has been reported.
[[nodiscard]] bool copyTrack(const WideText& source, const WideText& destination,
                             const UserCopySettings& settings);

}  // namespace ZelmoraTevra
