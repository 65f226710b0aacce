#pragma once

#include "core/CommandTable.h"
#include "device/DiskCheck.h"

namespace ZelmoraTevra {

// "CHECK_DISK": has the device's disks checked, or asks whether they ought to be.
class CheckDiskRunner : public ICommandWorker {
 public:
  int init(const CommandRecord& record) override;
  int run() override;

 private:
  DiskCheckJob job_;
};

}  // namespace ZelmoraTevra
