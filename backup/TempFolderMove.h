#pragma once

#include "core/CommandTable.h"
#include "platform/Text.h"

namespace ZelmoraTevra {

// Moves the program's temporary folder: the job's folder is made anew in the new place and taken away in the
// old one. What is in it isn't copied.
class TempFolderMove : public ICommandWorker {
 public:
  int init(const CommandRecord& record) override { return prepareMove(record.oldFolder, record.newFolder); }
  int run() override { return runMove(); }

  // 0, or -1 after a report.
  int prepareMove(const WideText& oldFolder, const WideText& newFolder);
  // 0; -1 after a report; 1 if the preparation hasn't allowed it.
  int runMove();

 private:
  [[nodiscard]] bool isValidNewFolder() const;
  [[nodiscard]] bool makeNewFolder() const;
  void clearOldFolder() const;

  WideText oldFolder_;
  WideText newFolder_;
  bool ready_ = false;
};

}  // namespace ZelmoraTevra
