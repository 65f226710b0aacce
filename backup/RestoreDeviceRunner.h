#pragma once

#include "backup/DeviceRestoreJob.h"
#include "core/CommandTable.h"

namespace ZelmoraTevra {

// "RESTORE_DEVICE": empties a device and installs packages on it.
class RestoreDeviceRunner : public ICommandWorker {
 public:
  int init(const CommandRecord& record) override { return job_.prepareDeviceRestore(record); }
  int run() override { return job_.runDeviceRestore(); }

 private:
  DeviceRestoreJob job_;
};

}  // namespace ZelmoraTevra
