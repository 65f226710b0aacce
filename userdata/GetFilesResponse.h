#pragma once

#include <tinyxml.h>

#include <vector>

#include "userdata/FileCommandJob.h"
#include "userdata/FileGroups.h"

namespace ZelmoraTevra {

// What the device's own settings allow; both empty if they don't say both.
struct PoiLimits {
  WideText maxPois;
  WideText maxPoiFiles;
};

[[nodiscard]] PoiLimits readPoiLimits(const WideText& mainFolder);

// The answer to "GET_FILES". Of a csv file in a group its lines are counted, block by block.
[[nodiscard]] TiXmlDocument getFilesResponse(const FileCommandJob& job, const std::vector<FileGroup>& groups,
                                             const PoiLimits& limits);

}  // namespace ZelmoraTevra
