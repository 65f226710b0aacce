#pragma once

#include <cstdint>

#include "backup/BackupDescription.h"

namespace ZelmoraTevra {

// One backup on its way from one backup folder to another.
struct BackupToMove {
  WideText name;  // of its folder
  // By path below the backup's folder, with "\" as separator; the description is one of them. The sizes are
  // those of the list until a copy is there, and the copy's from then on.
  BackupFiles files;
  // Somebody was about to remove it from the old folder and was interrupted: its description isn't there any
  // more, or the folder is marked.
  bool isLeftover = false;
  // A whole copy stands in the new folder already, as an interrupted move leaves it: only the old files are
  // still to go.
  bool isInPlace = false;
  // This job has given it its name in the new folder.
  bool isNamed = false;

  [[nodiscard]] WideText descriptionName() const { return name + u".xml"; }
  // Adds a file, under one spelling for all paths that name the same one.
  void add(const BackupFileEntry& file);
  // Of all files, in bytes; the highest number if there is none for it.
  [[nodiscard]] std::uint64_t totalSize() const;
};

}  // namespace ZelmoraTevra
