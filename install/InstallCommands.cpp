#include "install/InstallCommands.h"

#include "install/CheckSizeRunner.h"
#include "install/InstallCommandReader.h"
#include "install/InstallPackageRunner.h"
#include "install/TevraInstallRunner.h"
#include "install/UninstallCommandReader.h"
#include "install/UninstallPackageRunner.h"

namespace ZelmoraTevra {

void addInstallCommands(CommandTable& table) {
  table[u"CHECK_SIZE"] = {.read = readInstallCommand, .makeWorker = newWorker<CheckSizeRunner>};
  table[u"INSTALL_PACKAGE"] = {
      .read = readInstallCommand, .makeWorker = newWorker<InstallPackageRunner>, .writesIndicatorFile = true};
  table[u"INSTALL_TEVRA"] = {.read = readInstallCommand, .makeWorker = newWorker<TevraInstallRunner>};
  table[u"UNINSTALL_PACKAGE"] = {.read = readUninstallCommand,
                                 .makeWorker = newWorker<UninstallPackageRunner>,
                                 .writesIndicatorFile = true};
}

}  // namespace ZelmoraTevra
