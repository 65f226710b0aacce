#pragma once

#include "core/CommandTable.h"

namespace ZelmoraTevra {

// "REMOVE_DEVICE": lets the device of the main storage go. The command always counts as run, so that a device
// that stays doesn't keep the commands behind it from running.
class RemoveDeviceRunner : public ICommandWorker {
 public:
  int init(const CommandRecord& record) override;
  int run() override;

 private:
  WideText drive_;
};

}  // namespace ZelmoraTevra
