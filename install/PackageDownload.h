#pragma once

#include "core/CommandRecord.h"

namespace ZelmoraTevra {

// Fetches a package into the work folder through the command's proxy. The observer of the process must stand
// at the package's entry. False after a failure, which has been reported.
[[nodiscard]] bool downloadPackage(const ContentEntry& package, const CommandRecord& command);

// Removes a downloaded zip and what a partial download of it may have left. False if a file is there and
// can't be removed.
[[nodiscard]] bool deleteDownloadedFile(const WideText& zipPath);

}  // namespace ZelmoraTevra
