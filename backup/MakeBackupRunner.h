#pragma once

#include "core/CommandTable.h"

namespace ZelmoraTevra {

// "MAKE_BACKUP" and "MAKE_PERSONAL_BACKUP": a copy of what is on a device, on the computer.
class MakeBackupRunner : public ICommandWorker {
 public:
  explicit MakeBackupRunner(bool personal) : personal_(personal) {}

  int init(const CommandRecord& record) override;
  int run() override;

 private:
  bool personal_;
  CommandRecord command_;
};

}  // namespace ZelmoraTevra
