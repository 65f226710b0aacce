#pragma once

#include <map>
#include <vector>

#include "platform/Text.h"
#include "userdata/FileCommandJob.h"

namespace ZelmoraTevra {

// The files that belong together, by full path with "/", each with the date of its creation.
using FileGroup = std::map<WideText, WideText>;

// Finds the groups that lie anywhere below the searching folder of the main and of the second storage, in the
// file system's order. Each folder is listed once, and only the files of groups are asked for more. Symbolic
// links are neither followed nor files. False if a folder can't be read; one that isn't there holds nothing.
[[nodiscard]] bool findFileGroups(const FileCommandJob& job, std::vector<FileGroup>& groups);

}  // namespace ZelmoraTevra
