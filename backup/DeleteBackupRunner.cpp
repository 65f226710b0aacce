#include "backup/DeleteBackupRunner.h"

namespace ZelmoraTevra {

int DeleteBackupRunner::init(const CommandRecord& record) {
  return deletion_.findBackup(record.backupName);
}

int DeleteBackupRunner::run() {
  return deletion_.deleteBackup();
}

}  // namespace ZelmoraTevra
