#pragma once

#include <cstdint>
#include <vector>

#include "backup/BackupDescription.h"

namespace ZelmoraTevra {

// Which files a personal backup takes: those whose path holds one of the fragments, wherever in it.
struct PersonalFilter {
  std::vector<WideText> files;
  std::vector<WideText> folders;
};

// Adds the files below a folder, by their whole paths, the folder's text first and "\" between the components
// behind it. What is hidden isn't taken: a file or folder whose name begins with "." and whatever lies in
// such a folder. The one exception bears the device's own configuration. Symbolic links are not followed.
//
// Without a filter all files are taken. False if a file has gone, has a name that no description can hold, or
// if a folder can't be read: nothing is left out in silence. The log tells which one it was, the report is
// the caller's.
[[nodiscard]] bool listStorage(const WideText& folder, const PersonalFilter* filter, BackupFiles& files);

// In bytes.
[[nodiscard]] std::uint64_t sumOfSizes(const BackupFiles& files);

}  // namespace ZelmoraTevra
