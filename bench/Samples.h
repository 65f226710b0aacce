#pragma once

#include <cstdint>
#include <string>

#include "platform/Text.h"

namespace ZelmoraTevra {

// The path of one of many files on a device, 100 in a folder.
[[nodiscard]] WideText sampleClient(std::int64_t index);

// An install description for the main storage.
[[nodiscard]] std::string sampleDescription(std::int64_t updates, std::int64_t filesOfEach);

}  // namespace ZelmoraTevra
