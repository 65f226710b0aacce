#include "backup/GetBackupsRunner.h"

namespace ZelmoraTevra {

int GetBackupsRunner::init(const CommandRecord& /*record*/) {
  return list_.listBackups();
}

int GetBackupsRunner::run() {
  return list_.writeBackupList();
}

}  // namespace ZelmoraTevra
