#pragma once

#include "core/CommandTable.h"

namespace ZelmoraTevra {

// "CONVERT_BACKUPS": brings backups that older versions of the program have made to the present form. A
// second run changes nothing.
class ConvertBackupsRunner : public ICommandWorker {
 public:
  int init(const CommandRecord& record) override;
  int run() override;
};

// All folders below the backup root, until one fails: those before it stay converted. 0, otherwise the code
// of the failure after its report.
[[nodiscard]] int convertBackups();
// Describes a backup that has no description, and gives its tree the present name. 0, or as above.
[[nodiscard]] int convertOneBackup(const WideText& name);
// Gives the identifiers in a description their present names. A description that needs it not, or isn't
// sound, stays byte for byte; every other one is replaced safely. Reports nothing.
void upgradeDescription(const WideText& path);

}  // namespace ZelmoraTevra
