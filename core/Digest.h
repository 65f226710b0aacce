#pragma once

#include <cstdint>

#include "platform/Text.h"

namespace ZelmoraTevra {

// MD5 of a file's content as 32 upper-case hexadecimal characters; empty if the file can't be opened, or if
// reading stops before its end (which is logged).
[[nodiscard]] WideText fileDigest(const WideText& path);
// The same, read from the medium and not from what the system still has of the file in memory.
[[nodiscard]] WideText fileDigestOnMedium(const WideText& path);
// The digest of at most the first `bytes` bytes, read `chunk` bytes at a time.
[[nodiscard]] WideText fileStartDigest(const WideText& path, std::uint64_t bytes, std::size_t chunk);

}  // namespace ZelmoraTevra
