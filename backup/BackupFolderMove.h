#pragma once

#include <cstdint>
#include <vector>

#include "backup/BackupToMove.h"
#include "core/CommandTable.h"
#include "core/CopyFile.h"

namespace ZelmoraTevra {

// Moves every backup from one folder to another.
//
// All backups are first copied into a folder for probes in the new one. When the copies are on the medium
// they get their names, and when the names are there too the old files go, each backup's description first.
// So at every moment each backup is whole in one of the two folders, none has a description in either that
// isn't whole, and a move that was cut off is finished by the next one.
class BackupFolderMove : public ICommandWorker {
 public:
  int init(const CommandRecord& record) override { return prepareMove(record.oldFolder, record.newFolder); }
  int run() override { return runMove(); }

  // Looks at both folders and at what is to be moved. 0, or -1 after a report.
  int prepareMove(const WideText& oldFolder, const WideText& newFolder);
  // 0, or -1 after a report: then the old folder is untouched, and the new one holds what it held before,
  // apart from whole copies of backups that aren't to be seen in the old one any more.
  int runMove();

 private:
  // What stands in the new folder under a backup's name.
  enum class Place {
    free,
    holdsCopy,
    taken,
    unknown,  // the front end didn't wait for the answer
  };

  [[nodiscard]] bool isValidNewFolder() const;
  [[nodiscard]] bool takesFolder() const;
  [[nodiscard]] int readBackups();
  [[nodiscard]] int readBackup(const WideText& name);
  [[nodiscard]] int chooseWhatToCopy();
  [[nodiscard]] Place placeOf(BackupToMove& backup) const;

  [[nodiscard]] bool copyBackups();
  [[nodiscard]] bool copyBackup(BackupToMove& backup) const;
  [[nodiscard]] bool giveNames();
  [[nodiscard]] bool giveName(BackupToMove& backup) const;
  [[nodiscard]] bool isWholeInPlace(const BackupToMove& backup) const;
  [[nodiscard]] bool isSeenInOldFolder(const BackupToMove& backup) const;
  void takeBack() const;
  void removeOldBackup(const BackupToMove& backup) const;

  // The folder in the new one in which the copies are made. Every job that probes the folder takes a leftover
  // of it away.
  [[nodiscard]] WideText copiesFolder() const;

  WideText oldFolder_;
  WideText newFolder_;
  std::vector<BackupToMove> backups_;
  std::uint64_t totalSize_ = 0;  // bytes that are to be copied
  bool ready_ = false;
};

}  // namespace ZelmoraTevra
