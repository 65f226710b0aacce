#pragma once

#include <cstddef>
#include <optional>

#include "backup/BackupDescription.h"

namespace ZelmoraTevra {

// Copies the files of a device's storages into a backup's folder, each storage into a folder of its own.
class BackupCopy {
 public:
  // The roots of the storages, the second one empty if there is none, and the backup's folder, which is there
  // and empty.
  BackupCopy(WideText sourceFolder, WideText secondaryFolder, WideText backupFolder);

  // Reports progress, and ends as soon as the front end wants it. 0, otherwise the exit code of the first
  // failure after its report, or -1 after an abort, which has been reported too. Files that were copied until
  // then stay.
  [[nodiscard]] int run(const BackupFiles& files);

 private:
  struct Target {
    WideText root;      // of the storage within the backup
    WideText rest;      // the file's path below it, a separator first
    std::size_t block;  // bytes
  };

  [[nodiscard]] std::optional<Target> targetOf(const WideText& path) const;
  [[nodiscard]] int copy(const BackupFileEntry& file);
  // The folder of a path within the backup, and all above it.
  void createFolderOf(const WideText& path);

  WideText sourceFolder_;
  WideText secondaryFolder_;
  WideText backupFolder_;
  WideText lastFolder_;  // the one that was made last
};

}  // namespace ZelmoraTevra
