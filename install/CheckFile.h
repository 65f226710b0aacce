#pragma once

#include <cstdint>

#include "platform/Text.h"

namespace ZelmoraTevra {

// Whether the file can be opened and has this size in bytes. Only the low 32 bits of both sizes count: 4 GiB
// more or less are the same size, as the lists of packages may give the size of a large one cut to 32 bits.
[[nodiscard]] bool checkSize(const WideText& path, std::int64_t size);

// The same, and the MD5 of the whole file is the given one, in either case. A wrong MD5 is logged.
[[nodiscard]] bool checkFile(const WideText& path, std::int64_t size, const WideText& md5);

// Whether an MD5 that was computed is the expected one, in either case. A wrong one is logged.
[[nodiscard]] bool checkDigest(const WideText& computed, const WideText& expected);

// The file's size in bytes as an open file tells it; -1 if it can't be opened.
[[nodiscard]] std::int64_t sizeOfOpenedFile(const WideText& path);

}  // namespace ZelmoraTevra
