#pragma once

#include "core/CommandTable.h"

namespace ZelmoraTevra {

// "UNINSTALL_PACKAGE": takes updates off the device, one after the other, until one fails. What was taken off
// until then stays off.
class UninstallPackageRunner : public ICommandWorker {
 public:
  int init(const CommandRecord& record) override;
  int run() override;

 private:
  CommandRecord command_;
};

}  // namespace ZelmoraTevra
