#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "core/CommandRecord.h"

namespace ZelmoraTevra {

// Fetches a package into the work folder through the command's proxy. The observer of the process must stand
// at the package's entry. False after a failure, which has been reported.
[[nodiscard]] bool downloadPackage(const ContentEntry& package, const CommandRecord& command);

// Makes the packages the entries of the process's observer and fetches them one after the other; the path of
// each that is there is added. Local ones are there already. False after a failure, which has been reported.
[[nodiscard]] bool downloadPackages(std::span<const ContentEntry> packages, const CommandRecord& command,
                                    std::vector<WideText>& downloadedFiles);

// Bytes of all zips.
[[nodiscard]] std::int64_t downloadSize(std::span<const ContentEntry> packages);

// Two packages that would take the same place in the work folder, with the file itself or with what lies
// beside it while it comes: the second would replace the first before that one is installed.
[[nodiscard]] bool hasClashingDownloads(std::span<const ContentEntry> packages);

// Removes a downloaded zip and what a partial download of it may have left, but not the file to keep. False
// if a file is there and can't be removed.
[[nodiscard]] bool deleteDownloadedFile(const WideText& zipPath, const WideText& kept = {});

}  // namespace ZelmoraTevra
