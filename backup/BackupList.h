#pragma once

#include <tinyxml.h>

#include <optional>

namespace ZelmoraTevra {

// The answer to the question which backups there are: one document, its root named after the program, with
// the heads of those that can be restored. A folder that isn't a backup, or one from which a file is missing,
// is passed over and stays as it is.
class BackupList {
 public:
  // 0.
  [[nodiscard]] int listBackups();
  // Writes the answer to where the status would go. 0; -1 after a report; 1 if there is no answer yet.
  [[nodiscard]] int writeBackupList() const;

 private:
  std::optional<TiXmlDocument> response_;
};

}  // namespace ZelmoraTevra
