#pragma once

#include <cstdint>

#include "platform/Text.h"

namespace ZelmoraTevra {

// Stands for the digest of a map for which none was asked.
constexpr WideView digestNotNeeded = u"MD5NOTNEEDTOCOMPUTED";

// A map on a device, described by its version file or found in one of its map folders.
struct ClientMap {
  WideText name;
  WideText file;           // the name of its first file; empty if no update describes the map
  std::uint64_t size = 0;  // bytes, of all its files
  std::int32_t deletable = 0;
  WideText md5SumFirst100kb;  // empty: none could be computed, or it has no file
  WideText company;
  WideText version;             // as it is written on the device
  WideText storageForSoftware;  // "true", "false" or, for a map of the version file, empty
};

}  // namespace ZelmoraTevra
