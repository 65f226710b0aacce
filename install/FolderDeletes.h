#pragma once

#include <cstddef>
#include <vector>

#include "install/InstallXml.h"

namespace ZelmoraTevra {

// Entries that one call of expandFolderDeletes adds before it stops looking into further folders: more files
// than a device holds. A package may name one large folder any number of times.
constexpr std::size_t maximalFolderDeleteEntries = 500'000;

// Spells out the folders that updates delete: for each of their files a deletion, for each of their
// subfolders a removal when empty, at the end of the update's file list. A folder that lies outside of a root
// isn't there, and a storage whose root is empty isn't looked at. An update whose folders are spelled out
// already stays as it is.
void expandFolderDeletes(const std::vector<InstallUpdate*>& updates, const WideText& primaryRoot,
                         const WideText& secondaryRoot);

// Takes out the deletions of files that any of the updates writes, so that a file which one update deletes
// and another writes stays written, whichever comes first.
void dropRedundantDeletes(const std::vector<InstallUpdate*>& updates);

}  // namespace ZelmoraTevra
