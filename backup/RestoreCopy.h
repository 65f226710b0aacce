#pragma once

#include "backup/BackupDescription.h"
#include "backup/PresentFiles.h"
#include "backup/RestoreTarget.h"
#include "core/CopyFile.h"

namespace ZelmoraTevra {

// Brings the files of a backup to their places on a device.
class RestoreCopy {
 public:
  // The card's folder is empty if there is none.
  RestoreCopy(const WideText& backupFolder, const WideText& flashFolder, const WideText& cardFolder);

  // Copies the files one after the other, in the order of their paths, and returns when they are on the
  // media. The first one that can't be brought to its place ends it: there is no file at that place then, and
  // what was copied before stays. 0, or -1 after a report, also of an abort.
  [[nodiscard]] int run(const BackupFiles& files);

 private:
  [[nodiscard]] int restore(const BackupFileEntry& file);
  [[nodiscard]] int restore(const BackupFileEntry& file, const WideText& relativePath, RestoreTarget& target);

  WideText backupFolder_;
  WideText flashFolder_;
  WideText cardFolder_;
  PresentFiles sources_;
  RestoreTarget flash_;
  RestoreTarget card_;
};

// Reports that a file of a backup can't be opened. -1.
[[nodiscard]] int failOnSource(const WideText& backupFolder);
// Reports that a backup lists a file that has no place on a device. -1.
[[nodiscard]] int failOnPlace(const WideText& backupFolder);

}  // namespace ZelmoraTevra
