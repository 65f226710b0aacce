#pragma once

#include <utility>
#include <vector>

#include "backup/BackupDescription.h"
#include "backup/StorageListing.h"

namespace ZelmoraTevra {

// Makes a backup of a device. For as long as the job lives, an older backup of the same name stands beside,
// under a name of its own; at the job's end it either has gone, since the new one is complete, or gets its
// name back. Of each device one full and one personal backup are kept.
//
// Each step that fails has reported before it returns. The exit codes are those of docs/exit-codes.md.
class BackupJob {
 public:
  BackupJob() = default;
  ~BackupJob();
  BackupJob(const BackupJob&) = delete;
  BackupJob& operator=(const BackupJob&) = delete;

  // The roots of the device's storages, the second one empty if there is none, and the backup's name. A
  // personal backup takes only what the filter lets through. 0, or -1 after a report; nothing has changed
  // then.
  [[nodiscard]] int prepareBackup(const WideText& source, const WideText& name, const WideText& secondary,
                                  bool personal);
  // 0, the exit code of the failure, or -1 if nothing was prepared and after an abort.
  [[nodiscard]] int runBackup();

  // The steps of the run, in their order.
  [[nodiscard]] int collectFiles();
  void sumFileSizes();
  [[nodiscard]] int copyFiles();
  // Reports nothing and always gives 0: the new backup is complete.
  int removeSupersededBackups();
  // What a copy that failed has left.
  void removeNewBackupFolder();

  // What a personal backup takes. Without it: nothing.
  void setPersonalFilter(PersonalFilter filter) { personalFilter_ = std::move(filter); }

 private:
  [[nodiscard]] int setOldBackupAside();
  [[nodiscard]] int testRoom() const;
  [[nodiscard]] int bringToMedium();
  [[nodiscard]] int describe();
  [[nodiscard]] bool replacesBackups() const { return !oldBackupAside_.empty() || !superseded_.empty(); }
  [[nodiscard]] std::vector<WideText> findSupersededBackups() const;
  [[nodiscard]] bool holdsStorage(const WideText& folder) const;

  WideText sourceFolder_;
  WideText secondaryFolder_;
  WideText name_;
  BackupFiles files_;
  BackupDescription description_;
  PersonalFilter personalFilter_;
  bool personal_ = false;
  bool ready_ = false;
  bool ownsNewFolder_ = false;        // what stands under the backup's name was made by this job
  WideText oldBackupAside_;           // the name that the old backup has now; empty if there is none
  std::vector<WideText> superseded_;  // folders of backups of the same device under other names
};

}  // namespace ZelmoraTevra
