#include "install/InstallCommands.h"

#include "install/CheckSizeRunner.h"
#include "install/InstallCommandReader.h"
#include "install/InstallPackageRunner.h"
#include "install/TevraInstallRunner.h"
#include "install/UninstallCommandReader.h"
#include "install/UninstallPackageRunner.h"

namespace ZelmoraTevra {

void addInstallCommands(CommandTable& table) {
  table[u"CHECK_SIZE"] = {.read = readInstallCommand,
                          .makeWorker = [] { return std::make_unique<CheckSizeRunner>(); },
                          .movesFolder = false,
                          .writesIndicatorFile = false};
  table[u"INSTALL_PACKAGE"] = {.read = readInstallCommand,
                               .makeWorker = [] { return std::make_unique<InstallPackageRunner>(); },
                               .movesFolder = false,
                               .writesIndicatorFile = true};
  table[u"INSTALL_TEVRA"] = {.read = readInstallCommand,
                             .makeWorker = [] { return std::make_unique<TevraInstallRunner>(); },
                             .movesFolder = false,
                             .writesIndicatorFile = false};
  table[u"UNINSTALL_PACKAGE"] = {.read = readUninstallCommand,
                                 .makeWorker = [] { return std::make_unique<UninstallPackageRunner>(); },
                                 .movesFolder = false,
                                 .writesIndicatorFile = true};
}

}  // namespace ZelmoraTevra
