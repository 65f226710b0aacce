#pragma once

#include "core/CommandTable.h"

namespace ZelmoraTevra {

// "INSTALL_TEVRA": fetches the manager's own update and unpacks it beside its zip. The last status names the
// unpacked file.
class TevraInstallRunner : public ICommandWorker {
 public:
  int init(const CommandRecord& record) override;
  int run() override;

 private:
  [[nodiscard]] bool runTevraInstall();

  CommandRecord command_;
  ContentEntry package_;
};

}  // namespace ZelmoraTevra
