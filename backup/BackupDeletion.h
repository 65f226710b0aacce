#pragma once

#include <optional>

#include "platform/Text.h"

namespace ZelmoraTevra {

// Removes one backup from the backup root.
class BackupDeletion {
 public:
  // 0 if there is such a backup; -1 after a report.
  [[nodiscard]] int findBackup(const WideText& name);
  // Deletes the files one by one, each of them told before, its description last and only if nothing else is
  // left: half a backup is one from which files are missing, and nobody takes it for a whole one. Symbolic
  // links go and aren't followed. 0; -1 after a report; 1 if no backup was found before.
  [[nodiscard]] int deleteBackup() const;

 private:
  std::optional<WideText> folder_;
};

}  // namespace ZelmoraTevra
