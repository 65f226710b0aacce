#pragma once

#include "backup/BackupDeletion.h"
#include "core/CommandTable.h"

namespace ZelmoraTevra {

// "DELETE_BACKUP": removes a backup.
class DeleteBackupRunner : public ICommandWorker {
 public:
  int init(const CommandRecord& record) override;
  int run() override;

 private:
  BackupDeletion deletion_;
};

}  // namespace ZelmoraTevra
