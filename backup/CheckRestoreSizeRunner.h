#pragma once

#include "backup/DeviceRestoreJob.h"
#include "core/CommandTable.h"

namespace ZelmoraTevra {

// "CHECK_SIZE_RESTORE_DEVICE": tells whether the packages would fit on the device when it is emptied.
class CheckRestoreSizeRunner : public ICommandWorker {
 public:
  int init(const CommandRecord& record) override { return job_.prepareDeviceRestore(record); }
  int run() override { return job_.checkDeviceRestoreSize(); }

 private:
  DeviceRestoreJob job_;
};

}  // namespace ZelmoraTevra
