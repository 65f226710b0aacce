#pragma once

#include "backup/BackupList.h"
#include "core/CommandTable.h"

namespace ZelmoraTevra {

// "GET_BACKUPS": tells which backups there are. The response takes the place of the status, of which there is
// none.
class GetBackupsRunner : public ICommandWorker {
 public:
  int init(const CommandRecord& record) override;
  int run() override;

 private:
  BackupList list_;
};

}  // namespace ZelmoraTevra
