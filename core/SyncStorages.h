#pragma once

#include <vector>

#include "platform/Text.h"

namespace ZelmoraTevra {

// Returns when everything written to a device's storages is on their media, so that the user may pull the
// device. A storage on the volume of the work folder is none that can be pulled; an empty root is none. False
// if one of them tells that it could not keep what was written; the others are brought all the same.
[[nodiscard]] bool syncStorages(const std::vector<WideText>& roots);

}  // namespace ZelmoraTevra
