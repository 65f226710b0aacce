#pragma once

#include <cstdint>

#include "platform/Text.h"

namespace ZelmoraTevra {

// Whether a storage is there, takes a file, and has so many bytes free.
[[nodiscard]] bool hasRoomFor(const WideText& storage, std::int64_t bytes);

}  // namespace ZelmoraTevra
