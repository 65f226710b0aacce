#pragma once

#include <vector>

#include "install/InstallXml.h"

namespace ZelmoraTevra {

// Questions about packages for those who can't go back once they have begun to place them. No device is
// asked; what is wrong is written to the log.

// Whether each file of the updates has a flag that the program knows and a path that stays on its storage.
[[nodiscard]] bool arePlaceable(const std::vector<InstallUpdate>& updates);

enum class ZipReading {
  directory,  // the archive's list of entries: enough for a zip whose digest is known to be right
  contents,   // all files that are to be placed, with their checksums
};

// Whether the zips of the updates hold the files that are placed on an empty device. While contents are read,
// the front end's wish to abort is looked for; the answer is then false.
[[nodiscard]] bool zipsHoldFiles(const std::vector<InstallUpdate*>& updates, ZipReading reading);

// Whether updates bring something to the folder in which a device's register lies, so that there is one
// behind them. Their storages must be known.
[[nodiscard]] bool bringRegisterFolder(const std::vector<InstallUpdate*>& updates);

}  // namespace ZelmoraTevra
