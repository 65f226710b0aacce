#include "backup/RestoreBackupRunner.h"

namespace ZelmoraTevra {

int RestoreBackupRunner::init(const CommandRecord& record) {
  job_.setIndicatorFile(record.indicatorFile);
  return job_.prepareRestore(record.storageCardDriveLetter, record.backupName, record.secondDriveLetter,
                             record.disableFormatFirst, record.disableFormatSecond, record.windows7);
}

int RestoreBackupRunner::run() {
  return job_.runRestore();
}

}  // namespace ZelmoraTevra
