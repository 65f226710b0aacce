#pragma once

#include <string_view>

#include "platform/Text.h"

namespace ZelmoraTevra {

// Writes a file's new content beside it, brings it to the medium, and gives it the file's name, so that at
// every moment one of the two whole stands there. The folder must exist. A symbolic link at the path makes
// way for the file. False leaves what stood there as it was.
[[nodiscard]] bool replaceFileContent(std::string_view content, const WideText& path);

// False if the name of the file is so long that one beside it could get none.
[[nodiscard]] bool fileBesideCanBeNamed(const WideText& path);

// Removes what a replacement that was cut off has left beside the file.
void removeUnfinishedContent(const WideText& path);

// Writes the content directly over the file, and to the medium: for a volume that has no room for both. False
// may leave half of it. A symbolic link at the path is a failure.
[[nodiscard]] bool overwriteFileContent(std::string_view content, const WideText& path);

}  // namespace ZelmoraTevra
