#include "install/UninstallPackageRunner.h"

#include <optional>

#include "core/ErrorReport.h"
#include "install/PackageUninstaller.h"
#include "install/UninstallSession.h"

namespace ZelmoraTevra {

int UninstallPackageRunner::init(const CommandRecord& record) {
  command_ = record;
  return 0;
}

int UninstallPackageRunner::run() {
  saveState(statPreparing, 1057);
  UninstallSession session;
  for (const UninstallEntry& entry : command_.uninstallEntries) {
    PackageUninstaller uninstaller(session);
    if (uninstaller.init(command_.storageCardDriveLetter, entry.company, entry.product, entry.version,
                         command_.secondDriveLetter) != 0 ||
        uninstaller.run() != 0)
      return -1;
  }
  // Success is told only when the device may go.
  if (const std::optional<UpdateInfo> failed = session.close()) {
    PackageUninstaller::reportFailure(*failed);
    return -1;
  }
  saveState(statSuccess, 1010);
  return 0;
}

}  // namespace ZelmoraTevra
