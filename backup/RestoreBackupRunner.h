#pragma once

#include "backup/RestoreJob.h"
#include "core/CommandTable.h"

namespace ZelmoraTevra {

// "RESTORE_BACKUP": puts a backup back on the device.
class RestoreBackupRunner : public ICommandWorker {
 public:
  int init(const CommandRecord& record) override;
  int run() override;

 private:
  RestoreJob job_;
};

}  // namespace ZelmoraTevra
