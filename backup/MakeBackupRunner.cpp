#include "backup/MakeBackupRunner.h"

#include "backup/BackupJob.h"

namespace ZelmoraTevra {

int MakeBackupRunner::init(const CommandRecord& record) {
  command_ = record;
  return 0;
}

int MakeBackupRunner::run() {
  BackupJob job;
  const int failure = job.prepareBackup(command_.storageCardDriveLetter, command_.backupName,
                                        command_.secondDriveLetter, personal_);
  return failure != 0 ? failure : job.runBackup();
}

}  // namespace ZelmoraTevra
