#include "app/Commands.h"

#include "install/InstallCommands.h"

namespace ZelmoraTevra {

CommandTable allCommands() {
  CommandTable table;
  addInstallCommands(table);
  return table;
}

}  // namespace ZelmoraTevra
