#pragma once

#include "platform/Text.h"

namespace ZelmoraTevra {

// Whether a file or folder would go when a storage is emptied: it is the storage's root or lies below it, be
// it by way of links or of another name for the root.
[[nodiscard]] bool goesWithStorage(const WideText& path, const WideText& storageRoot);

}  // namespace ZelmoraTevra
