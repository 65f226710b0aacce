#pragma once

#include <compare>
#include <vector>

#include "platform/Text.h"

namespace ZelmoraTevra {

// A track on a device as a front end shows it. Lists are sorted by the name, then by the date, both compared
// unit by unit.
struct KmlFileEntry {
  WideText name;          // without folders
  WideText creationDate;  // "2026-07-01", in local time

  [[nodiscard]] friend auto operator<=>(const KmlFileEntry&, const KmlFileEntry&) = default;
};

// What a command for tracks works on.
struct KmlJob {
  WideText mainFolder;         // root of the device's main storage
  WideText secondFolder;       // of the second one; empty if there is none
  WideText filePath;           // of the track that is imported; else a track's name on the device
  WideText destinationFolder;  // on the computer
  std::vector<KmlFileEntry> files;
};

// The test that comes first: the main storage is there and takes a file. A failure has been reported (1233).
[[nodiscard]] bool deviceTakesTracks(const KmlJob& job);

}  // namespace ZelmoraTevra
